#include "tests/discovery/console_capture.h"

#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace zevo::test {

namespace {

void write_all(int fd, const char* data, std::size_t size) noexcept {
    while (size > 0) {
        const ssize_t written = ::write(fd, data, size);
        if (written < 0) {
            if (errno == EINTR) continue;
            return;
        }
        data += written;
        size -= static_cast<std::size_t>(written);
    }
}

}  // namespace

Console_capture::Console_capture() {
    int ends[2];
    if (::pipe(ends) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    read_end_ = ends[0];
    write_end_ = ends[1];
    saved_ = ::dup(STDERR_FILENO);
    if (saved_ < 0 || ::dup2(write_end_, STDERR_FILENO) < 0) {
        const int error = errno;
        ::close(read_end_);
        ::close(write_end_);
        if (saved_ >= 0) ::close(saved_);
        throw std::system_error(error, std::generic_category(), "dup2");
    }
    reader_ = std::thread([this] { drain(); });
}

Console_capture::~Console_capture() {
    ::dup2(saved_, STDERR_FILENO);  // the pipe's copy at descriptor 2 goes
    ::close(write_end_);            // and with the last writer gone the reader sees the end
    reader_.join();
    ::close(read_end_);
    ::close(saved_);
}

void Console_capture::drain() noexcept {
    char buffer[4096];
    for (;;) {
        const ssize_t got = ::read(read_end_, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return;
        write_all(saved_, buffer, static_cast<std::size_t>(got));
        const std::lock_guard<std::mutex> lock(mutex_);
        text_.append(buffer, static_cast<std::size_t>(got));
        arrived_.notify_all();
    }
}

bool Console_capture::mark(const std::string& label, std::chrono::milliseconds bound) {
    const std::string line = "console capture mark: " + label + "\n";
    write_all(STDERR_FILENO, line.data(), line.size());
    std::unique_lock<std::mutex> lock(mutex_);
    return arrived_.wait_for(lock, bound, [&] { return text_.find(line) != std::string::npos; });
}

std::string Console_capture::text() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return text_;
}

std::size_t Console_capture::count(const std::string& needle) const {
    const std::string caught = text();
    std::size_t found = 0;
    for (std::size_t at = caught.find(needle); at != std::string::npos; at = caught.find(needle, at + needle.size())) {
        ++found;
    }
    return found;
}

}  // namespace zevo::test

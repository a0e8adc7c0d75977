#include "sim/control_socket.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace zevo::sim {
namespace {

using Clock = std::chrono::steady_clock;

int milliseconds_until(Clock::time_point deadline) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return left < 0 ? 0 : static_cast<int>(left);
}

}  // namespace

Control_socket::~Control_socket() {
    if (fd_ >= 0) ::close(fd_);
}

Control_socket::Control_socket(Control_socket&& other) noexcept
    : fd_(other.fd_), buffered_(std::move(other.buffered_)) {
    other.fd_ = -1;
}

Control_socket Control_socket::connect(const Control_address& to, std::chrono::milliseconds bound) {
    const std::string name = to.address + ":" + std::to_string(to.port);
    Control_socket socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (socket.fd_ < 0) throw std::runtime_error("control port " + name + ": " + std::strerror(errno));
    // A blocking connect ends at the send time-out at the latest.
    timeval limit{static_cast<time_t>(bound.count() / 1000), static_cast<suseconds_t>(bound.count() % 1000 * 1000)};
    ::setsockopt(socket.fd_, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    const int one = 1;
    ::setsockopt(socket.fd_, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(to.port);
    ::inet_pton(AF_INET, to.address.c_str(), &address.sin_addr);
    if (::connect(socket.fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        throw std::runtime_error("control port " + name + " cannot be reached: " + std::strerror(errno));
    }
    return socket;
}

Control_socket::Status Control_socket::receive_line(std::string& line, std::chrono::milliseconds bound, int wake_fd) {
    const Clock::time_point deadline = Clock::now() + bound;
    for (;;) {
        const std::size_t end = buffered_.find('\n');
        if (end != std::string::npos) {
            line = buffered_.substr(0, end);
            buffered_.erase(0, end + 1);
            if (!line.empty() && line.back() == '\r') line.pop_back();
            return Status::line;
        }
        if (buffered_.size() > max_control_line + 1) return Status::too_long;
        pollfd watched[2] = {{fd_, POLLIN, 0}, {wake_fd, POLLIN, 0}};
        const int ready = ::poll(watched, wake_fd >= 0 ? 2 : 1, milliseconds_until(deadline));
        if (ready < 0 && errno == EINTR) continue;
        if (ready < 0) return Status::closed;
        if (wake_fd >= 0 && watched[1].revents != 0) return Status::woken;
        if (ready == 0) return Status::timed_out;
        char bytes[256];
        const ssize_t got = ::recv(fd_, bytes, sizeof bytes, 0);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return Status::closed;
        buffered_.append(bytes, static_cast<std::size_t>(got));
    }
}

bool Control_socket::send_line(const std::string& text) {
    const std::string bytes = text + "\n";
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t done = ::send(fd_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (done < 0 && errno == EINTR) continue;
        if (done <= 0) return false;
        sent += static_cast<std::size_t>(done);
    }
    return true;
}

}  // namespace zevo::sim

#include "platform/log/console_sink.h"

#include <unistd.h>

#include <cerrno>
#include <string>

#include "platform/log/line_format.h"

namespace ara::log::detail {

void Console_sink::write(Record const& record) noexcept {
    std::string const line = format_line(record);  // bad_alloc here ends the process
    std::lock_guard<std::mutex> const lock{mutex_};
    char const* rest = line.data();
    std::size_t left = line.size();
    while (left > 0) {
        ssize_t const written = ::write(fd_, rest, left);
        if (written < 0) {
            if (errno == EINTR) continue;
            return;
        }
        rest += written;
        left -= static_cast<std::size_t>(written);
    }
}

}  // namespace ara::log::detail

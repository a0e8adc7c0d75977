#pragma once
// One TCP connection of the control port, as lines: sends a line and receives the next one within
// a bound, so that neither side of the control protocol ever waits without end. Used by
// zevo-keysim's control thread and by the host's session thread, one thread per object.

#include <chrono>
#include <string>

#include "sim/control_protocol.h"

namespace zevo::sim {

class Control_socket {
public:
    /// Takes over a connected socket.
    explicit Control_socket(int fd) noexcept : fd_(fd) {}
    ~Control_socket();
    Control_socket(Control_socket&& other) noexcept;
    Control_socket& operator=(Control_socket&&) = delete;
    Control_socket(const Control_socket&) = delete;
    Control_socket& operator=(const Control_socket&) = delete;

    /// Connects to `to`, within `bound`. Throws std::runtime_error naming the address.
    static Control_socket connect(const Control_address& to, std::chrono::milliseconds bound);

    enum class Status { line, closed, timed_out, woken, too_long };

    /// The next line, without its line end (a trailing carriage return is dropped too). Waits at
    /// most `bound`; returns woken as soon as `wake_fd` (if not -1) becomes readable, and too_long
    /// when max_control_line bytes came without a line end.
    Status receive_line(std::string& line, std::chrono::milliseconds bound, int wake_fd = -1);

    /// Sends `text` and a line end; false when the peer is gone.
    bool send_line(const std::string& text);

private:
    int fd_;
    std::string buffered_;  ///< received bytes after the last line taken
};

}  // namespace zevo::sim

#include "sim/control_server.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "sim/control_socket.h"
#include "sim/key_simulator.h"

namespace zevo::sim {
namespace {

/// How long a connection may stay silent before it is closed; a session sends its next line
/// within this.
constexpr std::chrono::milliseconds idle_connection{std::chrono::hours(1)};

[[noreturn]] void fail(const std::string& what) { throw std::system_error(errno, std::generic_category(), what); }

}  // namespace

std::string answer_control_line(Key_simulator& simulator, const std::string& line) {
    try {
        const Control_command command = parse_control_command(line);
        switch (command.kind) {
            case Control_command::Kind::withdraw: simulator.withdraw(command.identifier); return control_answer::ok;
            case Control_command::Kind::offer: simulator.offer(command.identifier); return control_answer::ok;
            case Control_command::Kind::wait_for_pending_call:
                return simulator.wait_for_pending_call(command.identifier, command.method, command.timeout)
                           ? control_answer::held
                           : control_answer::not_held;
        }
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& error) {
        return std::string(control_answer::error_prefix) + error.what();
    }
    return std::string(control_answer::error_prefix) + "unknown command";
}

Control_server::Control_server(Key_simulator& simulator, const Control_address& where) : simulator_(simulator) {
    if (::pipe2(wake_, O_CLOEXEC) != 0) fail("control port: pipe");
    listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (listener_ < 0) {
        stop();
        fail("control port: socket");
    }
    const int one = 1;
    ::setsockopt(listener_, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(where.port);
    ::inet_pton(AF_INET, where.address.c_str(), &address.sin_addr);
    socklen_t length = sizeof address;
    if (::bind(listener_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener_, 4) != 0 || ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        const int error = errno;
        stop();
        errno = error;
        fail("control port " + where.address + ":" + std::to_string(where.port));
    }
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { serve(); });
}

Control_server::~Control_server() { stop(); }

void Control_server::stop() noexcept {
    if (wake_[1] >= 0) {
        const char byte = 1;
        [[maybe_unused]] const ssize_t written = ::write(wake_[1], &byte, 1);
    }
    if (thread_.joinable()) thread_.join();
    for (int* fd : {&listener_, &wake_[0], &wake_[1]}) {
        if (*fd >= 0) ::close(*fd);
        *fd = -1;
    }
}

void Control_server::serve() noexcept {
    for (;;) {
        pollfd watched[2] = {{listener_, POLLIN, 0}, {wake_[0], POLLIN, 0}};
        if (::poll(watched, 2, -1) < 0 && errno != EINTR) return;
        if (watched[1].revents != 0) return;
        if (watched[0].revents == 0) continue;
        const int fd = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0) continue;
        const int one = 1;
        ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
        Control_socket connection(fd);
        std::string line;
        for (;;) {
            const Control_socket::Status status = connection.receive_line(line, idle_connection, wake_[0]);
            if (status == Control_socket::Status::woken) return;
            if (status == Control_socket::Status::too_long) {
                connection.send_line(std::string(control_answer::error_prefix) + "line longer than " +
                                     std::to_string(max_control_line));
            }
            if (status != Control_socket::Status::line) break;
            try {
                if (!connection.send_line(answer_control_line(simulator_, line))) break;
            } catch (const std::bad_alloc&) {
                break;
            }
        }
    }
}

}  // namespace zevo::sim

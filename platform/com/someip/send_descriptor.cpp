#include "com/someip/send_descriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace ruv::com::someip_binding {
namespace {

int duplicate(int socket) {
    const int copy = ::fcntl(socket, F_DUPFD_CLOEXEC, 0);
    if (copy < 0) {
        throw std::system_error(errno, std::generic_category(), "duplicating a socket for direct sends");
    }
    return copy;
}

}  // namespace

Send_descriptor::Send_descriptor(int socket) : descriptor_(duplicate(socket)) {}

Send_descriptor::~Send_descriptor() { ::close(descriptor_); }

ssize_t Send_descriptor::send_to(const std::uint8_t* data, std::size_t size, const sockaddr* to,
                                 socklen_t to_size) const noexcept {
    ssize_t sent = -1;
    do {
        sent = ::sendto(descriptor_, data, size, MSG_DONTWAIT | MSG_NOSIGNAL, to, to_size);
    } while (sent < 0 && errno == EINTR);
    return sent;
}

ssize_t Send_descriptor::send(const std::uint8_t* data, std::size_t size) const noexcept {
    ssize_t sent = -1;
    do {
        sent = ::send(descriptor_, data, size, MSG_DONTWAIT | MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    return sent;
}

bool would_block(int error) noexcept { return error == EAGAIN || error == EWOULDBLOCK || error == ENOBUFS; }

}  // namespace ruv::com::someip_binding

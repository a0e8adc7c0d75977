#pragma once
// A second descriptor of a socket of the binding, through which any thread may send at once
// without going through the I/O thread: sends never block (MSG_DONTWAIT) and touch nothing of
// the Asio socket object, which stays the I/O thread's. Shared by the threads that send; the
// descriptor is closed when the last of them lets go, so a close on the I/O thread meanwhile
// cannot hand its number to another file. Thread-safe; throws std::system_error when made.

#include <sys/socket.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>

namespace ruv::com::someip_binding {

class Send_descriptor {
public:
    /// Duplicates `socket` (a descriptor the caller keeps). Throws std::system_error.
    explicit Send_descriptor(int socket);
    ~Send_descriptor();
    Send_descriptor(const Send_descriptor&) = delete;
    Send_descriptor& operator=(const Send_descriptor&) = delete;

    /// One datagram to `to`; the bytes sent, or -1 with errno (EAGAIN: the send buffer is full).
    ssize_t send_to(const std::uint8_t* data, std::size_t size, const sockaddr* to, socklen_t to_size) const noexcept;

    /// As much of a stream's bytes as the send buffer takes now; -1 with errno as for send_to.
    ssize_t send(const std::uint8_t* data, std::size_t size) const noexcept;

private:
    const int descriptor_;
};

/// True when errno after a failed send only says that the send buffer is full now.
bool would_block(int error) noexcept;

}  // namespace ruv::com::someip_binding

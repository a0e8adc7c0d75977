#pragma once
// A SOME/IP peer for the binding's tests written on plain sockets, independent of the binding:
// it sends the bytes a test gives and receives with a bounded wait, so that a test can play a
// misbehaving client or server. Used on the test's thread only.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace zevo::test::someip_wire {

inline sockaddr_in address_of(const std::string& ip, std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    ::inet_pton(AF_INET, ip.c_str(), &address.sin_addr);
    return address;
}

/// Exactly `count` bytes of the stream on `fd`, or nothing.
inline std::optional<std::vector<std::uint8_t>> receive_exactly_from(int fd, std::size_t count) {
    std::vector<std::uint8_t> bytes(count);
    std::size_t have = 0;
    while (have < count) {
        const ssize_t got = ::recv(fd, bytes.data() + have, count - have, 0);
        if (got <= 0) return std::nullopt;
        have += static_cast<std::size_t>(got);
    }
    return bytes;
}

/// A UDP or TCP socket on 127.0.0.1 with a 5 s receive bound.
class Raw_peer {
public:
    explicit Raw_peer(int type) : fd_(::socket(AF_INET, type, 0)) {
        if (fd_ < 0) throw std::runtime_error("socket");
        timeval bound{5, 0};
        ::setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &bound, sizeof bound);
        const sockaddr_in local = address_of("127.0.0.1", 0);
        if (::bind(fd_, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) throw std::runtime_error("bind");
    }
    ~Raw_peer() { ::close(fd_); }
    Raw_peer(const Raw_peer&) = delete;
    Raw_peer& operator=(const Raw_peer&) = delete;

    std::uint16_t port() const {
        sockaddr_in local{};
        socklen_t size = sizeof local;
        ::getsockname(fd_, reinterpret_cast<sockaddr*>(&local), &size);
        return ntohs(local.sin_port);
    }

    void connect(std::uint16_t port) {
        const sockaddr_in remote = address_of("127.0.0.1", port);
        if (::connect(fd_, reinterpret_cast<const sockaddr*>(&remote), sizeof remote) != 0) {
            throw std::runtime_error("connect");
        }
    }

    void send_to(const std::vector<std::uint8_t>& bytes, std::uint16_t port) {
        const sockaddr_in remote = address_of("127.0.0.1", port);
        ::sendto(fd_, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&remote), sizeof remote);
    }

    void send(const std::vector<std::uint8_t>& bytes) { ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL); }

    /// One datagram (or what one read of a stream gives) and its sender's port; nothing after 5 s.
    std::optional<std::vector<std::uint8_t>> receive(std::uint16_t* sender_port = nullptr) {
        std::vector<std::uint8_t> buffer(65536);
        sockaddr_in sender{};
        socklen_t size = sizeof sender;
        const ssize_t got = ::recvfrom(fd_, buffer.data(), buffer.size(), 0, reinterpret_cast<sockaddr*>(&sender), &size);
        if (got < 0) return std::nullopt;
        if (sender_port != nullptr) *sender_port = ntohs(sender.sin_port);
        buffer.resize(static_cast<std::size_t>(got));
        return buffer;
    }

    /// Exactly `count` bytes of a stream, or nothing.
    std::optional<std::vector<std::uint8_t>> receive_exactly(std::size_t count) { return receive_exactly_from(fd_, count); }

    int fd() const noexcept { return fd_; }

private:
    int fd_;
};

}  // namespace zevo::test::someip_wire

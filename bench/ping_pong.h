#pragma once
// The raw ping-pong that the network benches set beside their figures: a peer process that
// answers every request with fixed replies, over TCP (one connection, TCP_NODELAY) or UDP
// (one datagram per reply), and the client on the bench's side. The peer is made by fork(), so
// make it before the bench process starts any thread; client and peer objects belong to the
// bench's measuring thread. Constructors throw std::runtime_error when a socket cannot be made.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace zevo::bench {

enum class Transport { tcp, udp };

namespace ping_pong_detail {

using Bytes = std::vector<std::uint8_t>;

inline sockaddr_in address_of(const std::string& ip, std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    if (::inet_pton(AF_INET, ip.c_str(), &address.sin_addr) != 1) throw std::runtime_error("ping-pong: bad address " + ip);
    return address;
}

inline void set_no_delay(int fd) {
    const int on = 1;
    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

inline bool read_exactly(int fd, std::uint8_t* data, std::size_t size) {
    for (std::size_t got = 0; got < size;) {
        const ssize_t n = ::recv(fd, data + got, size - got, 0);
        if (n <= 0) return false;
        got += static_cast<std::size_t>(n);
    }
    return true;
}

inline bool write_all(int fd, const Bytes& bytes) {
    for (std::size_t sent = 0; sent < bytes.size();) {
        const ssize_t n = ::send(fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (n <= 0) return false;
        sent += static_cast<std::size_t>(n);
    }
    return true;
}

}  // namespace ping_pong_detail

/// The second process of the ping-pong: on `address` (a free port), answers every request of
/// `request_size` bytes with `replies`, each a write of its own (TCP) or a datagram (UDP). Over
/// TCP it takes one connection and ends with it; over UDP it answers whoever sends a datagram.
class Ping_pong_peer {
public:
    using Bytes = ping_pong_detail::Bytes;

    Ping_pong_peer(Transport transport, const std::string& address, std::size_t request_size, std::vector<Bytes> replies) {
        using namespace ping_pong_detail;
        const bool tcp = transport == Transport::tcp;
        const int listener = ::socket(AF_INET, tcp ? SOCK_STREAM : SOCK_DGRAM, 0);
        sockaddr_in local = address_of(address, 0);
        socklen_t length = sizeof local;
        if (listener < 0 || ::bind(listener, reinterpret_cast<sockaddr*>(&local), sizeof local) != 0 ||
            (tcp && ::listen(listener, 1) != 0) ||
            ::getsockname(listener, reinterpret_cast<sockaddr*>(&local), &length) != 0) {
            if (listener >= 0) ::close(listener);
            throw std::runtime_error("ping-pong: cannot bind on " + address);
        }
        port_ = ntohs(local.sin_port);
        child_ = ::fork();
        if (child_ < 0) {
            ::close(listener);
            throw std::runtime_error("ping-pong: fork failed");
        }
        if (child_ == 0) ::_exit(tcp ? serve_tcp(listener, request_size, replies) : serve_udp(listener, replies));
        ::close(listener);
    }
    ~Ping_pong_peer() {
        ::kill(child_, SIGKILL);  // a TCP peer has ended by itself when the client closed; else now
        ::waitpid(child_, nullptr, 0);
    }
    Ping_pong_peer(const Ping_pong_peer&) = delete;
    Ping_pong_peer& operator=(const Ping_pong_peer&) = delete;

    std::uint16_t port() const { return port_; }
    pid_t pid() const { return child_; }

private:
    static int serve_tcp(int listener, std::size_t request_size, const std::vector<Bytes>& replies) {
        using namespace ping_pong_detail;
        const int connection = ::accept(listener, nullptr, nullptr);
        if (connection < 0) return 1;
        set_no_delay(connection);
        Bytes request(request_size);
        while (read_exactly(connection, request.data(), request.size())) {
            for (const Bytes& reply : replies) {
                if (!write_all(connection, reply)) return 1;
            }
        }
        return 0;
    }

    static int serve_udp(int socket, const std::vector<Bytes>& replies) {
        Bytes request(65536);
        for (;;) {
            sockaddr_in from{};
            socklen_t length = sizeof from;
            if (::recvfrom(socket, request.data(), request.size(), 0, reinterpret_cast<sockaddr*>(&from), &length) < 0) return 1;
            for (const Bytes& reply : replies) {
                ::sendto(socket, reply.data(), reply.size(), 0, reinterpret_cast<const sockaddr*>(&from), length);
            }
        }
    }

    pid_t child_ = -1;
    std::uint16_t port_ = 0;
};

/// The bench's side: one socket from `local_address` to the peer, one request at a time, every
/// wait bounded (5 s).
class Ping_pong_client {
public:
    using Bytes = ping_pong_detail::Bytes;

    Ping_pong_client(Transport transport, const std::string& local_address, const std::string& peer_address,
                     std::uint16_t peer_port, Bytes request, std::size_t reply_size)
        : tcp_(transport == Transport::tcp),
          fd_(::socket(AF_INET, tcp_ ? SOCK_STREAM : SOCK_DGRAM, 0)),
          request_(std::move(request)),
          reply_(reply_size) {
        using namespace ping_pong_detail;
        const sockaddr_in local = address_of(local_address, 0);
        const sockaddr_in remote = address_of(peer_address, peer_port);
        const timeval bound{5, 0};
        if (fd_ < 0 || ::setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &bound, sizeof bound) != 0 ||
            ::bind(fd_, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0 ||
            ::connect(fd_, reinterpret_cast<const sockaddr*>(&remote), sizeof remote) != 0) {
            if (fd_ >= 0) ::close(fd_);
            throw std::runtime_error("ping-pong: cannot connect to " + peer_address);
        }
        if (tcp_) set_no_delay(fd_);
    }
    ~Ping_pong_client() { ::close(fd_); }
    Ping_pong_client(const Ping_pong_client&) = delete;
    Ping_pong_client& operator=(const Ping_pong_client&) = delete;

    /// One request and its whole reply; false when the peer went away or did not answer in time.
    bool exchange() {
        using namespace ping_pong_detail;
        if (tcp_) return write_all(fd_, request_) && read_exactly(fd_, reply_.data(), reply_.size());
        if (::send(fd_, request_.data(), request_.size(), 0) != static_cast<ssize_t>(request_.size())) return false;
        for (std::size_t got = 0; got < reply_.size();) {  // one datagram per reply of the peer
            const ssize_t n = ::recv(fd_, reply_.data() + got, reply_.size() - got, 0);
            if (n <= 0) return false;
            got += static_cast<std::size_t>(n);
        }
        return true;
    }

private:
    bool tcp_;
    int fd_;
    Bytes request_;
    Bytes reply_;
};

}  // namespace zevo::bench

#include "host/doip/tester/doip_link.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace zevo::doip {
namespace {

sockaddr_in ipv4(const std::string& address, std::uint16_t port) {
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    if (::inet_pton(AF_INET, address.c_str(), &result.sin_addr) != 1) {
        throw Link_error("not an IPv4 address: " + address);
    }
    return result;
}

int remaining_ms(std::chrono::steady_clock::time_point until) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(until - std::chrono::steady_clock::now());
    return left.count() < 0 ? 0 : static_cast<int>(left.count());
}

bool wait_for(int fd, short events, int timeout_ms) {
    pollfd entry{fd, events, 0};
    return ::poll(&entry, 1, timeout_ms) > 0;
}

}  // namespace

Tcp_link::Tcp_link(const std::string& address, std::uint16_t port, std::chrono::milliseconds timeout,
                   int receive_buffer) {
    sockaddr_in to = ipv4(address, port);
    fd_ = ::socket(AF_INET, SOCK_STREAM, 0);
    if (fd_ < 0) throw Link_error(std::string("no socket: ") + std::strerror(errno));
    if (receive_buffer > 0) ::setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &receive_buffer, sizeof receive_buffer);
    int flags = ::fcntl(fd_, F_GETFL);
    ::fcntl(fd_, F_SETFL, flags | O_NONBLOCK);
    int result = ::connect(fd_, reinterpret_cast<sockaddr*>(&to), sizeof to);
    int error = result == 0 ? 0 : errno;
    if (error == EINPROGRESS) {
        error = ETIMEDOUT;
        if (wait_for(fd_, POLLOUT, static_cast<int>(timeout.count()))) {
            socklen_t size = sizeof error;
            ::getsockopt(fd_, SOL_SOCKET, SO_ERROR, &error, &size);
        }
    }
    if (error != 0) {
        close();
        throw Link_error("cannot connect to " + address + ":" + std::to_string(port) + ": " + std::strerror(error));
    }
    ::fcntl(fd_, F_SETFL, flags);
    int one = 1;
    ::setsockopt(fd_, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
}

Tcp_link::~Tcp_link() { close(); }

void Tcp_link::close() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
}

bool Tcp_link::send(const Bytes& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        ssize_t n = ::send(fd_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (n <= 0) return false;
        sent += static_cast<std::size_t>(n);
    }
    return true;
}

bool Tcp_link::read_more(std::chrono::steady_clock::time_point until) {
    if (!wait_for(fd_, POLLIN, remaining_ms(until))) return false;
    std::uint8_t chunk[4096];
    ssize_t n = ::recv(fd_, chunk, sizeof chunk, 0);
    if (n <= 0) {
        at_end_ = true;
        return false;
    }
    pending_.insert(pending_.end(), chunk, chunk + n);
    return true;
}

std::optional<Received> Tcp_link::receive(std::chrono::milliseconds timeout) {
    auto until = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        std::optional<Header> header = decode_header(pending_.data(), pending_.size());
        if (header && header->payload_length > (1u << 24)) return std::nullopt;  // not a frame of any entity
        if (header && pending_.size() - header_size >= header->payload_length) {
            auto end = pending_.begin() + static_cast<std::ptrdiff_t>(header_size + header->payload_length);
            Received received{*header, Bytes(pending_.begin() + header_size, end)};
            pending_.erase(pending_.begin(), end);
            return received;
        }
        if (!read_more(until)) return std::nullopt;
    }
}

bool Tcp_link::closed_by_entity(std::chrono::milliseconds timeout) {
    auto until = std::chrono::steady_clock::now() + timeout;
    pending_.clear();
    std::uint8_t sink[4096];
    while (wait_for(fd_, POLLIN, remaining_ms(until))) {
        if (::recv(fd_, sink, sizeof sink, 0) <= 0) {
            at_end_ = true;
            return true;
        }
    }
    return false;
}

bool Tcp_link::hung_up(std::chrono::milliseconds timeout) {
    pollfd entry{fd_, POLLRDHUP, 0};
    return ::poll(&entry, 1, static_cast<int>(timeout.count())) > 0 &&
           (entry.revents & (POLLRDHUP | POLLHUP | POLLERR)) != 0;
}

bool Tcp_link::quiet_and_open() { return pending_.empty() && !wait_for(fd_, POLLIN, 0); }

Udp_link::Udp_link(const std::string& address, std::uint16_t port) {
    sockaddr_in local = ipv4(address, port);
    fd_ = ::socket(AF_INET, SOCK_DGRAM, 0);
    if (fd_ < 0) throw Link_error(std::string("no socket: ") + std::strerror(errno));
    int one = 1;
    ::setsockopt(fd_, SOL_SOCKET, SO_BROADCAST, &one, sizeof one);
    if (::bind(fd_, reinterpret_cast<sockaddr*>(&local), sizeof local) != 0) {
        int error = errno;
        ::close(fd_);
        throw Link_error("cannot bind UDP " + address + ":" + std::to_string(port) + ": " + std::strerror(error));
    }
}

Udp_link::~Udp_link() { ::close(fd_); }

std::uint16_t Udp_link::port() const {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    ::getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin_port);
}

void Udp_link::send_to(const Bytes& datagram, const std::string& address, std::uint16_t port) {
    sockaddr_in to = ipv4(address, port);
    if (::sendto(fd_, datagram.data(), datagram.size(), 0, reinterpret_cast<sockaddr*>(&to), sizeof to) < 0) {
        throw Link_error("cannot send to " + address + ":" + std::to_string(port) + ": " + std::strerror(errno));
    }
}

std::optional<Received> Udp_link::receive(std::chrono::milliseconds timeout, std::string* sender) {
    if (!wait_for(fd_, POLLIN, static_cast<int>(timeout.count()))) return std::nullopt;
    Bytes datagram(65536);
    sockaddr_in from{};
    socklen_t size = sizeof from;
    ssize_t n = ::recvfrom(fd_, datagram.data(), datagram.size(), 0, reinterpret_cast<sockaddr*>(&from), &size);
    if (n < 0) return std::nullopt;
    datagram.resize(static_cast<std::size_t>(n));
    if (sender) {
        char text[INET_ADDRSTRLEN] = {};
        ::inet_ntop(AF_INET, &from.sin_addr, text, sizeof text);
        *sender = text;
    }
    std::optional<Header> header = decode_header(datagram.data(), datagram.size());
    if (!header) return std::nullopt;
    return Received{*header, Bytes(datagram.begin() + header_size, datagram.end())};
}

}  // namespace zevo::doip

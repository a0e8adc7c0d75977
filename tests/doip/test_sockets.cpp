#include "test_sockets.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

namespace zevo::doip::testing {
namespace {

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

int remaining_ms(std::chrono::steady_clock::time_point until) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(until - std::chrono::steady_clock::now());
    return left.count() < 0 ? 0 : static_cast<int>(left.count());
}

bool wait_readable(int fd, int timeout_ms) {
    pollfd entry{fd, POLLIN, 0};
    return ::poll(&entry, 1, timeout_ms) > 0;
}

}  // namespace

Tcp_tester::Tcp_tester(std::uint16_t port, int receive_buffer) {
    fd_ = ::socket(AF_INET, SOCK_STREAM, 0);
    if (receive_buffer > 0) ::setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &receive_buffer, sizeof receive_buffer);
    sockaddr_in address = loopback(port);
    if (::connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        ::close(fd_);
        throw std::runtime_error("cannot connect to the entity");
    }
    int one = 1;
    ::setsockopt(fd_, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
}

Tcp_tester::~Tcp_tester() { close(); }

void Tcp_tester::close() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
}

void Tcp_tester::send(const Bytes& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        ssize_t n = ::send(fd_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (n <= 0) return;  // the entity closed: what the test reads next shows it
        sent += static_cast<std::size_t>(n);
    }
}

bool Tcp_tester::read_exactly(std::uint8_t* data, std::size_t size, std::chrono::steady_clock::time_point until) {
    std::size_t got = 0;
    while (got < size) {
        if (!wait_readable(fd_, remaining_ms(until))) return false;
        ssize_t n = ::recv(fd_, data + got, size - got, 0);
        if (n <= 0) return false;
        got += static_cast<std::size_t>(n);
    }
    return true;
}

std::optional<Received> Tcp_tester::receive(std::chrono::milliseconds timeout) {
    auto until = std::chrono::steady_clock::now() + timeout;
    std::uint8_t raw[header_size];
    if (!read_exactly(raw, header_size, until)) return std::nullopt;
    Received received{*decode_header(raw, header_size), {}};
    if (received.header.payload_length > (1u << 20)) return std::nullopt;
    received.payload.resize(received.header.payload_length);
    if (!read_exactly(received.payload.data(), received.payload.size(), until)) return std::nullopt;
    return received;
}

bool Tcp_tester::closed_by_entity(std::chrono::milliseconds timeout) {
    auto until = std::chrono::steady_clock::now() + timeout;
    std::uint8_t sink[4096];
    while (wait_readable(fd_, remaining_ms(until))) {
        ssize_t n = ::recv(fd_, sink, sizeof sink, 0);
        if (n <= 0) return true;
    }
    return false;
}

bool Tcp_tester::quiet_and_open() {
    pollfd entry{fd_, POLLIN, 0};
    return ::poll(&entry, 1, 0) == 0;
}

int Tcp_tester::activate(std::uint16_t source, std::uint8_t version, std::uint8_t type) {
    send(encode_routing_activation_request(version, {source, type, 0, std::nullopt}));
    std::optional<Received> answer = receive();
    if (!answer || answer->header.payload_type != payload_type::routing_activation_response) return -1;
    auto response = decode_routing_activation_response(answer->payload);
    return response ? response->code : -1;
}

Udp_socket::Udp_socket(std::uint16_t port) {
    fd_ = ::socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in address = loopback(port);
    if (::bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        ::close(fd_);
        throw std::runtime_error("cannot bind a UDP socket");
    }
}

Udp_socket::~Udp_socket() { ::close(fd_); }

std::uint16_t Udp_socket::port() const {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    ::getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin_port);
}

void Udp_socket::send_to(const Bytes& datagram, std::uint16_t port) {
    sockaddr_in address = loopback(port);
    ::sendto(fd_, datagram.data(), datagram.size(), 0, reinterpret_cast<sockaddr*>(&address), sizeof address);
}

std::optional<Bytes> Udp_socket::receive_raw(std::chrono::milliseconds timeout) {
    if (!wait_readable(fd_, static_cast<int>(timeout.count()))) return std::nullopt;
    Bytes datagram(65536);
    ssize_t n = ::recv(fd_, datagram.data(), datagram.size(), 0);
    if (n < 0) return std::nullopt;
    datagram.resize(static_cast<std::size_t>(n));
    return datagram;
}

std::optional<Received> Udp_socket::receive(std::chrono::milliseconds timeout) {
    std::optional<Bytes> datagram = receive_raw(timeout);
    if (!datagram) return std::nullopt;
    std::optional<Header> header = decode_header(datagram->data(), datagram->size());
    if (!header) return std::nullopt;
    return Received{*header, Bytes(datagram->begin() + header_size, datagram->end())};
}

}  // namespace zevo::doip::testing

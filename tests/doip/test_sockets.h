#pragma once
// Blocking loopback sockets for the entity's tests, every wait bounded by poll(): a TCP tester
// that reads whole DoIP frames, and a UDP socket. Used on the test's thread.

#include <chrono>
#include <cstdint>
#include <optional>

#include "host/doip/frame_codec.h"

namespace zevo::doip::testing {

struct Received {
    Header header;
    Bytes payload;
};

class Tcp_tester {
public:
    // receive_buffer > 0: SO_RCVBUF in bytes, for a tester that lets answers pile up.
    explicit Tcp_tester(std::uint16_t port, int receive_buffer = 0);
    ~Tcp_tester();
    Tcp_tester(const Tcp_tester&) = delete;
    Tcp_tester& operator=(const Tcp_tester&) = delete;

    void send(const Bytes& bytes);
    // The next whole frame; nullopt at end of stream or after `timeout`.
    std::optional<Received> receive(std::chrono::milliseconds timeout = std::chrono::seconds(3));
    // True when the entity closed the connection within `timeout` (frames before it are skipped).
    bool closed_by_entity(std::chrono::milliseconds timeout = std::chrono::seconds(3));
    // True when nothing has arrived and the connection is open right now.
    bool quiet_and_open();
    // Routing activation; returns the response code (or -1 without an answer).
    int activate(std::uint16_t source, std::uint8_t version = 0x02, std::uint8_t type = 0x00);
    void close();

private:
    bool read_exactly(std::uint8_t* data, std::size_t size, std::chrono::steady_clock::time_point until);
    int fd_ = -1;
};

class Udp_socket {
public:
    explicit Udp_socket(std::uint16_t port = 0);  // bound to 127.0.0.1
    ~Udp_socket();
    Udp_socket(const Udp_socket&) = delete;
    Udp_socket& operator=(const Udp_socket&) = delete;
    std::uint16_t port() const;
    void send_to(const Bytes& datagram, std::uint16_t port);
    std::optional<Received> receive(std::chrono::milliseconds timeout = std::chrono::seconds(3));
    std::optional<Bytes> receive_raw(std::chrono::milliseconds timeout);

private:
    int fd_ = -1;
};

}  // namespace zevo::doip::testing

#pragma once
// Blocking DoIP sockets for a tester, every wait bounded by poll(): a TCP link that reads whole
// frames and a UDP socket for identification. IPv4. Used by zevo-tester and by the entity's
// tests, each on one thread.

#include <chrono>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

#include "host/doip/frame_codec.h"

namespace zevo::doip {

class Link_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct Received {
    Header header;
    Bytes payload;
};

class Tcp_link {
public:
    // Connects within `timeout`; receive_buffer > 0 sets SO_RCVBUF (a tester that lets answers
    // pile up). Throws Link_error when the entity cannot be reached.
    Tcp_link(const std::string& address, std::uint16_t port, std::chrono::milliseconds timeout = std::chrono::seconds(2),
             int receive_buffer = 0);
    ~Tcp_link();
    Tcp_link(const Tcp_link&) = delete;
    Tcp_link& operator=(const Tcp_link&) = delete;

    // Sends all bytes; false when the entity has closed the connection.
    bool send(const Bytes& bytes);
    // The next whole frame; nullopt at end of stream or after `timeout` (a frame begun then is
    // kept for the next call).
    std::optional<Received> receive(std::chrono::milliseconds timeout = std::chrono::seconds(3));
    // True when the entity closed the connection within `timeout` (what arrives before is skipped).
    bool closed_by_entity(std::chrono::milliseconds timeout = std::chrono::seconds(3));
    // True when the entity closed or reset the connection within `timeout`; reads nothing.
    bool hung_up(std::chrono::milliseconds timeout);
    // True when nothing has arrived and the connection is open right now.
    bool quiet_and_open();
    // True once a read found the end of the stream (the entity closed) or a broken connection.
    bool at_end() const { return at_end_; }
    void close();
    // The socket, for a caller that inspects it (a test telling a FIN from a reset).
    int descriptor() const { return fd_; }

private:
    // Reads what has arrived into pending_, waiting until `until`; false on timeout or end.
    bool read_more(std::chrono::steady_clock::time_point until);
    int fd_ = -1;
    bool at_end_ = false;
    Bytes pending_;  // received bytes not yet returned as a frame
};

class Udp_link {
public:
    // Bound to `address`:`port` (port 0: any free one); broadcast allowed.
    explicit Udp_link(const std::string& address = "0.0.0.0", std::uint16_t port = 0);
    ~Udp_link();
    Udp_link(const Udp_link&) = delete;
    Udp_link& operator=(const Udp_link&) = delete;

    std::uint16_t port() const;
    void send_to(const Bytes& datagram, const std::string& address, std::uint16_t port);
    // The next datagram as a frame (nullopt after `timeout` or for one shorter than a header),
    // and who sent it.
    std::optional<Received> receive(std::chrono::milliseconds timeout = std::chrono::seconds(3),
                                    std::string* sender = nullptr);

private:
    int fd_ = -1;
};

}  // namespace zevo::doip

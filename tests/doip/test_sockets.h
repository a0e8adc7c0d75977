#pragma once
// The entity's tests speak to it through the tester's own blocking links on 127.0.0.1; a
// Tcp_tester adds routing activation. Used on the test's thread.

#include <cstdint>

#include "host/doip/tester/doip_link.h"

namespace zevo::doip::testing {

using zevo::doip::Received;

class Tcp_tester : public Tcp_link {
public:
    explicit Tcp_tester(std::uint16_t port, int receive_buffer = 0)
        : Tcp_link("127.0.0.1", port, std::chrono::seconds(2), receive_buffer) {}

    // Routing activation; the response code, or -1 without an answer.
    int activate(std::uint16_t source, std::uint8_t version = 0x02, std::uint8_t type = 0x00) {
        send(encode_routing_activation_request(version, {source, type, 0, std::nullopt}));
        std::optional<Received> answer = receive();
        if (!answer || answer->header.payload_type != payload_type::routing_activation_response) return -1;
        auto response = decode_routing_activation_response(answer->payload);
        return response ? response->code : -1;
    }
};

class Udp_socket : public Udp_link {
public:
    explicit Udp_socket(std::uint16_t port = 0) : Udp_link("127.0.0.1", port) {}
    void send_to(const Bytes& datagram, std::uint16_t port) { Udp_link::send_to(datagram, "127.0.0.1", port); }
};

}  // namespace zevo::doip::testing

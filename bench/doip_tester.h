#pragma once
// A DoIP tester of a `zevo-dm serve` process as the network benches drive it: one connection,
// routing activated at construction, then one request at a time on the blocking link. Used on
// one thread at a time; the constructor throws when the entity cannot be reached or refuses the
// activation.

#include <chrono>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

#include "host/doip/frame_codec.h"
#include "host/doip/tester/doip_link.h"

namespace zevo::bench {

/// The entity's logical address, as `zevo-dm serve` has it by default.
constexpr std::uint16_t doip_entity = 0x0010;

inline doip::Bytes diagnostic_frame(std::uint16_t source, const doip::Bytes& uds) {
    return doip::encode_diagnostic_message(doip::version::iso_2012, {source, doip_entity, uds});
}

class Doip_tester {
public:
    Doip_tester(std::uint16_t port, std::uint16_t source) : link_("127.0.0.1", port), source_(source) {
        using namespace std::chrono_literals;
        link_.send(doip::encode_routing_activation_request(doip::version::iso_2012, {source, 0x00, 0, {}}));
        std::optional<doip::Received> answer = link_.receive(10s);
        const auto response = answer ? doip::decode_routing_activation_response(answer->payload) : std::nullopt;
        if (!response || response->code != doip::activation_code::activated) {
            throw std::runtime_error("routing activation refused for tester " + std::to_string(source));
        }
    }

    /// The final answer to `uds` (past any 7F xx 78), after its acknowledge; empty when none came.
    doip::Bytes exchange(const doip::Bytes& uds) {
        using namespace std::chrono_literals;
        received_bytes_ = 0;
        if (!link_.send(diagnostic_frame(source_, uds))) return {};
        for (int frames = 0; frames < 100; ++frames) {
            std::optional<doip::Received> frame = link_.receive(10s);
            if (!frame) return {};
            received_bytes_ += doip::header_size + frame->payload.size();
            if (frame->header.payload_type != doip::payload_type::diagnostic_message) continue;  // the ack
            std::optional<doip::Diagnostic_message> message = doip::decode_diagnostic_message(frame->payload);
            if (!message) return {};
            if (message->uds.size() == 3 && message->uds[0] == 0x7F && message->uds[2] == 0x78) continue;
            return message->uds;
        }
        return {};
    }

    /// The bytes of every frame that the last exchange received (acknowledge and answers).
    std::size_t received_bytes() const { return received_bytes_; }

private:
    doip::Tcp_link link_;
    std::uint16_t source_;
    std::size_t received_bytes_ = 0;
};

}  // namespace zevo::bench

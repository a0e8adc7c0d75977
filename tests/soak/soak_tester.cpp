#include "tests/soak/soak_tester.h"

#include <thread>

#include "host/doip/doip_types.h"

namespace zevo::soak {
namespace {
constexpr std::uint8_t doip_version = doip::version::iso_2012;
constexpr std::chrono::milliseconds activation_bound{2000};
}  // namespace

std::atomic<int> Soak_tester::next_connection_{1};

Soak_tester::Soak_tester(Tester_address where, std::uint16_t source, Soak_referee& referee, Sequence_limits limits)
    : where_(std::move(where)), source_(source), referee_(referee), limits_(limits) {}

std::string Soak_tester::connect() {
    // A tester that has just closed its connection may find its address still active on the
    // entity's side (0x03) until the entity has seen the close: it tries again for a while.
    std::string failed;
    for (int attempt = 0; attempt < 40; ++attempt) {
        failed = connect_once();
        if (failed.empty() || failed.find("refused with code 03") == std::string::npos) return failed;
        std::this_thread::sleep_for(Milliseconds(50));
    }
    return failed;
}

std::string Soak_tester::connect_once() {
    link_.reset();
    std::unique_ptr<doip::Tcp_link> link;
    try {
        link = std::make_unique<doip::Tcp_link>(where_.address, where_.port, activation_bound);
    } catch (const doip::Link_error& error) {
        return std::string("cannot connect: ") + error.what();
    }
    link->send(doip::encode_routing_activation_request(doip_version, {source_, 0x00, 0, std::nullopt}));
    const auto deadline = Clock::now() + activation_bound;
    while (Clock::now() < deadline) {
        auto frame = link->receive(std::chrono::duration_cast<Milliseconds>(deadline - Clock::now()) + Milliseconds(1));
        if (!frame) break;
        if (frame->header.payload_type == doip::payload_type::alive_check_request) {
            link->send(doip::encode_alive_check_response(doip_version, source_));
            continue;
        }
        if (frame->header.payload_type != doip::payload_type::routing_activation_response) continue;
        const auto response = doip::decode_routing_activation_response(frame->payload);
        if (!response || response->code != doip::activation_code::activated) {
            return "routing activation of " + hex_text({static_cast<std::uint8_t>(source_ >> 8),
                                                        static_cast<std::uint8_t>(source_)}) +
                   " refused with code " + (response ? hex_text({response->code}) : std::string("?"));
        }
        link_ = std::move(link);
        connection_ = next_connection_++;
        return {};
    }
    return "no routing activation response within 2 s";
}

Outcome Soak_tester::exchange(const Bytes& request, bool close_after_acknowledge, bool must_be_general_reject) {
    if (!link_) {
        const std::string failed = connect();
        if (!failed.empty()) {
            referee_.tally().fail("tester " + std::to_string(source_) + ": " + failed);
            Outcome outcome;
            outcome.kind = Outcome::Kind::lost;
            outcome.reason = failed;
            return outcome;
        }
    }
    const Time sent = Clock::now();
    const auto id = referee_.started(connection_, request, sent);
    Answer_sequence sequence(request, sent, limits_);
    if (!link_->send(doip::encode_diagnostic_message(doip_version, {source_, where_.entity, request}))) {
        sequence.on_connection_lost(Clock::now());
    }
    follow(sequence, close_after_acknowledge);
    referee_.ended(id, sequence, must_be_general_reject);
    const Outcome::Kind kind = sequence.outcome().kind;
    if (kind == Outcome::Kind::lost || kind == Outcome::Kind::violation) link_.reset();
    return sequence.outcome();
}

void Soak_tester::follow(Answer_sequence& sequence, bool close_after_acknowledge) {
    while (!sequence.finished()) {
        const Time now = Clock::now();
        if (now >= sequence.deadline()) {
            sequence.on_deadline(now);
            return;
        }
        auto frame =
            link_->receive(std::chrono::duration_cast<Milliseconds>(sequence.deadline() - now) + Milliseconds(1));
        if (!frame) {
            if (link_->at_end()) sequence.on_connection_lost(Clock::now());
            continue;
        }
        const Time at = Clock::now();
        switch (frame->header.payload_type) {
            case doip::payload_type::alive_check_request:
                link_->send(doip::encode_alive_check_response(doip_version, source_));
                break;
            case doip::payload_type::diagnostic_ack:
                sequence.on_acknowledge(at);
                if (close_after_acknowledge && !sequence.finished()) {
                    link_.reset();
                    sequence.on_closed_on_purpose(Clock::now());
                }
                break;
            case doip::payload_type::diagnostic_nack: {
                const auto nack = doip::decode_diagnostic_ack(frame->payload);
                sequence.on_negative_acknowledge(at, nack ? nack->code : 0xFF);
                break;
            }
            case doip::payload_type::generic_nack:
                sequence.on_negative_acknowledge(at, frame->payload.empty() ? 0xFF : frame->payload[0]);
                break;
            case doip::payload_type::diagnostic_message: {
                const auto message = doip::decode_diagnostic_message(frame->payload);
                if (message) sequence.on_answer(at, message->uds);
                break;
            }
            default: break;
        }
    }
}

}  // namespace zevo::soak

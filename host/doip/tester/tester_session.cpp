#include "host/doip/tester/tester_session.h"

#include <cstdio>
#include <ostream>

#include "host/hex_bytes.h"

namespace zevo::doip {
namespace {

constexpr std::chrono::milliseconds keep_alive_interval{2000};
constexpr std::chrono::milliseconds pending_timeout{5500};  // P2*server 5000 ms and a margin
constexpr std::chrono::milliseconds suppressed_wait{200};   // for a negative answer to a suppressed request

std::string elapsed_text(std::chrono::steady_clock::duration elapsed) {
    char text[32];
    std::snprintf(text, sizeof text, "%.2f ms", std::chrono::duration<double, std::milli>(elapsed).count());
    return text;
}

// Services whose second byte is a sub-function with the suppress-positive-response bit.
bool suppresses_positive_answer(const Bytes& uds) {
    if (uds.size() < 2 || (uds[1] & 0x80) == 0) return false;
    switch (uds[0]) {
        case 0x10: case 0x11: case 0x28: case 0x31: case 0x3E: case 0x85: return true;
        default: return false;
    }
}

const char* diagnostic_nack_text(std::uint8_t code) {
    switch (code) {
        case 0x02: return "invalid source address";
        case 0x03: return "unknown target address";
        case 0x04: return "diagnostic message too large";
        case 0x05: return "out of memory";
        case 0x06: return "target unreachable";
        case 0x07: return "unknown network";
        case 0x08: return "transport protocol error";
        default: return "reserved code";
    }
}

}  // namespace

Tester_session::Tester_session(Tcp_link& link, const Tester_options& options, std::uint16_t target, std::ostream& out)
    : link_(link), options_(options), target_(target), out_(out), next_keep_alive_(Clock::now() + keep_alive_interval) {}

int Tester_session::activate() {
    link_.send(encode_routing_activation_request(options_.version, {options_.source, 0x00, 0, std::nullopt}));
    std::optional<Received> answer = next(Clock::now() + options_.timeout);
    if (!answer || answer->header.payload_type != payload_type::routing_activation_response) return -1;
    auto response = decode_routing_activation_response(answer->payload);
    return response ? response->code : -1;
}

void Tester_session::send_diagnostic(const Bytes& uds, Sent what) {
    std::uint16_t target = options_.functional ? options_.functional_address : target_;
    link_.send(encode_diagnostic_message(options_.version, {options_.source, target, uds}));
    unacknowledged_.push_back(what);
}

std::optional<Received> Tester_session::next(Clock::time_point until) {
    for (;;) {
        Clock::time_point now = Clock::now();
        if (options_.keep_alive && now >= next_keep_alive_) {
            send_diagnostic({0x3E, 0x80}, Sent::keep_alive);
            next_keep_alive_ = now + keep_alive_interval;
        }
        if (now >= until) return std::nullopt;
        Clock::time_point wake = options_.keep_alive ? std::min(until, next_keep_alive_) : until;
        auto wait = std::chrono::duration_cast<std::chrono::milliseconds>(wake - now) + std::chrono::milliseconds(1);
        std::optional<Received> frame = link_.receive(wait);
        if (!frame) {
            if (link_.at_end()) return std::nullopt;
            continue;
        }
        std::uint16_t type = frame->header.payload_type;
        if (type == payload_type::alive_check_request) {
            link_.send(encode_alive_check_response(options_.version, options_.source));
            continue;
        }
        if ((type == payload_type::diagnostic_ack || type == payload_type::diagnostic_nack) &&
            !unacknowledged_.empty()) {
            Sent what = unacknowledged_.front();
            unacknowledged_.pop_front();
            if (what == Sent::keep_alive) {
                if (type == payload_type::diagnostic_nack) out_ << "   TesterPresent refused by the entity\n";
                continue;
            }
        }
        return frame;
    }
}

bool Tester_session::run(const host::Scripted_request& line) {
    out_ << "-> " << host::format_hex_bytes(line.request) << (options_.functional ? "  (functional)" : "") << '\n';
    Clock::time_point sent_at = Clock::now();
    send_diagnostic(line.request, Sent::request);
    // The acknowledge first (ISO 13400-2: it precedes the answer).
    std::optional<Received> ack = next(sent_at + options_.timeout);
    if (!ack) {
        if (link_.at_end()) {
            out_ << "<- the entity closed the connection\n";
            return false;
        }
        out_ << "<- no acknowledge within " << options_.timeout.count() << " ms\n";
        return false;
    }
    if (ack->header.payload_type == payload_type::diagnostic_nack) {
        auto nack = decode_diagnostic_ack(ack->payload);
        std::uint8_t code = nack ? nack->code : 0;
        char text[8];
        std::snprintf(text, sizeof text, "0x%02X", code);
        out_ << "<- diagnostic message refused: NACK " << text << " (" << diagnostic_nack_text(code) << ")\n";
        return false;
    }
    if (ack->header.payload_type == payload_type::generic_nack) {
        out_ << "<- generic header NACK " << host::format_hex_bytes(ack->payload) << '\n';
        return false;
    }
    bool suppressed = suppresses_positive_answer(line.request) && !line.expected;
    Clock::time_point until = Clock::now() + (suppressed ? suppressed_wait : options_.timeout);
    for (;;) {
        std::optional<Received> frame = next(until);
        if (!frame && link_.at_end()) {
            out_ << "<- the entity closed the connection\n";
            return false;
        }
        if (!frame) {
            if (suppressed) {
                out_ << "<- (no answer: positive answer suppressed)\n";
                return true;
            }
            out_ << "<- no answer within " << std::chrono::duration_cast<std::chrono::milliseconds>(
                                                   until - sent_at).count()
                 << " ms of the request\n";
            if (line.expected) out_ << "   expected " << line.expected->text() << '\n';
            return false;
        }
        if (frame->header.payload_type != payload_type::diagnostic_message) continue;
        auto message = decode_diagnostic_message(frame->payload);
        if (!message) continue;
        std::string elapsed = elapsed_text(Clock::now() - sent_at);
        const Bytes& uds = message->uds;
        if (uds.size() == 3 && uds[0] == 0x7F && uds[2] == 0x78) {
            out_ << "<- " << host::format_hex_bytes(uds) << "  (" << elapsed << ", response pending)\n";
            until = Clock::now() + pending_timeout;
            continue;
        }
        out_ << "<- " << host::format_hex_bytes(uds) << "  (" << elapsed << ")\n";
        if (line.expected && !line.expected->matches(&uds)) {
            out_ << "   expected " << line.expected->text() << '\n';
            return false;
        }
        return true;
    }
}

void Tester_session::idle(std::chrono::milliseconds duration) {
    Clock::time_point until = Clock::now() + duration;
    while (Clock::now() < until) {
        if (!next(until)) break;
    }
}

}  // namespace zevo::doip

#include "tests/soak/answer_sequence.h"

#include <algorithm>
#include <utility>

namespace zevo::soak {

Answer_sequence::Answer_sequence(Bytes request, Time sent, Sequence_limits limits)
    : request_(std::move(request)), sent_(sent), limits_(limits), deadline_(sent + limits.acknowledge), ended_(sent) {
    note(sent, "-> " + hex_text(request_));
}

void Answer_sequence::note(Time at, const std::string& what) {
    history_ += "   " + std::to_string(milliseconds_between(sent_, at)) + " ms " + what + "\n";
}

void Answer_sequence::finish(Outcome::Kind kind, Time at, std::string reason, std::uint8_t nrc) {
    if (finished()) return;
    outcome_.kind = kind;
    outcome_.nrc = nrc;
    outcome_.reason = std::move(reason);
    ended_ = at;
}

void Answer_sequence::on_acknowledge(Time at) {
    if (finished()) return;
    note(at, "<- acknowledge");
    if (acknowledged_) return finish(Outcome::Kind::violation, at, "a second acknowledge");
    acknowledged_ = true;
    deadline_ = std::min(at + limits_.p2_star + limits_.margin, sent_ + limits_.longest);
}

void Answer_sequence::on_negative_acknowledge(Time at, std::uint8_t code) {
    if (finished()) return;
    note(at, "<- negative acknowledge " + hex_text({code}));
    finish(Outcome::Kind::violation, at, "the entity refused the message with NACK " + hex_text({code}));
}

bool Answer_sequence::echo_matches(const Bytes& uds) const {
    const Request_info info = describe_request(request_);
    // 62 DID ...; 71 sub-function RID ...: the request's bytes after the service, up to the identifier.
    const std::size_t echoed = info.kind == Request_kind::read ? 3 : info.kind == Request_kind::other ? 1 : 4;
    if (uds.size() < echoed) return false;
    for (std::size_t i = 1; i < echoed; ++i) {
        if (uds[i] != request_[i]) return false;
    }
    return true;
}

void Answer_sequence::on_answer(Time at, const Bytes& uds) {
    if (finished()) return;
    note(at, "<- " + hex_text(uds));
    if (!acknowledged_) return finish(Outcome::Kind::violation, at, "an answer before the acknowledge");
    if (pending_answers_ == 0) first_answer_ = std::chrono::duration_cast<Milliseconds>(at - sent_);
    const std::uint8_t service = request_.empty() ? 0 : request_[0];
    if (uds.size() == 3 && uds[0] == 0x7F) {
        if (uds[1] != service) return finish(Outcome::Kind::violation, at, "a negative answer for another service");
        if (uds[2] == 0x78) {
            ++pending_answers_;
            deadline_ = std::min(at + limits_.p2_star + limits_.margin, sent_ + limits_.longest);
            return;
        }
        return finish(Outcome::Kind::negative, at, {}, uds[2]);
    }
    if (!uds.empty() && uds[0] == static_cast<std::uint8_t>(service + 0x40) && echo_matches(uds)) {
        return finish(Outcome::Kind::positive, at);
    }
    finish(Outcome::Kind::violation, at, "an answer that is neither the positive one nor 7F " + hex_text({service}));
}

void Answer_sequence::on_closed_on_purpose(Time at) {
    if (finished()) return;
    note(at, "   closed on purpose");
    if (acknowledged_) return finish(Outcome::Kind::exempt, at);
    finish(Outcome::Kind::lost, at, "closed before its acknowledge came");
}

void Answer_sequence::on_connection_lost(Time at) {
    if (finished()) return;
    note(at, "   the entity closed the connection");
    finish(Outcome::Kind::lost, at, "the entity closed the connection before the final answer");
}

void Answer_sequence::on_deadline(Time at) {
    if (finished()) return;
    note(at, "   nothing more came");
    finish(Outcome::Kind::lost, at,
           !acknowledged_        ? "no acknowledge within " + std::to_string(limits_.acknowledge.count()) + " ms"
           : at >= sent_ + limits_.longest ? "no final answer within " + std::to_string(limits_.longest.count()) +
                                                  " ms of the request"
           : pending_answers_ > 0 ? "no answer within P2* and the margin after the last 7F xx 78"
                                  : "no answer within P2* and the margin after the acknowledge");
}

Milliseconds Answer_sequence::answer_time() const {
    return std::chrono::duration_cast<Milliseconds>(ended_ - sent_);
}

}  // namespace zevo::soak

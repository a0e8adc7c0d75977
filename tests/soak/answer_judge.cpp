#include "tests/soak/answer_judge.h"

namespace zevo::soak {

Answer_judge::Request_id Answer_judge::request_started(int connection, const Bytes& request, Time sent) {
    const Request_id id = next_id_++;
    in_flight_[id] = Under_way{connection, describe_request(request), sent};
    return id;
}

bool Answer_judge::other_under_way(std::uint16_t identifier, int connection, Time from, Time to) const {
    auto overlaps = [&](const Under_way& other) {
        return other.connection != connection && other.info.identifier == identifier && other.started <= to &&
               other.busy_until >= from;
    };
    for (const auto& [id, other] : in_flight_) {
        if (overlaps(other)) return true;
    }
    auto ended = ended_.find(identifier);
    if (ended == ended_.end()) return false;
    // Newest first: a request that ended before `from`, less the longest it may stay busy, ends
    // the search (they ended nearly in order, hence the second's slack).
    const auto& list = ended->second;
    for (auto other = list.rbegin(); other != list.rend(); ++other) {
        if (overlaps(*other)) return true;
        if (other->ended + settings_.cancel_grace + std::chrono::seconds(1) < from) break;
    }
    return false;
}

Verdict Answer_judge::explain_negative(const Under_way& request, const Answer_sequence& sequence,
                                       bool must_be_general_reject) const {
    const std::uint8_t nrc = sequence.outcome().nrc;
    const Time answered = sequence.ended();
    if (nrc == 0x10) return {true, {}};
    if (must_be_general_reject) return {false, "expected 7F xx 10 for a call left to the request time-out"};
    const std::uint16_t identifier = request.info.identifier;
    if (nrc == 0x21) {
        if (other_under_way(identifier, request.connection, request.started, answered)) return {true, {}};
        return {false, "busy (0x21) while no other tester had a request of this identifier under way"};
    }
    if (nrc == 0x22 && request.info.kind == Request_kind::start) {
        for (const auto& [id, other] : in_flight_) {
            if (other.info.identifier == identifier && other.info.kind == Request_kind::start &&
                other.connection != request.connection && other.started <= answered) {
                return {true, {}};
            }
        }
        auto work = start_work_.find(identifier);
        if (work != start_work_.end()) {
            for (auto answer = work->second.rbegin(); answer != work->second.rend(); ++answer) {
                if (*answer <= answered && *answer + settings_.routine_work >= request.started) return {true, {}};
                if (*answer + settings_.routine_work + std::chrono::seconds(1) < request.started) break;
            }
        }
        return {false, "conditions not correct (0x22) to a Start while no work of the routine could still run"};
    }
    if (nrc == 0x24 && request.info.kind == Request_kind::results) {
        auto start = first_good_start_answer_.find(identifier);
        if (start == first_good_start_answer_.end() || start->second >= request.started) return {true, {}};
        return {false, "sequence error (0x24) although a Start of the routine succeeded since zevo-keysim started"};
    }
    return {false, "negative answer " + hex_text({nrc}) + " that no fault explains"};
}

Verdict Answer_judge::request_ended(Request_id id, const Answer_sequence& sequence, Time now,
                                    bool must_be_general_reject) {
    auto found = in_flight_.find(id);
    if (found == in_flight_.end()) return {false, "a request the judge does not know"};
    Under_way request = found->second;
    in_flight_.erase(found);
    const Outcome& outcome = sequence.outcome();
    const Time answered = sequence.ended();
    request.ended = answered;
    request.busy_until = outcome.kind == Outcome::Kind::exempt ? answered + settings_.cancel_grace : answered;

    Verdict verdict;
    switch (outcome.kind) {
        case Outcome::Kind::positive:
            verdict = must_be_general_reject ? Verdict{false, "a positive answer to a call left to the request time-out"}
                                             : Verdict{true, {}};
            break;
        case Outcome::Kind::negative: verdict = explain_negative(request, sequence, must_be_general_reject); break;
        case Outcome::Kind::exempt: verdict = {true, {}}; break;
        case Outcome::Kind::open: verdict = {false, "ended without an outcome"}; break;
        case Outcome::Kind::lost:
        case Outcome::Kind::violation: verdict = {false, outcome.reason}; break;
    }
    // A Start that succeeded, or one left running by a closed connection, may have work running.
    if (request.info.kind == Request_kind::start &&
        (outcome.kind == Outcome::Kind::positive || outcome.kind == Outcome::Kind::exempt)) {
        start_work_[request.info.identifier].push_back(request.busy_until);
        if (outcome.kind == Outcome::Kind::positive && (!last_kill_ || request.started > *last_kill_)) {
            first_good_start_answer_.emplace(request.info.identifier, answered);
        }
    }
    ended_[request.info.identifier].push_back(request);
    forget_before(now - settings_.window);
    return verdict;
}

void Answer_judge::keysim_killed(Time at) {
    last_kill_ = at;
    first_good_start_answer_.clear();
}

void Answer_judge::forget_before(Time limit) {
    for (auto& [identifier, list] : ended_) {
        while (!list.empty() && list.front().busy_until < limit) list.pop_front();
    }
    for (auto& [routine, answers] : start_work_) {
        while (!answers.empty() && answers.front() < limit) answers.pop_front();
    }
}

}  // namespace zevo::soak

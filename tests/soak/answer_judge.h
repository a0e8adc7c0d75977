#pragma once
// Decides whether the final answer of a request is one the soak accepts, given what else was
// going on: positive and `7F <SID> 10` always; 0x21 only while another connection had a request
// of the same identifier under way; 0x22 to a Start only shortly after a Start of that routine
// succeeded (its work still ran) or while another Start of it was under way; 0x24 to RequestResults only when no Start of that routine has
// succeeded since zevo-keysim last lost its state; a request expected to end `7F <SID> 10` (a
// call left to the request time-out) nothing else. Lost requests and violations always fail;
// a request whose connection was closed on purpose is exempt. The record of what was under way
// is kept for a sliding window. Pure logic on injected times; the caller serialises the calls.

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>

#include "tests/soak/answer_sequence.h"

namespace zevo::soak {

struct Judge_settings {
    Milliseconds routine_work{1000};  ///< how long a Start's work may still run after its answer
    Milliseconds cancel_grace{5000};  ///< how long a job of a connection closed on purpose may still run
    Milliseconds window{30000};       ///< how long ended requests are remembered
};

struct Verdict {
    bool accepted = false;
    std::string reason;  ///< why not, when not accepted
};

class Answer_judge {
public:
    explicit Answer_judge(Judge_settings settings = {}) : settings_(settings) {}

    using Request_id = std::uint64_t;

    /// A request sent on `connection`; returns its id for request_ended.
    Request_id request_started(int connection, const Bytes& request, Time sent);
    /// The request's sequence has finished; `must_be_general_reject`: only `7F <SID> 10` will do.
    Verdict request_ended(Request_id id, const Answer_sequence& sequence, Time now,
                          bool must_be_general_reject = false);

    /// zevo-keysim was killed at `at`: the routines' state is gone from then.
    void keysim_killed(Time at);

private:
    struct Under_way {
        int connection = 0;
        Request_info info;
        Time started;
        Time ended = Time::max();       ///< in flight: max
        Time busy_until = Time::max();  ///< in flight: max
    };

    /// Whether another connection than `connection` had a request of `identifier` under way
    /// in [from, to].
    bool other_under_way(std::uint16_t identifier, int connection, Time from, Time to) const;
    Verdict explain_negative(const Under_way& request, const Answer_sequence& sequence, bool must_be_general_reject) const;
    void forget_before(Time limit);

    Judge_settings settings_;
    Request_id next_id_ = 1;
    std::map<Request_id, Under_way> in_flight_;
    std::map<std::uint16_t, std::deque<Under_way>> ended_;  ///< per identifier, in the order they ended
    /// Per routine: the answer of the first Start that succeeded after the last kill.
    std::map<std::uint16_t, Time> first_good_start_answer_;
    std::map<std::uint16_t, std::deque<Time>> start_work_;  ///< per routine: answers of good Starts
    std::optional<Time> last_kill_;
};

}  // namespace zevo::soak

#pragma once
// The frames one acknowledged request may get over DoIP, checked as they come: the acknowledge,
// any number of `7F <SID> 78`, then one final answer (positive with the request's echo, or
// `7F <SID> NRC`), each within its bound. A tester feeds it what arrives and asks it when the next
// frame is due at the latest; a request whose connection the tester closed on purpose is exempt.
// Pure logic on an injected time, one thread per object; nothing throws.

#include <optional>
#include <string>

#include "tests/soak/soak_request.h"

namespace zevo::soak {

struct Sequence_limits {
    Milliseconds acknowledge{2000};  ///< the tester's limit for the acknowledge
    Milliseconds p2_star{5000};      ///< from the acknowledge or a 0x78 to the next answer
    Milliseconds margin{1000};       ///< added to p2_star for a loaded machine
    Milliseconds longest{60000};     ///< from the send to the final answer, whatever 0x78 came
};

struct Outcome {
    enum class Kind {
        open,        /**< nothing final yet */
        positive,    /**< the positive answer with the request's echo */
        negative,    /**< `7F <SID> nrc`, nrc not 0x78 */
        exempt,      /**< its connection was closed on purpose after the acknowledge */
        lost,        /**< no acknowledge, or no (further) answer within its bound */
        violation,   /**< something came that must not: an answer before its acknowledge, a NACK, a wrong echo */
    };
    Kind kind = Kind::open;
    std::uint8_t nrc = 0;  ///< negative only
    std::string reason;    ///< lost and violation: what went wrong
};

class Answer_sequence {
public:
    Answer_sequence(Bytes request, Time sent, Sequence_limits limits = {});

    void on_acknowledge(Time at);
    void on_negative_acknowledge(Time at, std::uint8_t code);
    /// A diagnostic message for the tester (the UDS bytes).
    void on_answer(Time at, const Bytes& uds);
    /// The tester closed the connection on purpose; exempt once acknowledged, else lost.
    void on_closed_on_purpose(Time at);
    /// The entity closed or broke the connection.
    void on_connection_lost(Time at);
    /// Nothing came by deadline(): the request is lost.
    void on_deadline(Time at);

    /// When the next frame is due at the latest.
    Time deadline() const { return deadline_; }
    bool finished() const { return outcome_.kind != Outcome::Kind::open; }
    const Outcome& outcome() const { return outcome_; }
    const Bytes& request() const { return request_; }
    Time sent() const { return sent_; }
    bool acknowledged() const { return acknowledged_; }
    int pending_answers() const { return pending_answers_; }
    /// From the send to the final answer (or to the end of the sequence).
    Milliseconds answer_time() const;
    /// When the sequence ended: the final answer, the loss or the close.
    Time ended() const { return ended_; }
    /// From the send to the first answer after the acknowledge (a 0x78 or the final one); zero
    /// when none came.
    Milliseconds first_answer_time() const { return first_answer_; }
    /// The frames so far with their times since the send, for a failure's report.
    const std::string& history() const { return history_; }

private:
    void finish(Outcome::Kind kind, Time at, std::string reason = {}, std::uint8_t nrc = 0);
    void note(Time at, const std::string& what);
    bool echo_matches(const Bytes& uds) const;

    Bytes request_;
    Time sent_;
    Sequence_limits limits_;
    Time deadline_;
    Time ended_;
    bool acknowledged_ = false;
    int pending_answers_ = 0;
    Milliseconds first_answer_{0};
    Outcome outcome_;
    std::string history_;
};

}  // namespace zevo::soak

#pragma once
// The scripted diagnostic session over the ten simulated services, with the response the
// simulator expects to each request. The host runs it step by step; special steps need the host
// to act (cancel a running job, withdraw or offer a service and wait for discovery). Plain data.

#include <cstdint>
#include <string>
#include <vector>

#include "sim/scenario.h"

namespace zevo::sim {

struct Session_step {
    enum class Kind {
        send,                ///< send `request`, expect `expected`
        send_and_cancel,     ///< send `request`; once the service holds the call, cancel the job from
                             ///< another thread. `expected` is what the cancelled extension job gives
                             ///< (0 with no data: the positive bytes); the host's server, which
                             ///< cancelled it, answers nothing and reports the request as cancelled
        withdraw_then_send,  ///< withdraw `identifier`, wait (bounded) until jobs answer 0x10, then send
        offer_then_send,     ///< offer `identifier` again, wait (bounded) until it is found, then send
    };
    std::string title;                   ///< e.g. "read 0x2C56 training counter"
    Kind kind = Kind::send;
    std::uint16_t identifier = 0;        ///< the service the step acts on (all kinds but send)
    Method method = Method::start;       ///< for send_and_cancel: the call to wait for
    std::vector<std::uint8_t> request;   ///< UDS request bytes
    std::vector<std::uint8_t> expected;  ///< the whole UDS response, positive or 7F SID NRC
};

/// The session: every data identifier read, every routine started and its results requested,
/// one application error, one too-short request (0x13), one unknown identifier (0x31), one
/// cancel of a slow routine, one service withdrawn and found again. Its expectations hold for a
/// simulator freshly started with the scenario that default_session_scenario() returns.
std::vector<Session_step> default_session();

/// The faults the default session relies on (for example the slow routine it cancels).
Scenario default_session_scenario();

}  // namespace zevo::sim

#pragma once
// Runs a scripted session (sim/session_plan.h) through the UDS server, prints every exchange and
// compares each final answer with the step's expectation. Runs on the calling thread (a cancel
// step's request on a helper thread meanwhile); throws what the controls and the output stream throw.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "host/service_wait.h"
#include "host/uds_server/synchronous_tester.h"
#include "host/uds_server/uds_server.h"
#include "sim/session_plan.h"

namespace zevo::host {

/// What the session needs of the services beside the requests: the simulator's controls.
struct Session_controls {
    std::function<void(std::uint16_t identifier)> withdraw;
    std::function<void(std::uint16_t identifier)> offer;
    /// True once a call of the method has reached the service and is unanswered, within the time.
    std::function<bool(std::uint16_t identifier, sim::Method method, std::chrono::milliseconds timeout)>
        wait_for_pending_call;
};

struct Session_settings {
    /// How long a withdraw or offer step waits for the extension to lose or find its service.
    /// Default 5 s.
    std::chrono::milliseconds discovery_timeout{5000};
    /// How long a cancel step waits for the service to hold the call. Default 5 s.
    std::chrono::milliseconds pending_call_timeout{5000};
};

struct Session_report {
    std::size_t steps = 0;                ///< steps run
    std::vector<std::string> mismatches;  ///< one line per step that did not go as expected
    bool interrupted = false;             ///< the session stopped early on the stop request
    bool passed() const { return mismatches.empty() && !interrupted; }
};

/// The host side of a session: the server the requests go to, the tester that sends them, and
/// the probe that tells whether an extension has its service (Uds_dispatcher::has_found_service).
struct Session_host {
    Uds_server& server;
    Synchronous_tester& tester;
    Service_probe probe;
};

/// Runs `steps` in order. Prints per step "# title", "-> request", notes of what the host did,
/// "<- answer" lines (each 7F xx 78, then the final answer or "(cancelled)") and, when the final
/// answer differs, "   expected ..."; a mismatch does not stop the session. A send_and_cancel
/// step expects "(cancelled)": the host cancelled its job, so nothing is answered. At the end a
/// summary with every mismatch. Each line is flushed as it is written, so that it stands in
/// order with the platform's log lines on a terminal. `stop` is asked between steps and ends the
/// session early (report.interrupted).
Session_report run_session(const Session_host& host, const std::vector<sim::Session_step>& steps,
                           const Session_controls& controls, const Session_settings& settings, std::ostream& out,
                           const Stop_request& stop = {});

}  // namespace zevo::host

#pragma once
// Runs the scripted session through a dispatcher, prints every exchange and compares each
// answer with the step's expectation. Runs on the main thread; the jobs on dispatcher workers.

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

#include "host/session_script.h"
#include "host/uds_dispatcher.h"

namespace zevo::host {

struct Session_report {
    std::size_t steps = 0;
    std::vector<std::string> mismatches;  ///< one line per step whose answer was not the expected one
    bool passed() const { return mismatches.empty(); }
};

/// How an answer is printed: its bytes, or a note that the positive response was suppressed.
std::string describe_response(const Uds_response& response);

/// Sends every step in order, printing "-> request" and "<- answer", and at the end a summary
/// with the steps that did not match.
Session_report run_session(const Uds_dispatcher& dispatcher, const std::vector<Session_step>& steps, std::ostream& out);

}  // namespace zevo::host

#pragma once
// The simulator's scripted session as a zevo-tester request file: the steps a tester can run on
// its own (plain requests; none that needs the host to cancel, withdraw or offer), each line a
// request with its expected answer under the step's title. Used by zevo-session-requests and the
// serve tests; pure functions, any thread, nothing thrown beyond std::bad_alloc.

#include <cstddef>
#include <string>
#include <vector>

#include "sim/session_plan.h"

namespace zevo::host {

/// "# read 0x2C60 key list\n22 2C 60 => 62 2C 60 08 02 1A 01 1A 02\n" for every plain step, in order.
std::string tester_request_file(const std::vector<sim::Session_step>& steps);

/// How many requests tester_request_file(steps) holds.
std::size_t tester_request_count(const std::vector<sim::Session_step>& steps);

}  // namespace zevo::host

#pragma once
// The requests of the soak: the testers' mix (reads of the four data identifiers, Starts and
// RequestResults of three routines), the requests a fault sends (a Start that zevo-keysim holds
// unanswered, a slow Start to leave in the middle) and the scenario that makes them so. Pure
// functions; the random engine belongs to the caller's thread.

#include <random>
#include <string>
#include <vector>

#include "tests/soak/soak_request.h"

namespace zevo::soak {

/// One request of the testers' mix, chosen at random: half reads, a quarter Starts, a quarter
/// RequestResults.
Bytes next_traffic_request(std::mt19937& random);

/// One request of each kind the testers send (a read of each data identifier, a Start of each
/// routine): after the faults each must be answered positively again.
std::vector<Bytes> recovery_requests();

/// A Start of 0xC00C, which the scenario leaves unanswered: the platform's request time-out ends it.
Bytes held_call_request();
/// A Start of 0xC00B, which the scenario answers only after slow_request_delay.
Bytes slow_request();
constexpr Milliseconds slow_request_delay{1500};
/// The routines' work time in the scenario.
constexpr Milliseconds routine_work{20};

/// The scenario file's text for zevo-keysim.
std::string soak_scenario_json();

}  // namespace zevo::soak

#pragma once
// The simulator's own events in the platform log, as plain text under context KSIM: services
// offered and withdrawn, faults added and faults that a call ran into. Called on whichever thread
// the event happens (control calls, runtime threads, the timer thread); never throws, a line that
// cannot be built is lost.

#include <chrono>
#include <cstdint>
#include <string>

#include "sim/scenario.h"

namespace zevo::sim {

/// "application error 22 31, short payload", what a fault does; "no change" for none.
std::string describe_fault(const Fault& fault);

/// Info: all ten services offered under `instance`.
void log_all_offered(const std::string& instance) noexcept;
/// Info: one service offered (again) or withdrawn; `why` may be empty or say, e.g., "by a fault".
void log_offer_change(std::uint16_t identifier, bool offered, const std::string& why) noexcept;
/// Info: a fault added at run time.
void log_fault_added(const Fault& fault) noexcept;
/// Info: a call of `method` ran into `fault`.
void log_fault_taken(std::uint16_t identifier, Method method, bool routine, const Fault& fault) noexcept;

}  // namespace zevo::sim

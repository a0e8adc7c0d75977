#include "sim/service_state.h"

#include <algorithm>

namespace zevo::sim {

Service_state::Service_state(Sim_clock clock, std::chrono::milliseconds routine_duration)
    : clock_(clock ? std::move(clock) : Sim_clock{[] { return std::chrono::steady_clock::now(); }}),
      routine_duration_(std::max(routine_duration, std::chrono::milliseconds{0})) {}

void Service_state::advance(Sim_time now) {
    std::apply([&](auto&... routine) { (routine.advance(world_, now), ...); }, routines_);
}

}  // namespace zevo::sim

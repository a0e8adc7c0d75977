#pragma once
// One soak run: zevo-keysim and zevo-dm serve started as children, the testers' traffic on
// threads of their own, the faults and the recovery checks on the calling thread, the serve
// process's resources compared at two quiet moments, both processes stopped, the counts printed.
// Returns the exit code: 0 all accepted, 1 a failure. Throws std::runtime_error when the
// processes cannot be started.

#include <ostream>

#include "tests/soak/soak_options.h"

namespace zevo::soak {

int run_soak(const Soak_options& options, std::ostream& out);

}  // namespace zevo::soak

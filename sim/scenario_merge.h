#pragma once
// The scenario of a session: the faults the scripted session relies on together with those of
// a --scenario file. A pure function over plain data, called on the main thread at start by
// zevo-dm and by zevo-keysim --session.

#include "sim/scenario.h"

namespace zevo::sim {

/// `base` (the session's own scenario) with `added` (a file's) merged in: the faults of `added`
/// first, so that the simulator meets them before those of `base` where both name the same
/// call; the routine duration of `added` where it differs from Scenario's default,
/// otherwise that of `base`.
Scenario merge_scenarios(const Scenario& base, const Scenario& added);

}  // namespace zevo::sim

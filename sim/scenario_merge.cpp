#include "sim/scenario_merge.h"

namespace zevo::sim {

Scenario merge_scenarios(const Scenario& base, const Scenario& added) {
    Scenario merged;
    merged.routine_duration =
        added.routine_duration != Scenario{}.routine_duration ? added.routine_duration : base.routine_duration;
    merged.faults = added.faults;
    merged.faults.insert(merged.faults.end(), base.faults.begin(), base.faults.end());
    return merged;
}

}  // namespace zevo::sim

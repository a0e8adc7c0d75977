#include "host/scenario_merge.h"

namespace zevo::host {

sim::Scenario merge_scenarios(const sim::Scenario& base, const sim::Scenario& added) {
    sim::Scenario merged;
    merged.routine_duration =
        added.routine_duration != sim::Scenario{}.routine_duration ? added.routine_duration : base.routine_duration;
    merged.faults = added.faults;
    merged.faults.insert(merged.faults.end(), base.faults.begin(), base.faults.end());
    return merged;
}

}  // namespace zevo::host

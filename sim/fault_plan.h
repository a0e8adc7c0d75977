#pragma once
// Which fault of a scenario applies to a call: the first one in order that names the call's
// service and method and has calls left (`times`). Also the one check of a fault that both the
// scenario parser and Key_simulator::inject use. Not locked itself: the simulator calls it
// under its lock. Throws std::bad_alloc only.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "sim/scenario.h"

namespace zevo::sim {

/// What is wrong with a fault: the field (as in the scenario format, empty for the fault as a
/// whole) and the complaint.
struct Fault_problem {
    std::string field;
    std::string message;
};

/// Nothing when `fault` can be used: a served identifier, a method of that service, at most one
/// of the actions that replace the answer, short and malformed not together, no Cancel held until
/// a Cancel, no delay beside an action that never answers.
std::optional<Fault_problem> check_fault(const Fault& fault);

class Fault_plan {
public:
    explicit Fault_plan(const std::vector<Fault>& faults = {});

    void add(const Fault& fault);

    /// The fault for one call of `method` of `identifier`, counted against its `times`; nothing
    /// when no fault applies.
    std::optional<Fault> take(std::uint16_t identifier, Method method);

private:
    struct Entry {
        Fault fault;
        std::optional<unsigned> remaining;  ///< empty: every call
    };
    std::vector<Entry> entries_;
};

}  // namespace zevo::sim

#include "sim/fault_plan.h"

#include "sim/service_table.h"

namespace zevo::sim {

std::optional<Fault_problem> check_fault(const Fault& fault) {
    const Service_entry* service = find_service(fault.identifier);
    if (service == nullptr) {
        return Fault_problem{"identifier", hex_identifier(fault.identifier) + " is not served"};
    }
    if (fault.method == Method::start && !service->routine) {
        return Fault_problem{"method", "\"start\" is not a method of data identifier " + hex_identifier(fault.identifier)};
    }
    const bool never_answers = fault.no_answer || fault.drop || fault.hold_until_cancel || fault.withdraw_for;
    const int replacing = int{fault.application_error.has_value()} + int{fault.return_code.has_value()} +
                          int{fault.no_answer} + int{fault.drop} + int{fault.hold_until_cancel} +
                          int{fault.withdraw_for.has_value()};
    if (replacing > 1) {
        return Fault_problem{
            "", "at most one of application_error, return_code, no_answer, drop, hold_until_cancel, withdraw_ms"};
    }
    if (fault.short_payload && fault.malformed_payload) {
        return Fault_problem{"", "short_payload and malformed_payload exclude each other"};
    }
    if (fault.hold_until_cancel && fault.method == Method::cancel) {
        return Fault_problem{"hold_until_cancel", "a Cancel cannot wait for a Cancel"};
    }
    if (fault.delay.count() < 0) return Fault_problem{"delay_ms", "expected a non-negative integer"};
    if (fault.withdraw_for && fault.withdraw_for->count() < 0) {
        return Fault_problem{"withdraw_ms", "expected a non-negative integer"};
    }
    if (fault.delay.count() > 0 && never_answers) {
        return Fault_problem{"delay_ms", "a call that is never answered has no delay"};
    }
    return std::nullopt;
}

Fault_plan::Fault_plan(const std::vector<Fault>& faults) {
    for (const Fault& fault : faults) add(fault);
}

void Fault_plan::add(const Fault& fault) { entries_.push_back(Entry{fault, fault.times}); }

std::optional<Fault> Fault_plan::take(std::uint16_t identifier, Method method) {
    for (Entry& entry : entries_) {
        if (entry.fault.identifier != identifier || entry.fault.method != method) continue;
        if (entry.remaining) {
            if (*entry.remaining == 0) continue;
            --*entry.remaining;
        }
        return entry.fault;
    }
    return std::nullopt;
}

}  // namespace zevo::sim

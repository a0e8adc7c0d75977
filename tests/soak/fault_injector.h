#pragma once
// The workshop faults of the soak, injected at random moments from a seeded engine: zevo-keysim
// killed with SIGKILL and started again; a service withdrawn and offered again through the
// control port; a tester that leaves in the middle of a slow job and comes back; a call that
// zevo-keysim holds until the platform's request time-out ends it. After the faults, a check that
// every kind of request is answered positively again. Runs on the soak's main thread; its own
// tester sends the faults' requests.

#include <random>
#include <string>
#include <vector>

#include "tests/soak/keysim_holder.h"
#include "tests/soak/soak_tester.h"

namespace zevo::soak {

/// The kinds of fault, by the names the counts print.
constexpr const char* fault_kinds[] = {"keysim-killed", "withdrawn", "tester-left", "held-to-timeout"};

class Fault_injector {
public:
    /// `request_timeout`: the platform's, which ends the held call.
    Fault_injector(Keysim_holder& keysim, Soak_tester& tester, Soak_referee& referee, std::uint32_t seed,
                   Milliseconds request_timeout)
        : keysim_(keysim), tester_(tester), referee_(referee), random_(seed), request_timeout_(request_timeout) {}

    /// Injects faults at random moments, 300 to 2500 ms apart, until `end`; `kinds` (names of
    /// fault_kinds) are the ones chosen from, all when empty.
    void inject_until(Time end, const std::vector<std::string>& kinds = {});
    /// Until every request of recovery_requests() has been answered positively, at most `bound`;
    /// false (and a failure counted) when one was not.
    bool recovered(Milliseconds bound);

private:
    void restart_keysim();
    void withdraw_and_offer();
    void leave_in_the_middle();
    void hold_until_timeout();
    /// Until the host has the service of the held call's routine (its RequestResults is answered
    /// other than 7F 31 10), at most `bound`.
    bool held_call_service_found(Milliseconds bound);

    Keysim_holder& keysim_;
    Soak_tester& tester_;
    Soak_referee& referee_;
    std::mt19937 random_;
    Milliseconds request_timeout_;
};

}  // namespace zevo::soak

#pragma once
// The ten simulated key-handling services, offered on the platform's local binding under one
// instance text: stateful behaviour per identifier (see sim/README.md) and the faults of a
// scenario. Thread-safe: the services answer on runtime threads; control calls may come from any
// thread. Destruction stops the simulator's timer thread, withdraws every service and waits for
// running handlers.

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "sim/clock.h"
#include "sim/scenario.h"

namespace ruv::com::local {
class Provider_registry;
}  // namespace ruv::com::local

namespace zevo::sim {

/// The UDS identifiers of the ten services, data identifiers first.
const std::vector<std::uint16_t>& served_identifiers();

/// The interface name `identifier` is offered under, e.g.
/// "talm::services::diag::d_2c56::DataIdentifier_ZevoTrainingCounter". Throws
/// std::invalid_argument for an identifier that is not served.
std::string interface_name_of(std::uint16_t identifier);

struct Simulator_options {
    std::string instance = "1";  ///< the instance text the services are offered under
    Scenario scenario;           ///< faults and routine duration
};

class Key_simulator {
public:
    /// Offers nothing yet. `registry` must outlive the simulator. Routines take their time from
    /// `clock` (empty: std::chrono::steady_clock); fault delays are always real time. Throws
    /// std::invalid_argument naming the fault when a fault of the scenario cannot be used (see
    /// inject), std::system_error when the timer thread cannot start.
    explicit Key_simulator(ruv::com::local::Provider_registry& registry, Simulator_options options = {},
                           Sim_clock clock = {});
    ~Key_simulator();
    Key_simulator(const Key_simulator&) = delete;
    Key_simulator& operator=(const Key_simulator&) = delete;

    /// Offers all ten services (again, where withdrawn).
    void offer_all();
    /// Offers one service, by UDS identifier; nothing if it is offered. Throws std::invalid_argument
    /// for an identifier that is not served.
    void offer(std::uint16_t identifier);
    /// Withdraws one service: pending calls get 0xFF. Throws std::invalid_argument as offer.
    void withdraw(std::uint16_t identifier);
    /// Withdraws all.
    void withdraw_all() noexcept;
    /// True while `identifier` is offered. Throws std::invalid_argument as offer.
    bool offered(std::uint16_t identifier) const;

    /// Adds a fault at run time, as if it stood at the end of the scenario. Throws
    /// std::invalid_argument when it cannot be used: an identifier that is not served, "start"
    /// on a data identifier, more than one action that replaces the answer, short and malformed
    /// together, a Cancel held until a Cancel, a delay beside an action that never answers.
    void inject(const Fault& fault);

    /// Waits until a call of `method` of `identifier` has arrived and is still unanswered (for
    /// example a slow Start), at most `timeout`. True when it has.
    bool wait_for_pending_call(std::uint16_t identifier, Method method, std::chrono::milliseconds timeout);

    /// Calls each service has received so far, by identifier and method (for tests).
    unsigned calls(std::uint16_t identifier, Method method) const;

private:
    class Services;
    std::unique_ptr<Services> services_;
};

}  // namespace zevo::sim

#pragma once
// One service offered by a local provider, as the provider holds it: destroying or withdrawing
// the Offer withdraws the service (state leaves 2, pending calls are answered 0xFF, later calls
// too). Move-only; one thread at a time per object; withdraw may be called from the provider's
// own handler and waits for the handler on other threads. Throws nothing but from handle().

#include <cstddef>
#include <memory>

#include "kel/com/runtime/service_handle.h"
#include "ruv/com/runtime/service_entry.h"
#include "ruv/com/runtime/service_record.h"

namespace ruv::com::local {

namespace detail {
class Registry_core;
class Local_service;
}  // namespace detail

class Offer {
public:
    /// Offers nothing.
    Offer() noexcept = default;
    /// Made by Provider_registry::offer.
    Offer(std::shared_ptr<detail::Registry_core> registry,
          std::shared_ptr<runtime::Service_entry> entry,
          std::shared_ptr<detail::Local_service> service) noexcept;

    Offer(Offer&&) noexcept = default;
    /// Withdraws what this Offer offered, then takes the other's service.
    Offer& operator=(Offer&& other) noexcept;
    Offer(const Offer&) = delete;
    Offer& operator=(const Offer&) = delete;
    /// withdraw().
    ~Offer();

    /// Ends the offer: the service state becomes not_available (0), the service leaves the
    /// registry's list (listeners are told), every pending call is answered 0xFF on a runtime
    /// thread, and so is every later call through a port that is still attached. Then waits
    /// until the provider's handler runs on no other thread; it is never called again, so the
    /// provider may release what its handler uses. From inside the handler it does not wait for
    /// itself. A second call does nothing.
    void withdraw() noexcept;

    /// True from the offer until withdrawal.
    bool offered() const noexcept;

    /// The handle of this service, as discovery hands it out; also after withdrawal, when ports
    /// made from it see the state not_available. Null record for an empty Offer.
    kel::com::runtime::Service_handle handle() const;

    /// The runtime's record of this service (state and binding); null for an empty Offer.
    std::shared_ptr<runtime::Service_record> record() const noexcept;

    /// Calls that reached this service and have not ended yet; 0 for an empty Offer.
    std::size_t pending_calls() const;

private:
    std::shared_ptr<detail::Registry_core> registry_;  ///< null once withdrawn
    std::shared_ptr<runtime::Service_entry> entry_;     ///< kept after withdrawal
    std::shared_ptr<detail::Local_service> service_;    ///< kept after withdrawal
};

}  // namespace ruv::com::local

#pragma once
// The local binding: services implemented in this process and offered under (interface name,
// instance text). A provider receives each call as (method id, request bytes, Reply) on a runtime
// thread and answers through the Reply; discovery learns the offered services through find and
// watch. All members are thread-safe; none holds a lock while it calls a handler or listener.

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "kel/com/runtime/service_handle.h"
#include "ruv/com/local/offer.h"
#include "ruv/com/local/offer_watch.h"
#include "ruv/com/local/reply.h"
#include "ruv/com/runtime/runtime.h"

namespace ruv::com::local {

/// Receives one call on a runtime thread: the method id, the request payload's bytes, and the
/// Reply to answer with, now or later, from any thread. Letting the last copy of the Reply go
/// unanswered drops the call. Calls may arrive on several runtime threads at once. It may answer,
/// withdraw its own offer and make calls from inside (waiting there for their answers ties up a
/// runtime thread). An exception out of it is logged; the Reply it did not keep is then dropped
/// with it.
using Call_handler =
    std::function<void(std::uint16_t method_id, std::vector<std::uint8_t> request, Reply reply)>;

/// Told the whole list of services offered under the watched name and instance, in offer order:
/// once when the watch starts (also when the list is empty), and after each offer or withdrawal
/// that changes it. Runs on a runtime thread, one notification at a time per registry, in the
/// order of the changes; it may offer, withdraw, watch and stop its own watch. An exception out
/// of it is logged.
using Offer_listener = std::function<void(std::vector<kel::com::runtime::Service_handle> services)>;

struct Registry_options {
    /// How long a call waits for its provider's answer before the runtime answers 0x86 for it.
    /// A std::chrono duration, so the unit travels with the value: milliseconds. Default 10 s;
    /// zero or less means that calls never time out.
    std::chrono::milliseconds request_timeout{std::chrono::seconds{10}};
    /// The runtime whose threads carry the calls and notifications; null is the process-wide one.
    std::shared_ptr<runtime::Runtime> runtime;
};

class Provider_registry {
public:
    /// Throws what Runtime::process() throws, std::bad_alloc.
    explicit Provider_registry(Registry_options options = {});
    /// Offers and watches made here stay valid: they keep what they need.
    ~Provider_registry();
    Provider_registry(const Provider_registry&) = delete;
    Provider_registry& operator=(const Provider_registry&) = delete;

    /// The process's registry, with the default options, made on first use and never destroyed;
    /// the one that the service finder looks at. Throws on the first call only.
    static Provider_registry& process();

    /// Offers a service: its state is 2 (available) from now on, listeners are told, and its
    /// handle is in find's answers. The same name and instance may be offered more than once;
    /// each offer is one more entry in the list. Throws std::invalid_argument with the text
    /// "Provider_registry::offer: empty call handler", std::bad_alloc.
    Offer offer(std::string interface_name, std::string instance, Call_handler handler);

    /// The services offered now under the name and instance, in offer order.
    std::vector<kel::com::runtime::Service_handle> find(const std::string& interface_name,
                                                        const std::string& instance) const;

    /// Starts telling `listener` about the services under the name and instance (see
    /// Offer_listener). Throws std::invalid_argument with the text
    /// "Provider_registry::watch: empty listener", std::bad_alloc.
    Offer_watch watch(std::string interface_name, std::string instance, Offer_listener listener);

    /// The request timeout of calls made from now on (see Registry_options).
    void set_request_timeout(std::chrono::milliseconds timeout) noexcept;
    std::chrono::milliseconds request_timeout() const noexcept;

    /// The runtime that carries this registry's calls.
    const std::shared_ptr<runtime::Runtime>& runtime() const noexcept;

private:
    std::shared_ptr<detail::Registry_core> core_;
};

}  // namespace ruv::com::local

#pragma once
// The runtime's service discovery. subscribe (second slot behind the destructor pair) reports,
// on a runtime thread and as often as the set changes, the whole list of services known under
// one interface name and instance. The subscription lasts as long as its handle: destroying
// the last reference stops the callbacks, waiting for one that runs on another thread.

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace kel::com::runtime {

class Service_handle;
class Instance_id;

class Service_finder {
public:
    /// Keeps one subscription alive; the runtime derives its own.
    class Subscription_handle;
    /// Called on a runtime thread with every instance then known; the answer is ignored.
    using Callback = std::function<bool(std::vector<Service_handle>)>;

    virtual ~Service_finder() = default;
    /// One look at the services known now, without subscribing.
    virtual std::vector<Service_handle> find_services(const std::string& service,
                                                      const Instance_id& instance) = 0;
    virtual std::shared_ptr<Subscription_handle> subscribe(Callback callback, std::string service,
                                                           const Instance_id& instance) = 0;

protected:
    Service_finder() = default;
    Service_finder(const Service_finder&) = default;
    Service_finder& operator=(const Service_finder&) = default;
};

/// Opaque to its holders: all they do is keep it and let it go. Its destructor ends the
/// subscription; it may run on any thread, also inside the callback (it then does not wait).
class Service_finder::Subscription_handle {
public:
    virtual ~Subscription_handle() = default;
    Subscription_handle(const Subscription_handle&) = delete;
    Subscription_handle& operator=(const Subscription_handle&) = delete;

protected:
    Subscription_handle() = default;
};

}  // namespace kel::com::runtime

#include "com/runtime/local_service_finder.h"

#include <stdexcept>
#include <utility>
#include <vector>

#include "kel/com/runtime/instance_id.h"
#include "kel/com/runtime/service_handle.h"
#include "ruv/com/local/provider_registry.h"

namespace ruv::com::runtime::detail {

namespace {

using kel::com::runtime::Instance_id;
using kel::com::runtime::Service_finder;
using kel::com::runtime::Service_handle;

// One subscription: a watch on the registry, stopped with the handle. Offer_watch::stop waits
// for a callback running on another thread and returns at once inside one.
class Local_subscription final : public Service_finder::Subscription_handle {
public:
    Local_subscription() noexcept = default;

    local::Offer_watch watch;  ///< set once, right after construction, by subscribe
};

class Local_service_finder final : public Service_finder {
public:
    std::vector<Service_handle> find_services(const std::string& service,
                                              const Instance_id& instance) override {
        return local::Provider_registry::process().find(service, instance.to_string());
    }

    // The handle exists before the watch starts, so that a subscribe that fails has told the
    // callback nothing. The registry tells the callback the whole list at once when the watch
    // starts and after every offer or withdrawal under the name and instance.
    std::shared_ptr<Subscription_handle> subscribe(Callback callback, std::string service,
                                                   const Instance_id& instance) override {
        if (!callback) {
            throw std::invalid_argument("Service_finder::subscribe: empty callback");
        }
        auto subscription = std::make_shared<Local_subscription>();
        subscription->watch = local::Provider_registry::process().watch(
            std::move(service), instance.to_string(),
            [callback = std::move(callback)](std::vector<Service_handle> services) {
                static_cast<void>(callback(std::move(services)));  // the answer means nothing here
            });
        return subscription;
    }
};

}  // namespace

std::shared_ptr<Service_finder> make_local_service_finder() {
    return std::make_shared<Local_service_finder>();
}

}  // namespace ruv::com::runtime::detail

#include "ruv/com/local/provider_registry.h"

#include <stdexcept>
#include <utility>

#include "com/local/call_settings.h"
#include "com/local/registry_core.h"

namespace ruv::com::local {

namespace {

std::shared_ptr<runtime::Runtime> runtime_of(Registry_options& options) {
    return options.runtime != nullptr ? std::move(options.runtime) : runtime::Runtime::process();
}

}  // namespace

Provider_registry::Provider_registry(Registry_options options)
    : core_(std::make_shared<detail::Registry_core>(
          std::make_shared<detail::Call_settings>(runtime_of(options), options.request_timeout))) {}

Provider_registry::~Provider_registry() = default;

Provider_registry& Provider_registry::process() {
    // Never destroyed: offers and watches held by other statics may end after static destruction.
    static Provider_registry* const instance = new Provider_registry();
    return *instance;
}

Offer Provider_registry::offer(std::string interface_name, std::string instance, Call_handler handler) {
    if (!handler) {
        throw std::invalid_argument("Provider_registry::offer: empty call handler");
    }
    return core_->offer(std::move(interface_name), std::move(instance), std::move(handler));
}

std::vector<kel::com::runtime::Service_handle> Provider_registry::find(const std::string& interface_name,
                                                                       const std::string& instance) const {
    return core_->find(interface_name, instance);
}

Offer_watch Provider_registry::watch(std::string interface_name, std::string instance,
                                     Offer_listener listener) {
    if (!listener) {
        throw std::invalid_argument("Provider_registry::watch: empty listener");
    }
    return Offer_watch{core_, core_->watch(std::move(interface_name), std::move(instance), std::move(listener))};
}

void Provider_registry::set_request_timeout(std::chrono::milliseconds timeout) noexcept {
    core_->settings().set_timeout(timeout);
}

std::chrono::milliseconds Provider_registry::request_timeout() const noexcept {
    return core_->settings().timeout();
}

const std::shared_ptr<runtime::Runtime>& Provider_registry::runtime() const noexcept {
    return core_->settings().runtime();
}

}  // namespace ruv::com::local

#include "ruv/com/local/offer_watch.h"

#include <utility>

#include "com/local/registry_core.h"

namespace ruv::com::local {

Offer_watch::Offer_watch(std::shared_ptr<detail::Registry_core> registry,
                         std::shared_ptr<detail::Watch_state> state) noexcept
    : registry_(std::move(registry)), state_(std::move(state)) {}

Offer_watch& Offer_watch::operator=(Offer_watch&& other) noexcept {
    if (this != &other) {
        stop();
        registry_ = std::move(other.registry_);
        state_ = std::move(other.state_);
    }
    return *this;
}

Offer_watch::~Offer_watch() { stop(); }

void Offer_watch::stop() noexcept {
    const std::shared_ptr<detail::Registry_core> registry = std::move(registry_);
    const std::shared_ptr<detail::Watch_state> state = std::move(state_);
    if (registry != nullptr && state != nullptr) {
        registry->unwatch(state);
    }
}

}  // namespace ruv::com::local

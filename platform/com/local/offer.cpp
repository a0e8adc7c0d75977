#include "ruv/com/local/offer.h"

#include <utility>

#include "com/local/local_service.h"
#include "com/local/registry_core.h"

namespace ruv::com::local {

Offer::Offer(std::shared_ptr<detail::Registry_core> registry,
             std::shared_ptr<runtime::Service_entry> entry,
             std::shared_ptr<detail::Local_service> service) noexcept
    : registry_(std::move(registry)), entry_(std::move(entry)), service_(std::move(service)) {}

Offer& Offer::operator=(Offer&& other) noexcept {
    if (this != &other) {
        withdraw();
        registry_ = std::move(other.registry_);
        entry_ = std::move(other.entry_);
        service_ = std::move(other.service_);
    }
    return *this;
}

Offer::~Offer() { withdraw(); }

// The state first, so that proxies refuse new calls at once; then the list, so that discovery
// learns of it; then the calls that are still pending.
void Offer::withdraw() noexcept {
    const std::shared_ptr<detail::Registry_core> registry = std::move(registry_);
    if (registry == nullptr) {
        return;
    }
    entry_->service()->state.store(runtime::service_state::not_available, std::memory_order_release);
    registry->remove(*entry_);
    service_->withdraw();
}

bool Offer::offered() const noexcept { return registry_ != nullptr; }

kel::com::runtime::Service_handle Offer::handle() const { return kel::com::runtime::Service_handle{entry_}; }

std::shared_ptr<runtime::Service_record> Offer::record() const noexcept {
    return entry_ != nullptr ? entry_->service() : nullptr;
}

std::size_t Offer::pending_calls() const { return service_ != nullptr ? service_->pending_calls() : 0; }

}  // namespace ruv::com::local

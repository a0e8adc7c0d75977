#include "com/local/registry_core.h"

#include <algorithm>

#include "com/local/local_service.h"
#include "com/runtime/runtime_log.h"

namespace ruv::com::local::detail {

Registry_core::Registry_core(std::shared_ptr<Call_settings> settings) noexcept
    : settings_(std::move(settings)) {}

Registry_core::~Registry_core() = default;

Offer Registry_core::offer(std::string interface_name, std::string instance, Call_handler handler) {
    auto provider = std::make_shared<const Call_handler>(std::move(handler));
    auto service = std::make_shared<Local_service>(interface_name, std::move(provider), settings_);
    auto record = std::make_shared<runtime::Service_record>(service);
    auto entry = std::make_shared<runtime::Service_entry>(interface_name, instance, std::move(record));
    Key key{std::move(interface_name), std::move(instance)};
    Offer offered{shared_from_this(), entry, service};  // from here on its end withdraws

    bool post = false;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        offered_[key].push_back(entry);
        post = queue_locked(key);
    }
    if (post) {
        post_drain();
    }
    return offered;
}

void Registry_core::remove(const runtime::Service_entry& entry) noexcept {
    Key key;
    try {
        key = Key{entry.service_id(), entry.instance_id()};
    } catch (...) {  // no memory for the key: the entry stays listed
        return;
    }
    std::shared_ptr<runtime::Service_entry> removed;
    bool post = false;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        const auto list = offered_.find(key);
        if (list == offered_.end()) {
            return;
        }
        auto& entries = list->second;
        const auto found = std::find_if(entries.begin(), entries.end(),
                                        [&entry](const auto& listed) { return listed.get() == &entry; });
        if (found == entries.end()) {
            return;
        }
        removed = std::move(*found);
        entries.erase(found);
        try {
            post = queue_locked(list->first);
        } catch (...) {  // no memory for the notifications: this change goes untold
        }
        if (entries.empty()) {
            offered_.erase(list);
        }
    }
    if (post) {
        post_drain();
    }
}  // the entry goes here, outside the lock

std::vector<kel::com::runtime::Service_handle> Registry_core::find(const std::string& interface_name,
                                                                   const std::string& instance) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return list_locked(Key{interface_name, instance});
}

std::shared_ptr<Watch_state> Registry_core::watch(std::string interface_name, std::string instance,
                                                  Offer_listener listener) {
    auto state = std::make_shared<Watch_state>(std::move(interface_name), std::move(instance),
                                               std::move(listener));
    bool post = false;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        notifications_.push_back(Notification{state, list_locked(state->key)});
        try {
            watches_.emplace(state->key, state);
        } catch (...) {
            notifications_.pop_back();
            throw;
        }
        post = claim_drain_locked();
    }
    if (post) {
        post_drain();
    }
    return state;
}

void Registry_core::unwatch(const std::shared_ptr<Watch_state>& state) noexcept {
    std::shared_ptr<Watch_state> removed;
    const std::thread::id self = std::this_thread::get_id();
    std::unique_lock<std::mutex> lock(mutex_);
    state->active.store(false, std::memory_order_relaxed);
    auto [first, last] = watches_.equal_range(state->key);
    for (; first != last; ++first) {
        if (first->second == state) {
            removed = std::move(first->second);
            watches_.erase(first);
            break;
        }
    }
    delivered_.wait(lock, [this, &state, self] {
        return delivering_ != state.get() || delivering_thread_ == self;
    });
}  // the lock is released first; then the listener goes, unless a delivery on this thread holds it

std::vector<kel::com::runtime::Service_handle> Registry_core::list_locked(const Key& key) const {
    std::vector<kel::com::runtime::Service_handle> services;
    const auto list = offered_.find(key);
    if (list != offered_.end()) {
        services.reserve(list->second.size());
        for (const auto& entry : list->second) {
            services.emplace_back(entry);
        }
    }
    return services;
}

bool Registry_core::queue_locked(const Key& key) {
    auto [first, last] = watches_.equal_range(key);
    if (first == last) {
        return false;
    }
    const std::vector<kel::com::runtime::Service_handle> services = list_locked(key);
    for (; first != last; ++first) {
        notifications_.push_back(Notification{first->second, services});
    }
    return claim_drain_locked();
}

bool Registry_core::claim_drain_locked() noexcept {
    if (draining_ || notifications_.empty()) {
        return false;
    }
    draining_ = true;
    return true;
}

void Registry_core::post_drain() noexcept {
    bool posted = false;
    try {
        posted = settings_->runtime()->dispatcher().post([self = shared_from_this()] { self->drain(); });
    } catch (...) {  // no memory for the task: handled as a stopped runtime
    }
    if (posted) {
        return;
    }
    std::deque<Notification> dropped;
    std::lock_guard<std::mutex> lock(mutex_);
    dropped.swap(notifications_);
    draining_ = false;
}

void Registry_core::drain() noexcept {
    const std::thread::id self = std::this_thread::get_id();
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        if (notifications_.empty()) {
            draining_ = false;
            return;
        }
        Notification next = std::move(notifications_.front());
        notifications_.pop_front();
        const bool active = next.watch->active.load(std::memory_order_relaxed);  // else stopped meanwhile
        if (active) {
            delivering_ = next.watch.get();
            delivering_thread_ = self;
        }
        lock.unlock();
        if (active) {
            try {
                next.watch->listener(std::move(next.services));
            } catch (...) {
                runtime::detail::log_current_exception("A listener of the local provider registry");
            }
        }
        next = Notification{};  // the handles and a stopped watch's listener go with no lock held
        lock.lock();
        if (active) {
            delivering_ = nullptr;
            delivered_.notify_all();
        }
    }
}

}  // namespace ruv::com::local::detail

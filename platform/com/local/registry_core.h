#pragma once
// What a Provider_registry shares with its offers and watches: the services offered under each
// (interface name, instance) in offer order, the watches, and the queue of notifications that
// one runtime task at a time delivers, in the order of the changes. Thread-safe; listeners run
// with no lock held.

#include <atomic>
#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "com/local/call_settings.h"
#include "kel/com/runtime/service_handle.h"
#include "ruv/com/local/provider_registry.h"
#include "ruv/com/runtime/service_entry.h"

namespace ruv::com::local::detail {

/// One watch: its key and listener never change; `active` goes false once, at stop.
class Watch_state {
public:
    Watch_state(std::string interface_name, std::string instance, Offer_listener on_change)
        : key(std::move(interface_name), std::move(instance)), listener(std::move(on_change)) {}

    const std::pair<std::string, std::string> key;
    const Offer_listener listener;
    std::atomic<bool> active{true};
};

class Registry_core : public std::enable_shared_from_this<Registry_core> {
public:
    explicit Registry_core(std::shared_ptr<Call_settings> settings) noexcept;
    ~Registry_core();
    Registry_core(const Registry_core&) = delete;
    Registry_core& operator=(const Registry_core&) = delete;

    /// Makes the service, its record (state 2) and entry, lists it and tells the watchers.
    /// Throws std::bad_alloc, with nothing listed.
    Offer offer(std::string interface_name, std::string instance, Call_handler handler);

    /// Takes the entry off its list and tells the watchers. Unknown entries are ignored. On a
    /// memory shortage the watchers may miss this change.
    void remove(const runtime::Service_entry& entry) noexcept;

    std::vector<kel::com::runtime::Service_handle> find(const std::string& interface_name,
                                                        const std::string& instance) const;

    /// Registers the watch and queues its first notification. Throws std::bad_alloc.
    std::shared_ptr<Watch_state> watch(std::string interface_name, std::string instance,
                                       Offer_listener listener);

    /// No notification starts for the watch after this returns, and none is running on another
    /// thread: a running one is waited for, unless it runs on this thread.
    void unwatch(const std::shared_ptr<Watch_state>& state) noexcept;

    Call_settings& settings() const noexcept { return *settings_; }

private:
    using Key = std::pair<std::string, std::string>;
    struct Notification {
        std::shared_ptr<Watch_state> watch;
        std::vector<kel::com::runtime::Service_handle> services;
    };

    std::vector<kel::com::runtime::Service_handle> list_locked(const Key& key) const;
    /// Queues the current list for every watch of `key`; true when a drain must be posted.
    bool queue_locked(const Key& key);
    bool claim_drain_locked() noexcept;
    void post_drain() noexcept;
    void drain() noexcept;

    const std::shared_ptr<Call_settings> settings_;

    mutable std::mutex mutex_;
    std::map<Key, std::vector<std::shared_ptr<runtime::Service_entry>>> offered_;  ///< guarded by mutex_
    std::multimap<Key, std::shared_ptr<Watch_state>> watches_;  ///< guarded by mutex_
    std::deque<Notification> notifications_;  ///< guarded by mutex_, oldest first
    bool draining_ = false;  ///< guarded by mutex_: a drain task is posted or running
    const Watch_state* delivering_ = nullptr;  ///< guarded by mutex_: whose listener runs now
    std::thread::id delivering_thread_;        ///< guarded by mutex_: and on which thread
    std::condition_variable delivered_;        ///< signalled when a listener returns
};

}  // namespace ruv::com::local::detail

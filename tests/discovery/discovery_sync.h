#pragma once
// How the discovery tests know that discovery has caught up, without sleeping: a watch on the
// process registry that the test registers after the search under test (the registry tells the
// watches of one name one at a time, in the order they were made, so once this watch has a list,
// the search's subscription callback has returned from the same change), and a marker task posted
// to the search's strand behind it (once the marker runs, the handler of that list has returned).
// Every wait is bounded. Used from the test's thread.

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kel/com/runtime/service_handle.h"
#include "ruv/com/local/offer.h"
#include "ruv/com/local/offer_watch.h"
#include "ruv/com/local/provider_registry.h"
#include "ruv/com/strand.h"

namespace zevo::test {

/// Far above any honest wait, also under sanitizers; short enough to end a broken test.
inline constexpr std::chrono::seconds discovery_bound{10};

/// Polls `condition` until it holds, yielding between looks; false after `bound`. For states that
/// no notification announces (a strand's state field).
template <class Condition>
bool eventually(Condition&& condition, std::chrono::milliseconds bound = discovery_bound) {
    const auto deadline = std::chrono::steady_clock::now() + bound;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

/// The runtime records behind a list of handles: what tells services apart.
using Service_records = std::vector<const kel::com::runtime::Service_handle_record*>;

inline Service_records records_of(const std::vector<kel::com::runtime::Service_handle>& services) {
    Service_records records;
    for (const kel::com::runtime::Service_handle& service : services) {
        records.push_back(service.record().get());
    }
    return records;
}

inline Service_records records_of(std::initializer_list<const ruv::com::local::Offer*> offers) {
    Service_records records;
    for (const ruv::com::local::Offer* offer : offers) {
        records.push_back(offer->handle().record().get());
    }
    return records;
}

/// A watch on (name, instance) in the process registry that keeps every list it is told.
class Registry_watch {
public:
    Registry_watch(const std::string& name, const std::string& instance)
        : inbox_(std::make_shared<Inbox>()),
          watch_(ruv::com::local::Provider_registry::process().watch(
              name, instance, [inbox = inbox_](std::vector<kel::com::runtime::Service_handle> services) {
                  const std::lock_guard<std::mutex> lock(inbox->mutex);
                  inbox->lists.push_back(records_of(services));
                  inbox->arrived.notify_all();
              })) {}

    /// The next list told, oldest first; nothing when none comes within the bound.
    std::optional<Service_records> next(std::chrono::milliseconds bound = discovery_bound) {
        std::unique_lock<std::mutex> lock(inbox_->mutex);
        if (!inbox_->arrived.wait_for(lock, bound, [this] { return !inbox_->lists.empty(); })) {
            return std::nullopt;
        }
        Service_records records = std::move(inbox_->lists.front());
        inbox_->lists.pop_front();
        return records;
    }

    /// Takes lists until one of `count` services comes; false when none does within the bound.
    bool skip_to_size(std::size_t count, std::chrono::milliseconds bound = discovery_bound) {
        const auto deadline = std::chrono::steady_clock::now() + bound;
        for (;;) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now());
            const std::optional<Service_records> list = next(left.count() > 0 ? left : std::chrono::milliseconds{0});
            if (!list) {
                return false;
            }
            if (list->size() == count) {
                return true;
            }
        }
    }

private:
    struct Inbox {
        std::mutex mutex;
        std::condition_variable arrived;
        std::deque<Service_records> lists;
    };
    std::shared_ptr<Inbox> inbox_;  ///< shared with the listener, which may outlive nothing here
    ruv::com::local::Offer_watch watch_;
};

/// What became of a marker posted to a strand.
enum class Marker { ran, dropped, hung };

/// Posts a task to `strand` and waits until it has run: every task posted before it has then
/// returned. A stopped strand drops it (`dropped`); `hung` when it did not run within the bound.
inline Marker pass_marker(ruv::com::Strand& strand, std::chrono::milliseconds bound = discovery_bound) {
    auto reached = std::make_shared<std::promise<void>>();
    std::future<void> ran = reached->get_future();
    // The task is the promise's only owner: dropped uncalled, it breaks the promise.
    strand.internal_post([reached = std::move(reached)] { reached->set_value(); });
    if (ran.wait_for(bound) != std::future_status::ready) {
        return Marker::hung;
    }
    try {
        ran.get();
        return Marker::ran;
    } catch (const std::future_error&) {
        return Marker::dropped;  // the task was destroyed uncalled: its promise broke
    }
}

/// The strand's state field, read under its lock.
inline std::uint8_t strand_state(ruv::com::Strand& strand) {
    const std::lock_guard<std::mutex> lock(strand.mutex);
    return strand.state;
}

/// The strand's pending count, read under its lock.
inline std::uint32_t strand_pending(ruv::com::Strand& strand) {
    const std::lock_guard<std::mutex> lock(strand.mutex);
    return strand.pending;
}

}  // namespace zevo::test

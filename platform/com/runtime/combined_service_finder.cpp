#include "com/runtime/combined_service_finder.h"

#include <cstdint>
#include <mutex>
#include <stdexcept>
#include <utility>
#include <vector>

#include "kel/com/runtime/instance_id.h"
#include "kel/com/runtime/service_handle.h"

namespace ruv::com::runtime::detail {

namespace {

using kel::com::runtime::Instance_id;
using kel::com::runtime::Service_finder;
using kel::com::runtime::Service_handle;

/// The last lists of both finders for one subscriber. The two finders tell their changes on
/// threads of their own, so two updates may overlap: only one thread at a time tells the
/// subscriber, and it goes on until it has told the joined list as it stands after the last
/// change. Otherwise a list put together before another finder's change could reach the
/// subscriber after that change's list and stay the last word (a service found, then reported
/// gone for good). The callback runs with no lock held.
struct Joined_lists {
    Service_finder::Callback callback;
    std::mutex mutex;
    std::vector<Service_handle> lists[2];  ///< guarded by mutex
    std::uint64_t changes = 0;             ///< guarded by mutex; counts updates
    bool telling = false;                  ///< guarded by mutex; a thread is in the loop of update
    bool ended = false;                    ///< guarded by mutex; the subscription's handle has gone

    /// Takes one finder's new list; tells the subscriber here, or leaves it to the thread that
    /// is telling already. What the callback throws leaves here; a change that came meanwhile is
    /// then told with the next update.
    void update(std::size_t which, std::vector<Service_handle> services) {
        std::unique_lock<std::mutex> lock(mutex);
        lists[which] = std::move(services);
        ++changes;
        if (telling) {
            return;  // the telling thread sees the count move and tells this change too
        }
        telling = true;
        while (!ended) {
            const std::uint64_t told = changes;
            std::vector<Service_handle> all = lists[0];
            all.insert(all.end(), lists[1].begin(), lists[1].end());
            lock.unlock();
            try {
                static_cast<void>(callback(std::move(all)));
            } catch (...) {
                lock.lock();
                telling = false;
                throw;
            }
            lock.lock();
            if (changes == told) {
                break;
            }
        }
        telling = false;
    }

    /// No list is told from here on, also not by a thread in the loop of update.
    void end() {
        std::lock_guard<std::mutex> lock(mutex);
        ended = true;
    }
};

class Joined_subscription final : public Service_finder::Subscription_handle {
public:
    explicit Joined_subscription(std::shared_ptr<Joined_lists> lists) noexcept : lists_(std::move(lists)) {}
    /// Stops the telling first, then ends both finders' subscriptions (the second one first).
    ~Joined_subscription() override { lists_->end(); }

    std::shared_ptr<Subscription_handle> parts[2];

private:
    std::shared_ptr<Joined_lists> lists_;  ///< the parts' callbacks hold it as well
};

class Combined_service_finder final : public Service_finder {
public:
    Combined_service_finder(std::shared_ptr<Service_finder> first, std::shared_ptr<Service_finder> second) noexcept
        : finders_{std::move(first), std::move(second)} {}

    std::vector<Service_handle> find_services(const std::string& service, const Instance_id& instance) override {
        std::vector<Service_handle> all = finders_[0]->find_services(service, instance);
        std::vector<Service_handle> more = finders_[1]->find_services(service, instance);
        all.insert(all.end(), more.begin(), more.end());
        return all;
    }

    std::shared_ptr<Subscription_handle> subscribe(Callback callback, std::string service,
                                                   const Instance_id& instance) override {
        if (!callback) {
            throw std::invalid_argument("Service_finder::subscribe: empty callback");
        }
        auto lists = std::make_shared<Joined_lists>();
        lists->callback = std::move(callback);
        auto subscription = std::make_shared<Joined_subscription>(lists);
        for (std::size_t which = 0; which < 2; ++which) {
            subscription->parts[which] = finders_[which]->subscribe(
                [lists, which](std::vector<Service_handle> services) {
                    lists->update(which, std::move(services));
                    return true;
                },
                service, instance);
        }
        return subscription;
    }

private:
    const std::shared_ptr<Service_finder> finders_[2];
};

}  // namespace

std::shared_ptr<Service_finder> make_combined_service_finder(std::shared_ptr<Service_finder> first,
                                                             std::shared_ptr<Service_finder> second) {
    return std::make_shared<Combined_service_finder>(std::move(first), std::move(second));
}

}  // namespace ruv::com::runtime::detail

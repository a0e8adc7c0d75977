#include "com/runtime/combined_service_finder.h"

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

/// The last lists of both finders for one subscriber.
struct Joined_lists {
    Service_finder::Callback callback;
    std::mutex mutex;
    std::vector<Service_handle> lists[2];  ///< guarded by mutex

    void update(std::size_t which, std::vector<Service_handle> services) {
        std::vector<Service_handle> all;
        {
            std::lock_guard<std::mutex> lock(mutex);
            lists[which] = std::move(services);
            all = lists[0];
            all.insert(all.end(), lists[1].begin(), lists[1].end());
        }
        static_cast<void>(callback(std::move(all)));
    }
};

class Joined_subscription final : public Service_finder::Subscription_handle {
public:
    std::shared_ptr<Subscription_handle> parts[2];
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
        auto subscription = std::make_shared<Joined_subscription>();
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

// The platform's service finder over the local binding: subscribe tells the callback, on a
// runtime thread, the whole list of services under the name and instance at the start and after
// every offer and withdrawal, in order; destroying the subscription handle stops it;
// find_services answers the list of now. The slot order (the destructor pair, find_services,
// subscribe) is checked through the raw virtual table.
#include "ordered_inbox.h"
#include "kel/com/runtime/service_finder.h"

#include <atomic>
#include <gtest/gtest.h>

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "kel/com/runtime/instance_id.h"
#include "kel/com/runtime/service_handle.h"
#include "ruv/com/local/provider_registry.h"
#include "ruv/com/runtime/component_singleton.h"
#include "strand_test_support.h"

namespace {

using kel::com::runtime::Instance_id;
using kel::com::runtime::Service_finder;
using kel::com::runtime::Service_handle;
using ruv::com::local::Offer;
using ruv::com::local::Provider_registry;
using ruv::com::local::Reply;
using ruv::com::runtime::Component_singleton;
using zevo::test::strand_bound;

static_assert(std::is_polymorphic_v<Service_finder::Subscription_handle>);
static_assert(std::has_virtual_destructor_v<Service_finder::Subscription_handle>);
static_assert(!std::is_copy_constructible_v<Service_finder::Subscription_handle>);

/// The records behind a list of handles, which tell services apart.
using Records = std::vector<const kel::com::runtime::Service_handle_record*>;

Records records_of(const std::vector<Service_handle>& services) {
    Records records;
    for (const Service_handle& service : services) {
        records.push_back(service.record().get());
    }
    return records;
}

Records records_of(std::initializer_list<const Offer*> offers) {
    Records records;
    for (const Offer* offer : offers) {
        records.push_back(offer->handle().record().get());
    }
    return records;
}

Offer offer_under(const std::string& name, const std::string& instance) {
    return Provider_registry::process().offer(name, instance,
                                              [](std::uint16_t, std::vector<std::uint8_t>, Reply) {});
}

// Keeps every list a callback is told, and whether it came on a runtime thread.
class List_inbox {
public:
    Service_finder::Callback callback() {
        return [this](std::vector<Service_handle> services) {
            if (!Provider_registry::process().runtime()->dispatcher().runs_on_worker()) {
                all_on_runtime_threads_.store(false);
            }
            lists_.put(records_of(services));
            return true;
        };
    }

    std::optional<Records> next() { return lists_.next(strand_bound); }
    std::size_t waiting() const { return lists_.waiting(); }
    bool all_on_runtime_threads() const { return all_on_runtime_threads_.load(); }

private:
    zevo::test::Ordered_inbox<Records> lists_;
    std::atomic<bool> all_on_runtime_threads_{true};
};

std::shared_ptr<Service_finder> finder() { return Component_singleton::instance().get_service_finder(); }

TEST(Local_service_finder, subscribe_tells_the_whole_list_at_the_start_and_after_each_change_in_order) {
    const std::string name = "zevo::test::finder::Whole_lists";
    List_inbox inbox;
    auto sut = finder()->subscribe(inbox.callback(), name, Instance_id{"1"});
    ASSERT_NE(sut, nullptr);
    EXPECT_EQ(inbox.next(), Records{});

    Offer first = offer_under(name, "1");
    EXPECT_EQ(inbox.next(), records_of({&first}));
    Offer second = offer_under(name, "1");
    EXPECT_EQ(inbox.next(), records_of({&first, &second}));
    first.withdraw();
    EXPECT_EQ(inbox.next(), records_of({&second}));
    Offer elsewhere = offer_under(name, "2");
    Offer third = offer_under(name, "1");
    EXPECT_EQ(inbox.next(), records_of({&second, &third})) << "another instance is not told";
    second.withdraw();
    EXPECT_EQ(inbox.next(), records_of({&third}));
    third.withdraw();
    EXPECT_EQ(inbox.next(), Records{});
    EXPECT_TRUE(inbox.all_on_runtime_threads());
}

TEST(Local_service_finder, destroying_the_subscription_handle_stops_its_callbacks) {
    const std::string name = "zevo::test::finder::Stopped";
    List_inbox stopped;
    List_inbox control;
    auto sut = finder()->subscribe(stopped.callback(), name, Instance_id{"1"});
    auto kept = finder()->subscribe(control.callback(), name, Instance_id{"1"});
    EXPECT_EQ(stopped.next(), Records{});
    EXPECT_EQ(control.next(), Records{});

    sut.reset();
    Offer first = offer_under(name, "1");
    Offer second = offer_under(name, "1");
    // The registry tells one list at a time, in the order of the changes: once the control has
    // the second list, whatever the first change would have caused has been delivered.
    EXPECT_EQ(control.next(), records_of({&first}));
    EXPECT_EQ(control.next(), records_of({&first, &second}));
    EXPECT_EQ(stopped.waiting(), 0u);
}

TEST(Local_service_finder, subscription_handle_may_be_destroyed_inside_its_own_callback) {
    const std::string name = "zevo::test::finder::Self_stop";
    std::mutex mutex;
    std::condition_variable changed;
    std::shared_ptr<Service_finder::Subscription_handle> sut;
    int calls = 0;
    bool released_inside = false;
    std::unique_lock<std::mutex> lock(mutex);  // the first call waits until sut is stored
    sut = finder()->subscribe(
        [&](std::vector<Service_handle>) {
            std::shared_ptr<Service_finder::Subscription_handle> last;
            {
                std::lock_guard<std::mutex> inner(mutex);
                ++calls;
                last = std::move(sut);
            }
            released_inside = last != nullptr;
            last.reset();  // the watch stops from inside its own callback without waiting for it
            std::lock_guard<std::mutex> inner(mutex);
            changed.notify_all();
            return true;
        },
        name, Instance_id{"1"});
    ASSERT_TRUE(changed.wait_for(lock, strand_bound, [&] { return calls == 1 && sut == nullptr; }));
    lock.unlock();

    List_inbox control;
    auto kept = finder()->subscribe(control.callback(), name, Instance_id{"1"});
    EXPECT_EQ(control.next(), Records{});
    Offer first = offer_under(name, "1");
    EXPECT_EQ(control.next(), records_of({&first}));
    lock.lock();
    EXPECT_EQ(calls, 1);
    EXPECT_TRUE(released_inside);
}

TEST(Local_service_finder, find_services_answers_the_list_of_now) {
    const std::string name = "zevo::test::finder::Find";
    auto sut = finder();
    EXPECT_TRUE(sut->find_services(name, Instance_id{"1"}).empty());
    Offer first = offer_under(name, "1");
    Offer second = offer_under(name, "1");
    Offer elsewhere = offer_under(name, "2");
    EXPECT_EQ(records_of(sut->find_services(name, Instance_id{"1"})), records_of({&first, &second}));
    EXPECT_EQ(records_of(sut->find_services(name, Instance_id{"2"})), records_of({&elsewhere}));
    first.withdraw();
    EXPECT_EQ(records_of(sut->find_services(name, Instance_id{"1"})), records_of({&second}));
    EXPECT_TRUE(sut->find_services(name + "::Other", Instance_id{"1"}).empty());
}

TEST(Local_service_finder, empty_callback_is_refused) {
    try {
        finder()->subscribe(Service_finder::Callback{}, "zevo::test::finder::Empty", Instance_id{"1"});
        ADD_FAILURE() << "no exception";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "Service_finder::subscribe: empty callback");
    }
}

using Slot = void (*)();
using Subscription = std::shared_ptr<Service_finder::Subscription_handle>;
using Find_services_slot = std::vector<Service_handle> (*)(Service_finder*, const std::string&,
                                                           const Instance_id&);
using Subscribe_slot = Subscription (*)(Service_finder*, Service_finder::Callback, std::string,
                                        const Instance_id&);
constexpr std::size_t find_services_index = 2;
constexpr std::size_t subscribe_index = 3;

Slot slot_of(Service_finder& finder, std::size_t index) {
    Slot const* const table = *reinterpret_cast<Slot const* const*>(&finder);
    return table[index];
}

TEST(Local_service_finder, third_slot_is_find_services_and_fourth_is_subscribe) {
    const std::string name = "zevo::test::finder::Slots";
    auto sut = finder();
    Offer offered = offer_under(name, "1");
    const auto find_services = reinterpret_cast<Find_services_slot>(slot_of(*sut, find_services_index));
    EXPECT_EQ(records_of(find_services(sut.get(), name, Instance_id{"1"})), records_of({&offered}));

    List_inbox inbox;
    const auto subscribe = reinterpret_cast<Subscribe_slot>(slot_of(*sut, subscribe_index));
    auto subscription = subscribe(sut.get(), inbox.callback(), name, Instance_id{"1"});
    ASSERT_NE(subscription, nullptr);
    EXPECT_EQ(inbox.next(), records_of({&offered}));
}

}  // namespace

// What discovery learns from the local provider registry: the services offered under a name and
// instance, in offer order, as Service_handles; and listeners told the whole list at once when
// they start and again after each offer or withdrawal, on a runtime thread, in order.
#include "ruv/com/local/provider_registry.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <thread>
#include <vector>

#include "local_call_support.h"
#include "ordered_inbox.h"
#include "ruv/com/runtime/service_entry.h"

namespace {

using namespace std::chrono_literals;
using kel::com::runtime::Service_handle;
using ruv::com::local::Offer;
using ruv::com::local::Offer_watch;
using ruv::com::local::Provider_registry;
using ruv::com::local::Registry_options;
using ruv::com::local::Reply;
using ruv::com::runtime::Runtime;
using ruv::com::runtime::Service_record;
using zevo::test::data_name;
using zevo::test::ready;
using zevo::test::routine_name;

void drop_every_call(std::uint16_t, std::vector<std::uint8_t>, Reply) {}

using Records = std::vector<std::shared_ptr<Service_record>>;

Records records_of(const std::vector<Service_handle>& services) {
    Records records;
    for (const auto& handle : services) {
        const auto* entry = ruv::com::runtime::Service_entry::of(handle);
        records.push_back(entry != nullptr ? entry->service() : nullptr);
    }
    return records;
}

// Keeps what a listener is told, for the test to take in order, and on which threads.
class List_inbox {
public:
    ruv::com::local::Offer_listener listener() {
        return [this](std::vector<Service_handle> services) {
            {
                std::lock_guard<std::mutex> lock(mutex_);
                threads_.push_back(std::this_thread::get_id());
            }
            lists_.put(records_of(services));
        };
    }

    std::optional<Records> next() { return lists_.next(zevo::test::bound); }
    std::size_t waiting() const { return lists_.waiting(); }

    std::vector<std::thread::id> threads() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return threads_;
    }

private:
    zevo::test::Ordered_inbox<Records> lists_;
    mutable std::mutex mutex_;
    std::vector<std::thread::id> threads_;
};

class Provider_registry_discovery : public testing::Test {
protected:
    // Joins the runtime's threads before the fixture goes: nothing of a test runs after it.
    ~Provider_registry_discovery() override { runtime->shutdown(); }

    std::shared_ptr<Runtime> runtime = std::make_shared<Runtime>();
    Provider_registry sut{Registry_options{10s, runtime}};
};

TEST_F(Provider_registry_discovery, find_lists_the_offered_services_in_offer_order) {
    auto first = sut.offer(routine_name, "1", drop_every_call);
    auto other_instance = sut.offer(routine_name, "2", drop_every_call);
    auto other_name = sut.offer(data_name, "1", drop_every_call);
    auto second = sut.offer(routine_name, "1", drop_every_call);
    EXPECT_EQ(records_of(sut.find(routine_name, "1")), (Records{first.record(), second.record()}));
    EXPECT_EQ(records_of(sut.find(routine_name, "2")), (Records{other_instance.record()}));
    first.withdraw();
    EXPECT_EQ(records_of(sut.find(routine_name, "1")), (Records{second.record()}));
    EXPECT_TRUE(sut.find(routine_name, "3").empty());
}

TEST_F(Provider_registry_discovery, handles_carry_the_interface_name_and_the_instance_text) {
    auto offer = sut.offer(routine_name, "1", drop_every_call);
    const auto found = sut.find(routine_name, "1");
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found.front().service_id(), routine_name);
    EXPECT_EQ(found.front().instance_id(), "1");
    EXPECT_EQ(offer.handle().service_id(), routine_name);
    EXPECT_EQ(found.front().record(), offer.handle().record());
}

TEST_F(Provider_registry_discovery, watch_is_told_the_current_list_at_once) {
    List_inbox empty_inbox;
    auto empty_watch = sut.watch(routine_name, "1", empty_inbox.listener());
    auto initial = empty_inbox.next();
    ASSERT_TRUE(initial);
    EXPECT_TRUE(initial->empty());

    auto offer = sut.offer(data_name, "1", drop_every_call);
    List_inbox inbox;
    auto watch = sut.watch(data_name, "1", inbox.listener());
    auto current = inbox.next();
    ASSERT_TRUE(current);
    EXPECT_EQ(*current, (Records{offer.record()}));
}

TEST_F(Provider_registry_discovery, offers_and_withdrawals_are_told_with_the_whole_list) {
    List_inbox inbox;
    auto watch = sut.watch(routine_name, "1", inbox.listener());
    ASSERT_TRUE(inbox.next());  // the initial, empty list
    auto first = sut.offer(routine_name, "1", drop_every_call);
    auto second = sut.offer(routine_name, "1", drop_every_call);
    first.withdraw();
    second.withdraw();
    const std::vector<Records> expected{{first.record()}, {first.record(), second.record()}, {second.record()}, {}};
    for (const auto& list : expected) {
        auto told = inbox.next();
        ASSERT_TRUE(told);
        EXPECT_EQ(*told, list);
    }
}

TEST_F(Provider_registry_discovery, listeners_of_other_names_and_instances_are_not_told) {
    List_inbox inbox;
    auto watch = sut.watch(routine_name, "2", inbox.listener());
    ASSERT_TRUE(inbox.next());
    auto elsewhere = sut.offer(routine_name, "1", drop_every_call);
    auto other_name = sut.offer(data_name, "2", drop_every_call);
    auto here = sut.offer(routine_name, "2", drop_every_call);
    // Notifications of one registry arrive in the order of the changes: had the first two been
    // told here, they would come before this one.
    auto told = inbox.next();
    ASSERT_TRUE(told);
    EXPECT_EQ(*told, (Records{here.record()}));
}

TEST_F(Provider_registry_discovery, stopped_watch_is_not_told_any_more) {
    List_inbox stopped_inbox;
    List_inbox live_inbox;
    auto stopped = sut.watch(routine_name, "1", stopped_inbox.listener());
    auto live = sut.watch(routine_name, "1", live_inbox.listener());
    ASSERT_TRUE(stopped_inbox.next());
    ASSERT_TRUE(live_inbox.next());
    stopped.stop();
    auto offer = sut.offer(routine_name, "1", drop_every_call);
    ASSERT_TRUE(live_inbox.next());
    EXPECT_EQ(stopped_inbox.waiting(), 0U);
}

TEST_F(Provider_registry_discovery, listener_runs_on_a_runtime_thread) {
    List_inbox inbox;
    auto watch = sut.watch(routine_name, "1", inbox.listener());
    auto offer = sut.offer(routine_name, "1", drop_every_call);
    ASSERT_TRUE(inbox.next());
    ASSERT_TRUE(inbox.next());
    for (const auto thread : inbox.threads()) {
        EXPECT_NE(thread, std::this_thread::get_id());
    }
}

TEST_F(Provider_registry_discovery, listener_may_offer_withdraw_and_stop_from_inside) {
    List_inbox inbox;
    Offer offered_inside;
    Offer_watch watch;
    std::promise<void> watch_stored;
    std::shared_future<void> stored = watch_stored.get_future().share();
    int notifications = 0;
    auto listen = inbox.listener();
    watch = sut.watch(routine_name, "1", [&, listen, stored](std::vector<Service_handle> services) {
        ++notifications;
        if (notifications == 1) {
            offered_inside = sut.offer(routine_name, "1", drop_every_call);
        } else if (notifications == 2) {
            offered_inside.withdraw();
        } else {
            stored.wait();  // the test thread has stored the watch by then
            watch.stop();
        }
        listen(std::move(services));
    });
    watch_stored.set_value();
    ASSERT_TRUE(inbox.next());  // the initial, empty list; the listener offers
    auto with_offer = inbox.next();
    ASSERT_TRUE(with_offer);
    EXPECT_EQ(with_offer->size(), 1U);  // the listener withdraws
    auto after = inbox.next();
    ASSERT_TRUE(after);
    EXPECT_TRUE(after->empty());  // the listener stops its own watch
    auto offer = sut.offer(routine_name, "1", drop_every_call);
    List_inbox witness;
    auto later = sut.watch(routine_name, "1", witness.listener());
    ASSERT_TRUE(witness.next());
    EXPECT_EQ(inbox.waiting(), 0U) << "told after its own stop";
}

TEST_F(Provider_registry_discovery, stop_waits_for_a_listener_running_on_another_thread) {
    std::promise<void> entered;
    auto in_listener = entered.get_future();
    std::promise<void> go;
    std::shared_future<void> release = go.get_future().share();
    std::atomic<bool> listener_done{false};
    auto watch = sut.watch(routine_name, "1", [&entered, &listener_done, release](std::vector<Service_handle>) {
        entered.set_value();  // told once only: nothing changes while it runs
        release.wait();
        listener_done = true;
    });
    ASSERT_TRUE(ready(in_listener));
    std::promise<bool> returned;
    auto stop_returned = returned.get_future();
    std::thread stopper{[&watch, &returned, &listener_done] {
        watch.stop();
        returned.set_value(listener_done.load());
    }};
    EXPECT_EQ(stop_returned.wait_for(50ms), std::future_status::timeout) << "stop waits for the listener";
    go.set_value();
    stopper.join();
    EXPECT_TRUE(stop_returned.get()) << "returned before the listener did";
}

TEST_F(Provider_registry_discovery, throwing_listener_is_told_again_on_the_next_change) {
    List_inbox inbox;
    auto listen = inbox.listener();
    auto watch = sut.watch(routine_name, "1", [listen](std::vector<Service_handle> services) {
        listen(services);
        throw std::runtime_error("listener failure");
    });
    ASSERT_TRUE(inbox.next());
    auto offer = sut.offer(routine_name, "1", drop_every_call);
    auto told = inbox.next();
    ASSERT_TRUE(told);
    EXPECT_EQ(told->size(), 1U);
}

TEST_F(Provider_registry_discovery, watch_refuses_an_empty_listener) {
    try {
        sut.watch(routine_name, "1", nullptr);
        FAIL() << "watched without a listener";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "Provider_registry::watch: empty listener");
    }
}

TEST_F(Provider_registry_discovery, offer_made_after_the_registry_is_gone_still_withdraws) {
    auto registry = std::make_unique<Provider_registry>(Registry_options{10s, runtime});
    auto offer = registry->offer(routine_name, "1", drop_every_call);
    const auto record = offer.record();
    registry.reset();
    offer.withdraw();
    EXPECT_NE(record->state.load(), 2);
}

TEST(Provider_registry, process_registry_is_one_object_on_the_process_runtime) {
    Provider_registry& first = Provider_registry::process();
    EXPECT_EQ(&first, &Provider_registry::process());
    EXPECT_EQ(first.runtime(), Runtime::process());
    EXPECT_EQ(first.request_timeout(), 10s);
}

TEST(Provider_registry, registry_without_a_runtime_uses_the_process_runtime) {
    const Provider_registry sut{Registry_options{}};
    EXPECT_EQ(sut.runtime(), Runtime::process());
}

}  // namespace

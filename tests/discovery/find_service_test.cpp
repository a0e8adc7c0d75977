// Proxy_impl's search as it runs in the process: lists of services offered in the process
// registry reach the user handler on the search's strand, in order and one at a time; stopping
// waits for a running handler except on the strand itself, is harmless twice, and leaves the
// subscription in place; the handler's time limit and exception guard report what they see.

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <future>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "ruv/com/local/offer.h"
#include "ruv/com/local/provider_registry.h"
#include "ruv/com/runtime/component_singleton.h"
#include "ruv/com/static_thread_pool.h"
#include "tests/bindings/bounded_wait.h"
#include "tests/discovery/discovery_sync.h"
#include "tests/discovery/running_search.h"
#include "tests/discovery/shared_spy_log_backend.h"

namespace {

using ruv::com::Strand;
using ruv::com::cpp_binding::proxy::Proxy_handle;
using ruv::com::cpp_binding::proxy::Proxy_impl;
using ruv::com::local::Offer;
using ruv::com::local::Provider_registry;
using ruv::com::local::Reply;
using zevo::test::discovery_bound;
using zevo::test::eventually;
using zevo::test::Gate;
using zevo::test::Handler_inbox;
using zevo::test::logger_over;
using zevo::test::Registry_watch;
using zevo::test::records_of;
using zevo::test::Running_search;
using zevo::test::Service_records;
using zevo::test::Shared_spy_log_backend;
using zevo::test::strand_pending;
using zevo::test::strand_state;
using zevo::test::Test_interface;

// One interface name per test: each test has the registry's services of its name to itself.
constexpr char two_services[] = "zevo::test::discovery::Two_services";
constexpr char empty_list[] = "zevo::test::discovery::Empty_list";
constexpr char quick_succession[] = "zevo::test::discovery::Quick_succession";
constexpr char stop_while_running[] = "zevo::test::discovery::Stop_while_running";
constexpr char stop_inside[] = "zevo::test::discovery::Stop_inside";
constexpr char second_stop[] = "zevo::test::discovery::Second_stop";
constexpr char stopped_kept[] = "zevo::test::discovery::Stopped_kept";
constexpr char slow_handler[] = "zevo::test::discovery::Slow_handler";
constexpr char quick_handler[] = "zevo::test::discovery::Quick_handler";
constexpr char throwing_handler[] = "zevo::test::discovery::Throwing_handler";

Offer offer_under(const char* name) {
    return Provider_registry::process().offer(name, "1", [](std::uint16_t, std::vector<std::uint8_t>, Reply) {});
}

std::string service_id(const std::string& name) { return R"({"1_id":"Service_id","string":")" + name + R"("})"; }
const std::string instance_1 = R"({"1_id":"Instance_id","2_string":"1"})";

/// The incident ids of `lines`, in order.
std::vector<std::string> incidents_of(const std::vector<zevo::test::Logged_line>& lines) {
    std::vector<std::string> ids;
    for (const auto& line : lines) {
        ids.push_back(nlohmann::json::parse(line.text)["1_incident"]["1_id"].get<std::string>());
    }
    return ids;
}

TEST(Find_service, a_callback_with_two_services_reaches_the_handler_with_both_in_order_off_the_runtime_thread) {
    using Interface = Test_interface<two_services>;
    Shared_spy_log_backend spy;
    auto logger = logger_over(spy);
    Offer first = offer_under(two_services);
    Offer second = offer_under(two_services);
    Handler_inbox inbox;
    Running_search<Interface> search(inbox.handler(), logger);

    const auto list = inbox.next();
    ASSERT_TRUE(list.has_value());
    EXPECT_EQ(list->records, records_of({&first, &second}));
    EXPECT_FALSE(list->on_runtime_thread);
    EXPECT_NE(list->thread, std::this_thread::get_id());
    ASSERT_TRUE(spy.wait_for("Find_service_result", 1, discovery_bound));
    const auto traced = nlohmann::json::parse(spy.lines_with("Find_service_result").front().text);
    EXPECT_EQ(traced["2_data"]["1_vector"].size(), 2u);
}

TEST(Find_service, an_empty_list_is_traced_as_an_empty_vector_and_handed_to_the_handler) {
    using Interface = Test_interface<empty_list>;
    Shared_spy_log_backend spy;
    auto logger = logger_over(spy);
    Handler_inbox inbox;
    Running_search<Interface> search(inbox.handler(), logger);

    const auto list = inbox.next();
    ASSERT_TRUE(list.has_value());
    EXPECT_TRUE(list->records.empty());
    ASSERT_TRUE(spy.wait_for("Find_service_result", 1, discovery_bound));
    const auto line = spy.lines_with("Find_service_result").front();
    EXPECT_EQ(line.level, 4);
    EXPECT_EQ(line.text, R"({"1_incident":{"1_id":"Find_service_result","2_service_id":)" + service_id(empty_list) +
                             R"(,"3_instance_id":)" + instance_1 + R"(},"2_data":{"1_vector":[]}})");
}

TEST(Find_service, quick_callbacks_run_in_order_and_never_overlap_on_a_pool_of_several_threads) {
    using Interface = Test_interface<quick_succession>;
    ASSERT_GE(ruv::com::runtime::Component_singleton::instance().get_thread_pool_factory()->get_thread_pool(0)->thread_count(),
              2u);
    Shared_spy_log_backend spy;
    auto logger = logger_over(spy);

    struct Observed {
        std::mutex mutex;
        std::condition_variable changed;
        std::vector<std::size_t> sizes;
        bool overlapped = false;
    };
    auto observed = std::make_shared<Observed>();
    std::atomic<int> inside{0};
    auto held = std::make_shared<Gate>();
    std::promise<void> first_call;
    auto handler = [&, observed, held](std::vector<Proxy_handle> handles) {
        const bool alone = inside.fetch_add(1) == 0;
        bool first = false;
        {
            const std::lock_guard<std::mutex> lock(observed->mutex);
            observed->overlapped = observed->overlapped || !alone;
            first = observed->sizes.empty();
        }
        if (first) {
            first_call.set_value();
            EXPECT_TRUE(held->pass()) << "the test did not open the gate";  // the others queue behind
        }
        for (int pass = 0; pass < 50; ++pass) std::this_thread::yield();  // room for an overlap to show
        inside.fetch_sub(1);
        const std::lock_guard<std::mutex> lock(observed->mutex);
        observed->sizes.push_back(handles.size());
        observed->changed.notify_all();
    };
    Running_search<Interface> search(handler, logger);
    Registry_watch watch(quick_succession, "1");
    ASSERT_EQ(first_call.get_future().wait_for(discovery_bound), std::future_status::ready);

    constexpr std::size_t offered = 16;
    std::vector<Offer> offers;
    for (std::size_t count = 0; count < offered; ++count) offers.push_back(offer_under(quick_succession));
    for (Offer& offer : offers) offer.withdraw();
    // Every change has been posted to the search's strand once the watch behind it has the last.
    ASSERT_TRUE(watch.skip_to_size(offered));
    ASSERT_TRUE(watch.skip_to_size(0));
    held->open();

    std::vector<std::size_t> expected{0};
    for (std::size_t count = 1; count <= offered; ++count) expected.push_back(count);
    for (std::size_t count = offered; count-- > 0;) expected.push_back(count);
    std::unique_lock<std::mutex> lock(observed->mutex);
    ASSERT_TRUE(observed->changed.wait_for(lock, discovery_bound,
                                           [&] { return observed->sizes.size() >= expected.size(); }));
    EXPECT_EQ(observed->sizes, expected);
    EXPECT_FALSE(observed->overlapped);
}

TEST(Find_service, a_stop_while_the_handler_runs_blocks_until_it_returns) {
    using Interface = Test_interface<stop_while_running>;
    Shared_spy_log_backend spy;
    auto logger = logger_over(spy);
    auto held = std::make_shared<Gate>();
    std::promise<void> entered;
    std::atomic<bool> stop_returned{false};
    std::atomic<bool> stop_returned_before_the_handler{false};
    std::atomic<int> calls{0};
    Running_search<Interface> search(
        [&, held](std::vector<Proxy_handle>) {
            if (calls.fetch_add(1) != 0) return;
            entered.set_value();
            EXPECT_TRUE(held->pass());
            stop_returned_before_the_handler = stop_returned.load();
        },
        logger);
    ASSERT_EQ(entered.get_future().wait_for(discovery_bound), std::future_status::ready);

    zevo::test::Background_job<bool> stopping(
        "a stop behind a running handler",
        [&] {
            search.stop();
            stop_returned = true;
            return true;
        },
        [held] { held->open(); });
    // The stop wait marks the strand as stopping under its lock and then sleeps.
    ASSERT_TRUE(eventually([&] { return strand_state(search.strand()) == Strand::stopping_state; }));
    EXPECT_FALSE(stop_returned.load()) << "the stop did not wait for the handler";
    EXPECT_EQ(spy.lines_with("Find_service_stop").size(), 1u) << "traced first, before the wait";

    held->open();
    EXPECT_TRUE(stopping.finish());
    EXPECT_FALSE(stop_returned_before_the_handler.load());
    EXPECT_EQ(strand_state(search.strand()), Strand::stopped_state);
    EXPECT_EQ(strand_pending(search.strand()), 0u);
}

TEST(Find_service, a_stop_from_inside_the_handler_returns_at_once) {
    using Interface = Test_interface<stop_inside>;
    Shared_spy_log_backend spy;
    auto logger = logger_over(spy);
    auto handle_stored = std::make_shared<Gate>();
    std::promise<void> stopped_inside;
    std::atomic<int> calls{0};
    ruv::com::cpp_binding::proxy::Find_service_handle stored{};
    Running_search<Interface> search(
        [&, handle_stored](std::vector<Proxy_handle>) {
            if (calls.fetch_add(1) != 0) return;
            ASSERT_TRUE(handle_stored->pass());
            Proxy_impl<Interface>::stop_find_service(stored, logger);
            stopped_inside.set_value();
        },
        logger);
    stored = search.handle();
    handle_stored->open();

    ASSERT_EQ(stopped_inside.get_future().wait_for(discovery_bound), std::future_status::ready)
        << "the stop inside the handler waited for the handler";
    ASSERT_TRUE(eventually([&] { return strand_state(search.strand()) == Strand::stopped_state; }));

    Registry_watch watch(stop_inside, "1");
    ASSERT_TRUE(watch.skip_to_size(0));
    Offer offer = offer_under(stop_inside);
    ASSERT_TRUE(watch.skip_to_size(1));
    EXPECT_EQ(calls.load(), 1) << "nothing reaches the handler after its own stop";
}

TEST(Find_service, a_second_stop_finds_the_strand_closed_and_waits_for_nothing) {
    using Interface = Test_interface<second_stop>;
    Shared_spy_log_backend spy;
    auto logger = logger_over(spy);
    Handler_inbox inbox;
    Running_search<Interface> search(inbox.handler(), logger);
    ASSERT_TRUE(inbox.next().has_value());

    search.stop();
    EXPECT_EQ(strand_state(search.strand()), Strand::stopped_state);
    search.stop();
    EXPECT_EQ(strand_state(search.strand()), Strand::stopped_state);
    EXPECT_EQ(strand_pending(search.strand()), 0u);

    const auto stops = spy.lines_with("Find_service_stop");
    ASSERT_EQ(stops.size(), 2u) << "each stop writes its trace";
    EXPECT_EQ(stops[0].text, stops[1].text);
    EXPECT_EQ(nlohmann::json::parse(stops[0].text)["2_data"]["1_string"], std::to_string(search.handle().id));
    // Each stop dropped its copy's references: the strand is held by this handle and the
    // subscription's callback, the subscription by this handle alone.
    EXPECT_EQ(search.handle().subscription.use_count(), 1);
    EXPECT_EQ(search.handle().strand.use_count(), 2);
}

// Counts its copies (the subscription callback copies the handler into each task it builds) and
// its calls, and notes whether every copy was made on a runtime thread.
struct Counting_handler {
    struct Counts {
        std::atomic<int> copies{0};
        std::atomic<int> calls{0};
        std::atomic<bool> copies_on_runtime_threads{true};
    };

    explicit Counting_handler(std::shared_ptr<Counts> shared) : counts(std::move(shared)) {}
    Counting_handler(const Counting_handler& other) : counts(other.counts) {
        counts->copies.fetch_add(1);
        if (!Provider_registry::process().runtime()->dispatcher().runs_on_worker()) {
            counts->copies_on_runtime_threads = false;
        }
    }
    Counting_handler(Counting_handler&&) noexcept = default;
    Counting_handler& operator=(const Counting_handler&) = delete;
    Counting_handler& operator=(Counting_handler&&) = delete;
    ~Counting_handler() = default;

    void operator()(std::vector<Proxy_handle>) const { counts->calls.fetch_add(1); }

    std::shared_ptr<Counts> counts;
};

TEST(Find_service, a_stopped_search_keeps_its_subscription_and_its_callback_posts_nothing) {
    using Interface = Test_interface<stopped_kept>;
    Shared_spy_log_backend spy;
    auto logger = logger_over(spy);
    auto counts = std::make_shared<Counting_handler::Counts>();
    Running_search<Interface> search(Counting_handler{counts}, logger);
    ASSERT_TRUE(eventually([&] { return counts->calls.load() == 1; }));
    search.stop();
    const int copies_before = counts->copies.load();
    counts->copies_on_runtime_threads = true;

    Registry_watch watch(stopped_kept, "1");
    ASSERT_TRUE(watch.skip_to_size(0));
    Offer offer = offer_under(stopped_kept);
    ASSERT_TRUE(watch.skip_to_size(1));

    EXPECT_GT(counts->copies.load(), copies_before) << "the subscription's callback still ran";
    EXPECT_TRUE(counts->copies_on_runtime_threads.load());
    EXPECT_EQ(counts->calls.load(), 1) << "its task was dropped at the closed strand";
    EXPECT_EQ(strand_pending(search.strand()), 0u);
    EXPECT_EQ(strand_state(search.strand()), Strand::stopped_state);
    EXPECT_EQ(search.handle().subscription.use_count(), 1) << "the handle still keeps the subscription";
}

TEST(Find_service, a_slow_handler_is_reported_at_level_3_with_the_time_it_took) {
    using Interface = Test_interface<slow_handler>;
    Shared_spy_log_backend spy;
    auto logger = logger_over(spy);
    constexpr auto busy_for = std::chrono::milliseconds{600};
    std::atomic<int> calls{0};
    Running_search<Interface> search(
        [&](std::vector<Proxy_handle>) {
            if (calls.fetch_add(1) != 0) return;
            // The measured thing itself: the handler keeps its pool thread busy past the limit.
            const auto until = std::chrono::steady_clock::now() + busy_for;
            while (std::chrono::steady_clock::now() < until) {
            }
        },
        logger);
    ASSERT_TRUE(spy.wait_for("Find_service_handler_performance", 1, discovery_bound));
    search.stop();

    const auto lines = spy.lines();
    ASSERT_EQ(incidents_of(lines),
              (std::vector<std::string>{"Find_service_result", "Find_service_handler_performance", "Find_service_stop"}));
    const auto& reported = lines[1];
    EXPECT_EQ(reported.level, 3);
    const unsigned long time = nlohmann::json::parse(reported.text)["1_incident"]["4_time"].get<unsigned long>();
    EXPECT_GE(time, 600u);
    EXPECT_LT(time, 10'000u);
    EXPECT_EQ(reported.text, R"({"1_incident":{"1_id":"Find_service_handler_performance","2_service_id":)" +
                                 service_id(slow_handler) + R"(,"3_instance_id":)" + instance_1 +
                                 R"(,"4_time":)" + std::to_string(time) + "}}");
}

TEST(Find_service, a_quick_handler_leaves_the_result_trace_alone) {
    using Interface = Test_interface<quick_handler>;
    Shared_spy_log_backend spy;
    auto logger = logger_over(spy);
    Handler_inbox inbox;
    Running_search<Interface> search(inbox.handler(), logger);
    ASSERT_TRUE(inbox.next().has_value());
    search.stop();  // the task has fully ended: what it writes after its handler is in
    EXPECT_EQ(incidents_of(spy.lines()), (std::vector<std::string>{"Find_service_result", "Find_service_stop"}))
        << "the search writes no start trace of its own, and a quick handler no performance trace";
}

TEST(Find_service, a_throwing_handler_is_reported_at_level_1_and_the_next_result_still_arrives) {
    using Interface = Test_interface<throwing_handler>;
    Shared_spy_log_backend spy;
    auto logger = logger_over(spy);
    Handler_inbox inbox;
    auto record = inbox.handler();
    std::atomic<int> calls{0};
    Running_search<Interface> search(
        [&, record](std::vector<Proxy_handle> handles) {
            record(handles);
            if (calls.fetch_add(1) == 0) throw std::runtime_error("the handler failed");
        },
        logger);
    ASSERT_TRUE(inbox.next().has_value());
    Registry_watch watch(throwing_handler, "1");
    ASSERT_TRUE(watch.skip_to_size(0));
    Offer offer = offer_under(throwing_handler);
    const auto after = inbox.next();
    ASSERT_TRUE(after.has_value()) << "the search goes on after a handler threw";
    EXPECT_EQ(after->records, records_of({&offer}));
    search.stop();

    const auto lines = spy.lines();
    ASSERT_EQ(incidents_of(lines), (std::vector<std::string>{"Find_service_result", "Find_service_handler_exception",
                                                             "Find_service_result", "Find_service_stop"}));
    EXPECT_EQ(lines[1].level, 1);
    EXPECT_EQ(lines[1].text, R"({"1_incident":{"1_id":"Find_service_handler_exception","2_service_id":)" +
                                 service_id(throwing_handler) + R"(,"3_instance_id":)" + instance_1 + "}}");
}

}  // namespace

// The runtime's request timer: an expiry runs on the timer thread once its deadline has passed,
// earliest first; a cancelled one never runs and is destroyed by the canceller; stop drops the
// waiting ones uncalled and refuses later schedules, also from inside an expiry.
#include "ruv/com/runtime/request_timer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "local_call_support.h"

namespace {

using Clock = ruv::com::runtime::Request_timer::Clock;
using ruv::com::runtime::Request_timer;
using zevo::test::ready;

TEST(Request_timer, runs_an_expiry_on_its_own_thread_after_the_deadline) {
    Request_timer sut;
    std::promise<std::pair<Clock::time_point, std::thread::id>> ran;
    auto result = ran.get_future();
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds{30};
    const auto key = sut.schedule(deadline, [&ran] { ran.set_value({Clock::now(), std::this_thread::get_id()}); });
    EXPECT_NE(key.sequence, 0U);
    ASSERT_TRUE(ready(result));
    const auto [when, where] = result.get();
    EXPECT_GE(when, deadline);
    EXPECT_NE(where, std::this_thread::get_id());
}

TEST(Request_timer, runs_expiries_earliest_deadline_first) {
    Request_timer sut;
    std::mutex mutex;
    std::vector<int> order;
    std::promise<void> last;
    auto done = last.get_future();
    const Clock::time_point now = Clock::now();
    sut.schedule(now + std::chrono::milliseconds{40}, [&] {
        std::lock_guard<std::mutex> lock(mutex);
        order.push_back(3);
        last.set_value();
    });
    sut.schedule(now + std::chrono::milliseconds{10}, [&] {
        std::lock_guard<std::mutex> lock(mutex);
        order.push_back(1);
    });
    sut.schedule(now + std::chrono::milliseconds{20}, [&] {
        std::lock_guard<std::mutex> lock(mutex);
        order.push_back(2);
    });
    ASSERT_TRUE(ready(done));
    std::lock_guard<std::mutex> lock(mutex);
    EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
}

TEST(Request_timer, cancelled_expiry_never_runs_and_is_destroyed_by_the_canceller) {
    Request_timer sut;
    std::atomic<bool> called{false};
    auto marker = std::make_shared<int>(0);
    std::weak_ptr<int> watch = marker;
    const auto key = sut.schedule(Clock::now() + std::chrono::hours{1},
                                  [&called, marker = std::move(marker)] { called = true; });
    EXPECT_EQ(sut.waiting(), 1U);
    EXPECT_TRUE(sut.cancel(key));
    EXPECT_TRUE(watch.expired());
    EXPECT_EQ(sut.waiting(), 0U);
    EXPECT_FALSE(sut.cancel(key)) << "a second cancel finds nothing";
    EXPECT_FALSE(sut.cancel(Request_timer::Key{})) << "the empty key names nothing";
    EXPECT_FALSE(called);
}

TEST(Request_timer, stop_drops_the_waiting_expiries_and_refuses_new_ones) {
    Request_timer sut;
    std::atomic<bool> called{false};
    sut.schedule(Clock::now() + std::chrono::hours{1}, [&called] { called = true; });
    sut.stop();
    EXPECT_EQ(sut.waiting(), 0U);
    const auto refused = sut.schedule(Clock::now(), [&called] { called = true; });
    EXPECT_EQ(refused.sequence, 0U);
    EXPECT_FALSE(called);
}

TEST(Request_timer, an_expiry_may_schedule_cancel_and_stop_its_timer) {
    auto sut = std::make_shared<Request_timer>();
    std::promise<bool> outcome;
    auto result = outcome.get_future();
    sut->schedule(Clock::now(), [sut, &outcome] {
        const auto key = sut->schedule(Clock::now() + std::chrono::hours{1}, [] {});
        const bool cancelled = sut->cancel(key);
        sut->stop();
        outcome.set_value(cancelled && sut->schedule(Clock::now(), [] {}).sequence == 0);
    });
    ASSERT_TRUE(ready(result));
    EXPECT_TRUE(result.get());
}

TEST(Request_timer, a_throwing_expiry_leaves_the_timer_running) {
    Request_timer sut;
    sut.schedule(Clock::now(), [] { throw std::runtime_error("expiry failure"); });
    std::promise<void> after;
    auto ran = after.get_future();
    sut.schedule(Clock::now() + std::chrono::milliseconds{1}, [&after] { after.set_value(); });
    EXPECT_TRUE(ready(ran));
}

TEST(Request_timer, an_earlier_deadline_scheduled_later_wakes_the_timer) {
    Request_timer sut;
    sut.schedule(Clock::now() + std::chrono::hours{1}, [] {});
    std::promise<void> early;
    auto ran = early.get_future();
    sut.schedule(Clock::now() + std::chrono::milliseconds{5}, [&early] { early.set_value(); });
    EXPECT_TRUE(ready(ran));
}

// The timer is not woken for a deadline later than the one it sleeps to; it must still find that
// deadline when it wakes for the earlier one, also when the earlier one was cancelled meanwhile.
TEST(Request_timer, a_later_deadline_scheduled_while_it_sleeps_to_a_cancelled_earlier_one_still_runs) {
    Request_timer sut;
    const auto early = sut.schedule(Clock::now() + std::chrono::milliseconds{10}, [] { ADD_FAILURE() << "cancelled"; });
    std::promise<Clock::time_point> later;
    auto ran = later.get_future();
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds{20};
    sut.schedule(deadline, [&later] { later.set_value(Clock::now()); });
    EXPECT_TRUE(sut.cancel(early));
    ASSERT_TRUE(ready(ran));
    EXPECT_GE(ran.get(), deadline);
}

TEST(Request_timer, expiries_scheduled_one_after_another_each_run_at_their_deadline) {
    Request_timer sut;
    for (int round = 0; round < 3; ++round) {
        std::promise<Clock::time_point> expired;
        auto ran = expired.get_future();
        const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds{5};
        sut.schedule(deadline, [&expired] { expired.set_value(Clock::now()); });
        ASSERT_TRUE(ready(ran)) << "round " << round;
        EXPECT_GE(ran.get(), deadline);
    }
}

}  // namespace

// The server's clocks: the manual one runs due callbacks in time order as the test moves it;
// the steady one runs them on its thread; both drop cancelled timers.

#include "host/uds_server/timer_queue.h"

#include <gtest/gtest.h>

#include <future>
#include <string>

namespace zevo::host {
namespace {

using namespace std::chrono_literals;

TEST(host_timer_queue, manual_clock_runs_due_timers_in_time_order_with_now_at_their_time) {
    Manual_timer_queue timers;
    const Timer_queue::Time start = timers.now();
    std::string order;
    std::vector<Timer_queue::Clock::duration> seen;
    timers.schedule_after(20ms, [&] {
        order += "b";
        seen.push_back(timers.now() - start);
    });
    timers.schedule_after(10ms, [&] {
        order += "a";
        seen.push_back(timers.now() - start);
        // scheduled within the step: runs in it too
        timers.schedule_after(5ms, [&] { order += "c"; });
    });
    timers.schedule_after(20ms, [&] { order += "B"; });  // same time: in the order scheduled
    timers.advance(9ms);
    EXPECT_EQ(order, "");
    timers.advance(11ms);
    EXPECT_EQ(order, "acbB");
    EXPECT_EQ(seen, (std::vector<Timer_queue::Clock::duration>{10ms, 20ms}));
    EXPECT_EQ(timers.now() - start, 20ms);
    EXPECT_EQ(timers.pending(), 0u);
}

TEST(host_timer_queue, manual_clock_drops_a_cancelled_timer) {
    Manual_timer_queue timers;
    bool ran = false;
    const Timer_queue::Timer_id id = timers.schedule_after(1ms, [&] { ran = true; });
    EXPECT_TRUE(timers.cancel(id));
    EXPECT_FALSE(timers.cancel(id));
    timers.advance(1s);
    EXPECT_FALSE(ran);
}

TEST(host_timer_queue, steady_clock_runs_a_timer_on_its_thread_and_drops_a_cancelled_one) {
    Steady_timer_queue timers;
    std::promise<std::thread::id> ran;
    std::future<std::thread::id> ran_on = ran.get_future();
    bool cancelled_ran = false;
    const Timer_queue::Timer_id late = timers.schedule_after(1h, [&] { cancelled_ran = true; });
    timers.schedule_after(1ms, [&] { ran.set_value(std::this_thread::get_id()); });
    ASSERT_EQ(ran_on.wait_for(10s), std::future_status::ready);
    EXPECT_NE(ran_on.get(), std::this_thread::get_id());
    EXPECT_TRUE(timers.cancel(late));
    EXPECT_FALSE(cancelled_ran);
}

}  // namespace
}  // namespace zevo::host

// kel::com::Future on one side of the call: the waiting a job does (ready test, 1 ms slice,
// get), what destroying a future does to the cleanup slot, and the empty future.

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "proxy/future.h"
#include "proxy/promise.h"
#include "tests/proxy/future_test_support.h"
#include "tests/support/kernel_thread.h"

namespace {

using kel::com::Future;
using kel::com::Promise;
using kel::com::future_detail::State;
using zevo::proxy_test::future_error_of;
using zevo::proxy_test::install_cleanup;
using zevo::proxy_test::Latch;
using zevo::proxy_test::mutex_is_free;
using zevo::proxy_test::On_destruction;
using zevo::proxy_test::Read_output;
using zevo::test_support::kernel_thread_id;
using zevo::test_support::sleeping_within;
using namespace std::chrono_literals;

// Every waiting operation of an empty future raises no_state.
template <class T>
void expect_no_state_from_every_wait(Future<T>& future) {
    const auto from_wait_for = future_error_of([&] { static_cast<void>(future.wait_for(1ms)); });
    ASSERT_TRUE(from_wait_for.has_value());
    EXPECT_EQ(from_wait_for->code(), std::future_errc::no_state);

    const auto from_wait_until = future_error_of(
        [&] { static_cast<void>(future.wait_until(std::chrono::system_clock::now() + 1ms)); });
    ASSERT_TRUE(from_wait_until.has_value());
    EXPECT_EQ(from_wait_until->code(), std::future_errc::no_state);

    const auto from_get = future_error_of([&] { static_cast<void>(future.get()); });
    ASSERT_TRUE(from_get.has_value());
    EXPECT_EQ(from_get->code(), std::future_errc::no_state);
}

// ---- waiting -------------------------------------------------------------------------------

TEST(Future, ready_test_says_timeout_while_pending_and_ready_once_completed) {
    Promise<Read_output> promise;
    Future<Read_output> future = promise.get_future();
    ASSERT_TRUE(future.valid());
    EXPECT_EQ(future.wait_until(std::chrono::system_clock::now()), std::future_status::timeout);

    promise.set_value(Read_output{{0x01, 0x02}, 7});
    EXPECT_TRUE(future.valid());
    EXPECT_EQ(future.wait_until(std::chrono::system_clock::now()), std::future_status::ready);
    EXPECT_EQ(future.wait_for(0s), std::future_status::ready);
}

// About 1 ms: never before it, and not long after it either. 50 ms holds on a loaded machine and
// under the sanitizers; a wait that ignored its duration, or slept in whole scheduler ticks of a
// slow clock, does not.
TEST(Future, wait_for_1ms_on_pending_future_returns_timeout_after_about_1ms) {
    Promise<void> promise;
    Future<void> future = promise.get_future();
    for (int round = 0; round < 5; ++round) {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(future.wait_for(1ms), std::future_status::timeout);
        const auto waited =
            std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start).count();
        EXPECT_GE(waited, 1'000) << "microseconds, round " << round;
        EXPECT_LT(waited, 50'000) << "microseconds, round " << round;
    }
    EXPECT_TRUE(future.valid());
}

TEST(Future, wait_until_a_passed_deadline_on_pending_future_returns_timeout) {
    Promise<int> promise;
    Future<int> future = promise.get_future();
    EXPECT_EQ(future.wait_until(std::chrono::system_clock::now() - 1s),
              std::future_status::timeout);
    EXPECT_EQ(future.wait_until(std::chrono::steady_clock::now() + 1ms),
              std::future_status::timeout);
}

// The waiter announces itself just before it starts to wait for an hour; whether the value
// comes before or during that wait, the wait must end with ready and without the hour.
TEST(Future, completion_during_long_wait_for_ends_it_early_with_ready) {
    for (int round = 0; round < 20; ++round) {
        Promise<int> promise;
        Future<int> future = promise.get_future();
        Latch waiting;
        std::future_status status = std::future_status::deferred;
        std::thread waiter([&] {
            waiting.open();
            status = future.wait_for(1h);
        });
        waiting.wait();
        promise.set_value(int{round});
        waiter.join();
        EXPECT_EQ(status, std::future_status::ready);
        EXPECT_EQ(future.get(), round);
    }
}

// A 1 ms slice that an answer interrupts ends at the answer, not at the end of the slice. The
// value is set only once the waiter sleeps in the kernel, so a wait that looked at the state
// once and then slept out its duration would end after 1 ms in every round. A round in which the
// wait timed out before the value came, or whose woken waiter found no free core within the
// slice, is repeated; one early end with ready proves the rule. A burst of load from the tests
// running beside this one can starve a few hundred rounds, so the rounds are bounded by a count
// and by 20 s rather than by a count that such a burst covers.
TEST(Future, completion_during_1ms_wait_for_ends_it_early_with_ready) {
    constexpr int rounds = 20000;
    const auto give_up = std::chrono::steady_clock::now() + 20s;
    int early_ends = 0;
    int timed_out_first = 0;
    int late_ends = 0;
    int round = 0;
    for (; round < rounds && early_ends == 0 && std::chrono::steady_clock::now() < give_up; ++round) {
        Promise<int> promise;
        Future<int> future = promise.get_future();
        std::atomic<pid_t> waiter_thread{0};
        Latch waiting;
        std::future_status status = std::future_status::deferred;
        std::chrono::steady_clock::time_point started;
        std::chrono::steady_clock::time_point ended;
        std::atomic<bool> finished{false};
        std::thread waiter([&] {
            waiter_thread.store(kernel_thread_id());
            waiting.open();
            started = std::chrono::steady_clock::now();
            status = future.wait_for(1ms);
            ended = std::chrono::steady_clock::now();
            finished.store(true);
        });
        waiting.wait();
        // A waiter that was given its core first may sleep out its slice and end before it is
        // seen asleep; that round times out and tells nothing.
        bool asleep = false;
        const auto stop_looking = std::chrono::steady_clock::now() + 10s;
        while (!asleep && !finished.load() && std::chrono::steady_clock::now() < stop_looking) {
            asleep = sleeping_within(waiter_thread.load(), 1ms);
        }
        promise.set_value(int{round});
        waiter.join();
        ASSERT_TRUE(asleep || finished.load()) << "the waiter neither slept in its wait nor ended it";
        if (status == std::future_status::timeout) {
            ++timed_out_first;  // the slice ran out before the value came: no information
            continue;
        }
        ASSERT_EQ(status, std::future_status::ready);
        EXPECT_EQ(future.get(), round);
        if (ended - started < 1ms) {
            ++early_ends;
        } else {
            ++late_ends;
        }
    }
    EXPECT_GE(early_ends, 1) << "of " << round << " rounds, " << timed_out_first
                             << " timed out before the value came and " << late_ends
                             << " ended with ready only after the slice";
}

TEST(Future, completion_during_long_wait_until_ends_it_early_with_ready) {
    for (int round = 0; round < 20; ++round) {
        Promise<void> promise;
        Future<void> future = promise.get_future();
        Latch waiting;
        std::future_status status = std::future_status::deferred;
        std::thread waiter([&] {
            waiting.open();
            status = future.wait_until(std::chrono::system_clock::now() + 1h);
        });
        waiting.wait();
        promise.set_value();
        waiter.join();
        EXPECT_EQ(status, std::future_status::ready);
        EXPECT_NO_THROW(future.get());
    }
}

TEST(Future, get_blocks_until_the_value_comes_and_returns_it) {
    Promise<Read_output> promise;
    Future<Read_output> future = promise.get_future();
    Latch getting;
    Read_output result;
    std::thread waiter([&] {
        getting.open();
        result = future.get();
    });
    getting.wait();
    promise.set_value(Read_output{{0xAA, 0xBB, 0xCC}, 0x1234});
    waiter.join();
    EXPECT_EQ(result.record, (std::vector<std::uint8_t>{0xAA, 0xBB, 0xCC}));
    EXPECT_EQ(result.counter, 0x1234);
}

TEST(Future, get_rethrows_the_stored_exception_and_leaves_the_future_empty) {
    Promise<void> promise;
    Future<void> future = promise.get_future();
    promise.set_exception(std::make_exception_ptr(std::runtime_error("transport gone")));
    EXPECT_THROW(future.get(), std::runtime_error);
    EXPECT_FALSE(future.valid());
    EXPECT_NE(future.state(), nullptr);  // only the standard future is consumed
}

TEST(Future, get_consumes_the_value_and_the_future_is_no_longer_valid) {
    Promise<int> promise;
    Future<int> future = promise.get_future();
    promise.set_value(42);
    EXPECT_EQ(future.get(), 42);
    EXPECT_FALSE(future.valid());
}

// ---- the empty future ----------------------------------------------------------------------

TEST(Future, default_future_is_not_valid_and_raises_no_state_from_wait_for_wait_until_get) {
    Future<Read_output> future;
    EXPECT_FALSE(future.valid());
    EXPECT_EQ(future.state(), nullptr);
    expect_no_state_from_every_wait(future);
}

TEST(Future, moved_from_future_is_empty_and_raises_no_state_from_wait_for_wait_until_get) {
    Promise<int> promise;
    Future<int> source = promise.get_future();
    Future<int> target(std::move(source));
    EXPECT_FALSE(source.valid());  // NOLINT(bugprone-use-after-move): the empty state is the point
    EXPECT_EQ(source.state(), nullptr);
    EXPECT_TRUE(target.valid());
    expect_no_state_from_every_wait(source);
}

TEST(Future, consumed_future_raises_no_state_from_wait_for_wait_until_get) {
    Promise<void> promise;
    Future<void> future = promise.get_future();
    promise.set_value();
    future.get();
    expect_no_state_from_every_wait(future);
}

TEST(Future, future_without_shared_state_is_not_valid) {
    std::promise<int> standard;
    Future<int> future(standard.get_future(), nullptr);
    EXPECT_FALSE(future.valid());
}

// ---- destruction and the cleanup slot ------------------------------------------------------

TEST(Future, cleanup_runs_once_when_the_future_is_destroyed) {
    auto promise = std::make_shared<Promise<Read_output>>();
    std::optional<Future<Read_output>> future(promise->get_future());
    int calls = 0;
    install_cleanup(future->state(), [&calls] { ++calls; });

    future.reset();
    EXPECT_EQ(calls, 1);
    promise->set_value(Read_output{});
    promise.reset();
    EXPECT_EQ(calls, 1);
}

TEST(Future, cleanup_runs_once_also_after_get_consumed_the_result) {
    Promise<int> promise;
    std::optional<Future<int>> future(promise.get_future());
    int calls = 0;
    install_cleanup(future->state(), [&calls] { ++calls; });
    promise.set_value(5);
    EXPECT_EQ(future->get(), 5);
    EXPECT_EQ(calls, 0);

    future.reset();
    EXPECT_EQ(calls, 1);
}

TEST(Future, cleanup_runs_on_the_destroying_thread_with_the_state_mutex_free) {
    Promise<void> promise;
    std::optional<Future<void>> future(promise.get_future());
    State* const state = future->state().get();
    std::optional<bool> mutex_free;
    std::thread::id ran_on;
    install_cleanup(future->state(), [state, &mutex_free, &ran_on] {
        mutex_free = mutex_is_free(state->mutex);
        ran_on = std::this_thread::get_id();
    });

    std::thread destroyer([&future] { future.reset(); });
    const std::thread::id destroyer_id = destroyer.get_id();
    destroyer.join();
    ASSERT_TRUE(mutex_free.has_value());
    EXPECT_TRUE(*mutex_free);
    EXPECT_EQ(ran_on, destroyer_id);
}

TEST(Future, throwing_cleanup_does_not_escape_the_destructor_and_the_rest_still_runs) {
    auto promise = std::make_unique<Promise<int>>();
    std::optional<Future<int>> future(promise->get_future());
    const std::weak_ptr<State> state = future->state();
    bool closure_destroyed = false;
    auto witness =
        std::make_shared<On_destruction>([&closure_destroyed] { closure_destroyed = true; });
    install_cleanup(future->state(), [witness] { throw std::runtime_error("cleanup failed"); });
    witness.reset();

    EXPECT_NO_THROW(future.reset());
    EXPECT_TRUE(closure_destroyed);
    EXPECT_EQ(state.use_count(), 1);  // the future let go of the state; the promise still has it
    if (const std::shared_ptr<State> held = state.lock()) {
        std::lock_guard<std::mutex> lock(held->mutex);
        EXPECT_FALSE(held->cleanup);
    }
    EXPECT_NO_THROW(promise->set_value(1));
    promise.reset();
    EXPECT_TRUE(state.expired());
}

TEST(Future, cleanup_function_is_destroyed_by_the_time_the_destructor_returns) {
    Promise<void> promise;
    std::optional<Future<void>> future(promise.get_future());
    bool closure_destroyed = false;
    auto witness =
        std::make_shared<On_destruction>([&closure_destroyed] { closure_destroyed = true; });
    install_cleanup(future->state(), [witness] {});
    witness.reset();
    EXPECT_FALSE(closure_destroyed);

    future.reset();
    EXPECT_TRUE(closure_destroyed);
}

// A moved-from future must not run, clear or lock anything of the state it gave away.
TEST(Future, destroying_a_moved_from_future_touches_nothing) {
    Promise<int> promise;
    std::optional<Future<int>> source(promise.get_future());
    int cleanups = 0;
    int continuations = 0;
    install_cleanup(source->state(), [&cleanups] { ++cleanups; });
    source->set_continuation([&continuations] { ++continuations; });
    const std::shared_ptr<State> state = source->state();

    std::optional<Future<int>> target(std::move(*source));
    source.reset();
    EXPECT_EQ(cleanups, 0);
    {
        std::lock_guard<std::mutex> lock(state->mutex);
        EXPECT_TRUE(state->cleanup);
        EXPECT_TRUE(state->continuation);
    }

    promise.set_value(3);
    EXPECT_EQ(continuations, 1);
    EXPECT_EQ(target->get(), 3);
    target.reset();
    EXPECT_EQ(cleanups, 1);
}

TEST(Future, destroying_a_default_future_does_nothing) {
    EXPECT_NO_THROW({ Future<Read_output> future; });
}

TEST(Future, move_assignment_ends_the_overwritten_future_and_takes_over_the_other) {
    Promise<int> first_promise;
    Promise<int> second_promise;
    Future<int> target = first_promise.get_future();
    Future<int> source = second_promise.get_future();
    int first_cleanups = 0;
    int second_cleanups = 0;
    install_cleanup(target.state(), [&first_cleanups] { ++first_cleanups; });
    install_cleanup(source.state(), [&second_cleanups] { ++second_cleanups; });

    target = std::move(source);
    EXPECT_EQ(first_cleanups, 1);
    EXPECT_EQ(second_cleanups, 0);
    EXPECT_FALSE(source.valid());  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(target.state(), second_promise.state());

    second_promise.set_value(9);
    EXPECT_EQ(target.get(), 9);
    { Future<int> ended(std::move(target)); }
    EXPECT_EQ(second_cleanups, 1);
}

TEST(Future, future_destroyed_before_completion_returns_at_once_and_set_value_calls_nothing) {
    auto promise = std::make_shared<Promise<Read_output>>();
    std::optional<Future<Read_output>> future(promise->get_future());
    int cleanups = 0;
    int continuations = 0;
    install_cleanup(future->state(), [&cleanups] { ++cleanups; });
    future->set_continuation([&continuations] { ++continuations; });

    future.reset();  // nothing has answered: this must not wait for an answer
    EXPECT_EQ(cleanups, 1);

    EXPECT_NO_THROW(promise->set_value(Read_output{{0x10}, 1}));
    EXPECT_EQ(continuations, 0);
    EXPECT_EQ(cleanups, 1);
    promise.reset();
    EXPECT_EQ(continuations, 0);
    EXPECT_EQ(cleanups, 1);
}

TEST(Future, future_destroyed_before_the_promise_breaks_leaves_the_promise_quiet) {
    auto promise = std::make_unique<Promise<void>>();
    std::optional<Future<void>> future(promise->get_future());
    int continuations = 0;
    future->set_continuation([&continuations] { ++continuations; });
    future.reset();

    EXPECT_NO_THROW(promise.reset());
    EXPECT_EQ(continuations, 0);
}

}  // namespace

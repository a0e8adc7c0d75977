// The continuation slot of kel::com futures: installed with Future::set_continuation, fired
// once by completion or by the destruction of an unset promise, dropped by the future's
// destruction, and always called with State::mutex free.

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include <gtest/gtest.h>

#include "proxy/future.h"
#include "proxy/promise.h"
#include "tests/proxy/future_test_support.h"

namespace {

using kel::com::Future;
using kel::com::Promise;
using kel::com::future_detail::State;
using zevo::proxy_test::future_error_of;
using zevo::proxy_test::install_cleanup;
using zevo::proxy_test::mutex_is_free;
using zevo::proxy_test::On_destruction;
using zevo::proxy_test::Read_output;
using namespace std::chrono_literals;

// What a continuation saw when it ran.
struct Observation {
    int calls = 0;
    bool future_ready = false;
    bool mutex_free = false;
    std::thread::id thread;
};

// A continuation that records what it sees of `future` and of the state's mutex.
template <class T>
std::function<void()> observer(Observation& seen, const Future<T>& future, State& state) {
    return [&seen, &future, &state] {
        ++seen.calls;
        seen.future_ready = future.wait_for(0s) == std::future_status::ready;
        seen.mutex_free = mutex_is_free(state.mutex);
        seen.thread = std::this_thread::get_id();
    };
}

TEST(Future_continuation, set_value_runs_it_once_after_the_future_is_ready_with_the_mutex_free) {
    Promise<Read_output> promise;
    Future<Read_output> future = promise.get_future();
    Observation seen;
    future.set_continuation(observer(seen, future, *future.state()));
    EXPECT_EQ(seen.calls, 0);

    std::thread completer([&promise] { promise.set_value(Read_output{{0x42}, 2}); });
    const std::thread::id completer_id = completer.get_id();
    completer.join();

    EXPECT_EQ(seen.calls, 1);
    EXPECT_TRUE(seen.future_ready);
    EXPECT_TRUE(seen.mutex_free);
    EXPECT_EQ(seen.thread, completer_id);
    EXPECT_EQ(future.get().record, std::vector<std::uint8_t>{0x42});
    EXPECT_EQ(seen.calls, 1);
}

TEST(Future_continuation,
     set_exception_runs_it_once_after_the_future_is_ready_with_the_mutex_free) {
    Promise<void> promise;
    Future<void> future = promise.get_future();
    Observation seen;
    future.set_continuation(observer(seen, future, *future.state()));

    promise.set_exception(std::make_exception_ptr(std::runtime_error("failed")));
    EXPECT_EQ(seen.calls, 1);
    EXPECT_TRUE(seen.future_ready);
    EXPECT_TRUE(seen.mutex_free);
    EXPECT_THROW(future.get(), std::runtime_error);
}

// ~Future takes State::mutex: a continuation called with the mutex held would hang here.
TEST(Future_continuation, it_may_destroy_the_future_from_inside) {
    Promise<int> promise;
    std::optional<Future<int>> future(promise.get_future());
    int cleanups = 0;
    install_cleanup(future->state(), [&cleanups] { ++cleanups; });
    int calls = 0;
    future->set_continuation([&future, &calls] {
        ++calls;
        EXPECT_EQ(future->get(), 6);
        future.reset();
    });

    promise.set_value(6);
    EXPECT_EQ(calls, 1);
    EXPECT_FALSE(future.has_value());
    EXPECT_EQ(cleanups, 1);
}

TEST(Future_continuation, it_may_lock_the_state_mutex_itself) {
    Promise<void> promise;
    Future<void> future = promise.get_future();
    State& state = *future.state();
    bool slot_empty = false;
    future.set_continuation([&state, &slot_empty] {
        std::lock_guard<std::mutex> lock(state.mutex);
        slot_empty = !state.continuation;
    });
    promise.set_value();
    EXPECT_TRUE(slot_empty);  // taken out of the slot before it was called
}

TEST(Future_continuation,
     unset_promise_destroyed_runs_it_once_on_the_destroying_thread_with_broken_promise_ready) {
    auto promise = std::make_unique<Promise<Read_output>>();
    Future<Read_output> future = promise->get_future();
    Observation seen;
    future.set_continuation(observer(seen, future, *future.state()));

    std::thread destroyer([&promise] { promise.reset(); });
    const std::thread::id destroyer_id = destroyer.get_id();
    destroyer.join();

    EXPECT_EQ(seen.calls, 1);
    EXPECT_EQ(seen.thread, destroyer_id);
    EXPECT_TRUE(seen.future_ready);
    EXPECT_TRUE(seen.mutex_free);
    const auto error = future_error_of([&] { static_cast<void>(future.get()); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->code(), std::future_errc::broken_promise);
    EXPECT_EQ(std::string(error->what()).rfind("std::future_error: ", 0), 0u);
}

TEST(Future_continuation, destroying_the_future_clears_it_so_a_later_set_value_calls_nothing) {
    Promise<int> promise;
    std::optional<Future<int>> future(promise.get_future());
    int calls = 0;
    bool closure_destroyed = false;
    auto witness =
        std::make_shared<On_destruction>([&closure_destroyed] { closure_destroyed = true; });
    future->set_continuation([witness, &calls] { ++calls; });
    witness.reset();
    const std::shared_ptr<State> state = future->state();

    future.reset();
    EXPECT_TRUE(closure_destroyed);  // dropped by the future, not kept for later
    {
        std::lock_guard<std::mutex> lock(state->mutex);
        EXPECT_FALSE(state->continuation);
    }
    EXPECT_NO_THROW(promise.set_value(1));
    EXPECT_EQ(calls, 0);
}

TEST(Future_continuation,
     destroying_the_future_clears_it_so_a_later_unset_promise_destruction_calls_nothing) {
    auto promise = std::make_unique<Promise<void>>();
    std::optional<Future<void>> future(promise->get_future());
    int calls = 0;
    future->set_continuation([&calls] { ++calls; });
    future.reset();
    promise.reset();
    EXPECT_EQ(calls, 0);
}

TEST(Future_continuation,
     throwing_out_of_set_value_reaches_the_caller_and_the_result_stays_stored) {
    auto promise = std::make_unique<Promise<int>>();
    Future<int> future = promise->get_future();
    int calls = 0;
    future.set_continuation([&calls] {
        ++calls;
        throw std::logic_error("continuation failed");
    });

    EXPECT_THROW(promise->set_value(21), std::logic_error);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(future.wait_for(0s), std::future_status::ready);

    // The continuation is gone: neither a second completion nor the destruction calls it.
    const auto second = future_error_of([&] { promise->set_value(22); });
    ASSERT_TRUE(second.has_value());
    EXPECT_EQ(second->code(), std::future_errc::promise_already_satisfied);
    promise.reset();
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(future.get(), 21);
}

TEST(Future_continuation,
     throwing_out_of_set_exception_reaches_the_caller_and_the_exception_stays_stored) {
    Promise<void> promise;
    Future<void> future = promise.get_future();
    future.set_continuation([] { throw std::logic_error("continuation failed"); });
    EXPECT_THROW(promise.set_exception(std::make_exception_ptr(std::out_of_range("answer"))),
                 std::logic_error);
    EXPECT_THROW(future.get(), std::out_of_range);
}

#if defined(__SANITIZE_THREAD__)
constexpr bool thread_sanitizer_is_on = true;
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
constexpr bool thread_sanitizer_is_on = true;
#else
constexpr bool thread_sanitizer_is_on = false;
#endif
#else
constexpr bool thread_sanitizer_is_on = false;
#endif

// A value whose move throws leaves the promise unsatisfied: the store fails before the
// continuation is taken, so it stays for the completion that does succeed.
struct Fragile_output {
    bool fails_to_move = false;
    explicit Fragile_output(bool fails) : fails_to_move(fails) {}
    Fragile_output(Fragile_output&& other) : fails_to_move(other.fails_to_move) {
        if (fails_to_move) {
            throw std::length_error("cannot move");
        }
    }
    Fragile_output& operator=(Fragile_output&&) = default;
    Fragile_output(const Fragile_output&) = delete;
    Fragile_output& operator=(const Fragile_output&) = delete;
    ~Fragile_output() = default;
};

TEST(Future_continuation, failed_store_keeps_it_for_the_completion_that_succeeds) {
    if (thread_sanitizer_is_on) {
        // The standard promise stores its result through std::call_once. The sanitizer's
        // pthread_once does not reset the flag when the callee throws, so the second store
        // would wait for ever in the runtime, not in the code under test.
        GTEST_SKIP() << "a throwing std::call_once callee hangs under ThreadSanitizer";
    }
    Promise<Fragile_output> promise;
    Future<Fragile_output> future = promise.get_future();
    int calls = 0;
    future.set_continuation([&calls] { ++calls; });

    EXPECT_THROW(promise.set_value(Fragile_output(true)), std::length_error);
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(future.wait_for(0s), std::future_status::timeout);

    promise.set_value(Fragile_output(false));
    EXPECT_EQ(calls, 1);
    EXPECT_FALSE(future.get().fails_to_move);
}

TEST(Future_continuation, completed_promise_destroyed_later_does_not_run_it_again) {
    auto promise = std::make_unique<Promise<Read_output>>();
    Future<Read_output> future = promise->get_future();
    int calls = 0;
    future.set_continuation([&calls] { ++calls; });
    promise->set_value(Read_output{});
    EXPECT_EQ(calls, 1);
    promise.reset();
    EXPECT_EQ(calls, 1);
    EXPECT_NO_THROW(static_cast<void>(future.get()));
}

TEST(Future_continuation,
     installed_on_a_completed_future_it_runs_at_once_on_the_installing_thread) {
    Promise<int> promise;
    Future<int> future = promise.get_future();
    promise.set_value(3);
    Observation seen;
    future.set_continuation(observer(seen, future, *future.state()));
    EXPECT_EQ(seen.calls, 1);
    EXPECT_EQ(seen.thread, std::this_thread::get_id());
    EXPECT_TRUE(seen.future_ready);
    EXPECT_TRUE(seen.mutex_free);
    EXPECT_EQ(future.get(), 3);
    EXPECT_EQ(seen.calls, 1);
}

TEST(Future_continuation, installed_after_the_promise_broke_it_runs_at_once) {
    auto promise = std::make_unique<Promise<void>>();
    Future<void> future = promise->get_future();
    promise.reset();
    int calls = 0;
    future.set_continuation([&calls] { ++calls; });
    EXPECT_EQ(calls, 1);
    const auto error = future_error_of([&] { future.get(); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->code(), std::future_errc::broken_promise);
}

TEST(Future_continuation, installing_on_an_empty_future_raises_no_state) {
    Future<int> empty;
    auto error = future_error_of([&] { empty.set_continuation([] {}); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->code(), std::future_errc::no_state);

    Promise<int> promise;
    Future<int> consumed = promise.get_future();
    promise.set_value(1);
    static_cast<void>(consumed.get());
    int calls = 0;
    error = future_error_of([&] { consumed.set_continuation([&calls] { ++calls; }); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->code(), std::future_errc::no_state);
    EXPECT_EQ(calls, 0);
}

}  // namespace

// kel::com::Promise on the answering side of the call: taking the future, completing once,
// the promise without state, the broken promise and the texts of std::future_error.

#include <chrono>
#include <exception>
#include <future>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "proxy/future.h"
#include "proxy/promise.h"
#include "tests/proxy/future_test_support.h"

namespace {

using kel::com::Future;
using kel::com::Promise;
using zevo::proxy_test::exception_of;
using zevo::proxy_test::future_error_in;
using zevo::proxy_test::future_error_of;
using zevo::proxy_test::future_error_text;
using zevo::proxy_test::install_cleanup;
using zevo::proxy_test::Latch;
using zevo::proxy_test::Read_output;

void expect_future_error(const std::optional<std::future_error>& error, std::future_errc code) {
    ASSERT_TRUE(error.has_value()) << "no std::future_error was thrown";
    EXPECT_EQ(error->code(), code);
    EXPECT_EQ(error->code().category(), std::future_category());
    const std::string text = error->what();
    EXPECT_EQ(text.rfind("std::future_error: ", 0), 0u) << text;
    EXPECT_EQ(text, future_error_text(code));
}

// ---- get_future ----------------------------------------------------------------------------

TEST(Promise, get_future_twice_raises_future_already_retrieved) {
    Promise<Read_output> promise;
    Future<Read_output> first = promise.get_future();
    expect_future_error(future_error_of([&] { static_cast<void>(promise.get_future()); }),
                        std::future_errc::future_already_retrieved);
    EXPECT_TRUE(first.valid());
}

TEST(Promise, get_future_after_completion_gives_a_ready_future) {
    Promise<int> promise;
    promise.set_value(11);
    Future<int> future = promise.get_future();
    EXPECT_EQ(future.wait_for(std::chrono::seconds(0)), std::future_status::ready);
    EXPECT_EQ(future.get(), 11);
}

// ---- completing ----------------------------------------------------------------------------

TEST(Promise, set_value_twice_raises_promise_already_satisfied_and_keeps_first) {
    Promise<Read_output> promise;
    Future<Read_output> future = promise.get_future();
    promise.set_value(Read_output{{0x01}, 1});
    expect_future_error(future_error_of([&] {
                            promise.set_value(Read_output{{0x02}, 2});
                        }),
                        std::future_errc::promise_already_satisfied);

    const Read_output result = future.get();
    EXPECT_EQ(result.record, std::vector<std::uint8_t>{0x01});
    EXPECT_EQ(result.counter, 1);
}

TEST(Promise, void_set_value_twice_raises_promise_already_satisfied_and_keeps_first) {
    Promise<void> promise;
    Future<void> future = promise.get_future();
    promise.set_value();
    expect_future_error(future_error_of([&] { promise.set_value(); }),
                        std::future_errc::promise_already_satisfied);
    EXPECT_NO_THROW(future.get());
}

TEST(Promise, set_exception_after_set_value_raises_promise_already_satisfied_and_keeps_value) {
    Promise<int> promise;
    Future<int> future = promise.get_future();
    promise.set_value(1);
    expect_future_error(
        future_error_of(
            [&] { promise.set_exception(std::make_exception_ptr(std::runtime_error("late"))); }),
        std::future_errc::promise_already_satisfied);
    EXPECT_EQ(future.get(), 1);
}

TEST(Promise, set_value_after_set_exception_raises_promise_already_satisfied_and_keeps_exception) {
    Promise<void> promise;
    Future<void> future = promise.get_future();
    promise.set_exception(std::make_exception_ptr(std::out_of_range("first")));
    expect_future_error(future_error_of([&] { promise.set_value(); }),
                        std::future_errc::promise_already_satisfied);
    EXPECT_THROW(future.get(), std::out_of_range);
}

TEST(Promise, set_value_without_a_future_taken_succeeds) {
    Promise<Read_output> output_promise;
    EXPECT_NO_THROW(output_promise.set_value(Read_output{{0x05}, 5}));
    Promise<void> void_promise;
    EXPECT_NO_THROW(void_promise.set_value());
    Promise<int> failed_promise;
    EXPECT_NO_THROW(failed_promise.set_exception(std::make_exception_ptr(std::runtime_error("x"))));
}

TEST(Promise, set_value_wakes_a_waiter_blocked_in_get) {
    Promise<std::shared_ptr<int>> promise;
    Future<std::shared_ptr<int>> future = promise.get_future();
    Latch getting;
    std::shared_ptr<int> result;
    std::thread waiter([&] {
        getting.open();
        result = future.get();
    });
    getting.wait();
    promise.set_value(std::make_shared<int>(17));
    waiter.join();
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(*result, 17);
}

TEST(Promise, set_value_does_not_run_the_cleanup) {
    int cleanups = 0;  // outlives the future, whose end runs the cleanup
    Promise<int> promise;
    Future<int> future = promise.get_future();
    install_cleanup(future.state(), [&cleanups] { ++cleanups; });
    promise.set_value(1);
    EXPECT_EQ(cleanups, 0);
    EXPECT_EQ(future.get(), 1);
    EXPECT_EQ(cleanups, 0);
}

// ---- the promise without state -------------------------------------------------------------

template <class T, class Complete>
void expect_no_state_from_every_operation(Complete&& complete) {
    Promise<T> source;
    Promise<T> target(std::move(source));
    EXPECT_EQ(source.state(), nullptr);  // NOLINT(bugprone-use-after-move): that is the subject
    EXPECT_NE(target.state(), nullptr);

    expect_future_error(future_error_of([&] { static_cast<void>(source.get_future()); }),
                        std::future_errc::no_state);
    expect_future_error(future_error_of([&] { complete(source); }), std::future_errc::no_state);
    expect_future_error(future_error_of([&] {
                            source.set_exception(std::make_exception_ptr(std::runtime_error("x")));
                        }),
                        std::future_errc::no_state);

    // The promise that took over is whole.
    Future<T> future = target.get_future();
    complete(target);
    EXPECT_EQ(future.wait_for(std::chrono::seconds(0)), std::future_status::ready);
}

TEST(Promise, moved_from_void_promise_raises_no_state_from_every_operation) {
    expect_no_state_from_every_operation<void>([](Promise<void>& promise) { promise.set_value(); });
}

TEST(Promise, moved_from_output_promise_raises_no_state_from_every_operation) {
    expect_no_state_from_every_operation<Read_output>(
        [](Promise<Read_output>& promise) { promise.set_value(Read_output{}); });
}

TEST(Promise, destroying_a_moved_from_promise_breaks_nothing) {
    std::optional<Promise<int>> source(std::in_place);
    Promise<int> target(std::move(*source));
    Future<int> future = target.get_future();
    source.reset();
    EXPECT_EQ(future.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    target.set_value(4);
    EXPECT_EQ(future.get(), 4);
}

// ---- the broken promise --------------------------------------------------------------------

TEST(Promise, get_after_the_promise_was_destroyed_unset_raises_broken_promise) {
    auto promise = std::make_unique<Promise<Read_output>>();
    Future<Read_output> future = promise->get_future();
    promise.reset();
    EXPECT_EQ(future.wait_for(std::chrono::seconds(0)), std::future_status::ready);
    expect_future_error(future_error_of([&] { static_cast<void>(future.get()); }),
                        std::future_errc::broken_promise);
}

TEST(Promise, destroying_the_promise_unset_wakes_a_waiter_with_broken_promise) {
    auto promise = std::make_unique<Promise<void>>();
    Future<void> future = promise->get_future();
    Latch getting;
    std::exception_ptr error;
    std::thread waiter([&] {
        getting.open();
        error = exception_of([&] { future.get(); });
    });
    getting.wait();
    promise.reset();
    waiter.join();
    expect_future_error(future_error_in(error), std::future_errc::broken_promise);
}

TEST(Promise, destroying_the_promise_unset_does_not_run_the_cleanup) {
    auto promise = std::make_unique<Promise<int>>();
    std::optional<Future<int>> future(promise->get_future());
    int cleanups = 0;
    install_cleanup(future->state(), [&cleanups] { ++cleanups; });
    promise.reset();
    EXPECT_EQ(cleanups, 0);
    future.reset();
    EXPECT_EQ(cleanups, 1);
}

TEST(Promise, destroying_a_completed_promise_keeps_the_value) {
    auto promise = std::make_unique<Promise<int>>();
    Future<int> future = promise->get_future();
    promise->set_value(8);
    promise.reset();
    EXPECT_EQ(future.get(), 8);
}

// ---- codes ---------------------------------------------------------------------------------
// The texts of all four codes are checked where each is raised, by expect_future_error.

TEST(Promise, future_error_codes_have_the_values_1_to_4) {
    EXPECT_EQ(static_cast<int>(std::future_errc::future_already_retrieved), 1);
    EXPECT_EQ(static_cast<int>(std::future_errc::promise_already_satisfied), 2);
    EXPECT_EQ(static_cast<int>(std::future_errc::no_state), 3);
    EXPECT_EQ(static_cast<int>(std::future_errc::broken_promise), 4);
}

TEST(Promise, no_state_from_an_empty_future_carries_the_future_error_text) {
    Future<int> future;
    expect_future_error(future_error_of([&] { static_cast<void>(future.get()); }),
                        std::future_errc::no_state);
}

}  // namespace

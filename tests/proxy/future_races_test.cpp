// The two sides of a kel::com call on two threads at once: the runtime completing or dropping
// the promise while the job waits on, reads or gives up its future. Each race is run many
// times, both sides released from one start line; run under ThreadSanitizer as well.

#include <atomic>
#include <chrono>
#include <cstdint>
#include <exception>
#include <future>
#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>

#include <gtest/gtest.h>

#include "proxy/future.h"
#include "proxy/method_impl.h"
#include "proxy/promise.h"
#include "ruv/com/cpp_binding/proxy/rport.h"
#include "tests/proxy/future_test_support.h"

namespace {

using kel::com::Future;
using kel::com::Promise;
using kel::com::future_detail::State;
using kel::com::runtime::Method_call;
using ruv::com::cpp_binding::proxy::Method_impl_base;
using zevo::proxy_test::exception_of;
using zevo::proxy_test::future_error_in;
using zevo::proxy_test::install_cleanup;
using zevo::proxy_test::race;
using zevo::proxy_test::Read_output;

constexpr int rounds = 2000;

// One call's pair, owned the way the call path owns it: the promise shared by the response
// handler, the future by the job.
template <class T>
struct Call {
    std::shared_ptr<Promise<T>> promise = std::make_shared<Promise<T>>();
    std::optional<Future<T>> future{promise->get_future()};
    std::weak_ptr<State> state{future->state()};
    std::atomic<int> continuations{0};
    std::atomic<int> cleanups{0};

    void install_continuation() {
        future->set_continuation([this] { continuations.fetch_add(1, std::memory_order_relaxed); });
    }
    void install_counting_cleanup() {
        install_cleanup(future->state(),
                        [this] { cleanups.fetch_add(1, std::memory_order_relaxed); });
    }
};

TEST(Future_races, continuation_by_set_value_against_future_destruction_runs_at_most_once) {
    int ran = 0;
    for (int round = 0; round < rounds; ++round) {
        Call<int> call;
        call.install_continuation();
        call.install_counting_cleanup();
        bool completed = false;
        const auto complete = [&] {
            try {
                call.promise->set_value(int{round});
                completed = true;
            } catch (...) {
            }
        };
        const auto abandon = [&] { call.future.reset(); };
        race(round, complete, abandon);
        call.promise.reset();
        EXPECT_TRUE(completed);
        const int continuations = call.continuations.load();
        ASSERT_LE(continuations, 1) << "round " << round;
        EXPECT_EQ(call.cleanups.load(), 1) << "round " << round;
        EXPECT_TRUE(call.state.expired());
        ran += continuations;
    }
    RecordProperty("continuation_ran", ran);
}

TEST(Future_races, continuation_by_broken_promise_against_future_destruction_runs_at_most_once) {
    int ran = 0;
    for (int round = 0; round < rounds; ++round) {
        Call<Read_output> call;
        call.install_continuation();
        call.install_counting_cleanup();
        const auto drop_promise = [&] { call.promise.reset(); };
        const auto drop_future = [&] { call.future.reset(); };
        race(round, drop_promise, drop_future);
        const int continuations = call.continuations.load();
        ASSERT_LE(continuations, 1) << "round " << round;
        EXPECT_EQ(call.cleanups.load(), 1) << "round " << round;
        EXPECT_TRUE(call.state.expired());
        ran += continuations;
    }
    RecordProperty("continuation_ran", ran);
}

TEST(Future_races, set_value_against_future_destruction_stores_quietly_and_cleans_up_once) {
    for (int round = 0; round < rounds; ++round) {
        Call<Read_output> call;
        call.install_counting_cleanup();
        bool completed = false;
        const auto complete = [&] {
            try {
                call.promise->set_value(Read_output{{0x01}, static_cast<std::uint16_t>(round)});
                completed = true;
            } catch (...) {
            }
        };
        const auto abandon = [&] { call.future.reset(); };
        race(round, complete, abandon);
        EXPECT_TRUE(completed) << "round " << round;
        EXPECT_EQ(call.cleanups.load(), 1) << "round " << round;
        call.promise.reset();
        EXPECT_TRUE(call.state.expired());
    }
}

TEST(Future_races, promise_and_future_destroyed_at_once_end_cleanly) {
    for (int round = 0; round < rounds; ++round) {
        Call<void> call;
        call.install_counting_cleanup();
        if (round % 4 < 2) {  // both thread assignments with and without one
            call.install_continuation();
        }
        const auto drop_promise = [&] { call.promise.reset(); };
        const auto drop_future = [&] { call.future.reset(); };
        race(round, drop_promise, drop_future);
        ASSERT_LE(call.continuations.load(), 1) << "round " << round;
        EXPECT_EQ(call.cleanups.load(), 1) << "round " << round;
        EXPECT_TRUE(call.state.expired()) << "round " << round;
    }
}

TEST(Future_races, completed_promise_and_future_destroyed_at_once_end_cleanly) {
    for (int round = 0; round < rounds; ++round) {
        Call<int> call;
        call.install_counting_cleanup();
        call.promise->set_value(int{round});
        const auto drop_promise = [&] { call.promise.reset(); };
        const auto drop_future = [&] { call.future.reset(); };
        race(round, drop_promise, drop_future);
        EXPECT_EQ(call.cleanups.load(), 1) << "round " << round;
        EXPECT_TRUE(call.state.expired()) << "round " << round;
    }
}

TEST(Future_races, set_value_against_waiting_get_delivers_the_value) {
    for (int round = 0; round < rounds; ++round) {
        Call<int> call;
        std::optional<int> received;
        const auto complete = [&] { call.promise->set_value(int{round}); };
        const auto get = [&] {
            try {
                received = call.future->get();
            } catch (...) {
            }
        };
        race(round, complete, get);
        ASSERT_TRUE(received.has_value()) << "round " << round;
        EXPECT_EQ(*received, round);
    }
}

TEST(Future_races, set_exception_against_waiting_get_delivers_the_exception) {
    for (int round = 0; round < rounds; ++round) {
        Call<void> call;
        std::exception_ptr thrown;
        const auto fail = [&] {
            call.promise->set_exception(std::make_exception_ptr(std::runtime_error("no")));
        };
        const auto get = [&] { thrown = exception_of([&] { call.future->get(); }); };
        race(round, fail, get);
        ASSERT_TRUE(thrown) << "round " << round;
        EXPECT_THROW(std::rethrow_exception(thrown), std::runtime_error);
    }
}

TEST(Future_races, promise_destruction_against_waiting_get_delivers_broken_promise) {
    for (int round = 0; round < rounds; ++round) {
        Call<Read_output> call;
        if (round % 4 < 2) {  // both thread assignments with and without one
            call.install_continuation();
        }
        std::exception_ptr thrown;
        const auto drop_promise = [&] { call.promise.reset(); };
        const auto get = [&] {
            thrown = exception_of([&] { static_cast<void>(call.future->get()); });
        };
        race(round, drop_promise, get);
        const auto error = future_error_in(thrown);
        ASSERT_TRUE(error.has_value()) << "round " << round;
        EXPECT_EQ(error->code(), std::future_errc::broken_promise);
        EXPECT_EQ(call.continuations.load(), round % 4 < 2 ? 1 : 0);
    }
}

TEST(Future_races, set_value_against_long_wait_for_wakes_the_waiter_with_ready) {
    for (int round = 0; round < rounds; ++round) {
        Call<void> call;
        std::future_status status = std::future_status::deferred;
        const auto complete = [&] { call.promise->set_value(); };
        const auto wait = [&] { status = call.future->wait_for(std::chrono::hours(1)); };
        race(round, complete, wait);
        EXPECT_EQ(status, std::future_status::ready) << "round " << round;
    }
}

TEST(Future_races, set_continuation_against_set_value_runs_it_exactly_once) {
    for (int round = 0; round < rounds; ++round) {
        Call<int> call;
        const auto complete = [&] { call.promise->set_value(int{round}); };
        const auto install = [&] { call.install_continuation(); };
        race(round, complete, install);
        EXPECT_EQ(call.continuations.load(), 1) << "round " << round;
        EXPECT_EQ(call.future->get(), round);
    }
}

// The response handler may run before add_cleanup has finished on the calling thread.
TEST(Future_races, add_cleanup_against_completion_keeps_the_record_until_the_future_ends) {
    const Method_impl_base method;
    for (int round = 0; round < rounds; ++round) {
        Call<Read_output> call;
        auto released = std::make_shared<std::atomic<int>>(0);
        Future<std::shared_ptr<Method_call>> call_future;
        {
            Promise<std::shared_ptr<Method_call>> runtime_promise;
            call_future = runtime_promise.get_future();
            runtime_promise.set_value(
                std::shared_ptr<Method_call>(static_cast<Method_call*>(nullptr),
                                             [released](Method_call*) { released->fetch_add(1); }));
        }
        std::shared_ptr<Promise<Read_output>> calling_side = call.promise;
        const auto add_cleanup = [&] {
            method.add_cleanup(std::move(calling_side), std::move(call_future));
        };
        const auto answer = [&] {  // the response handler completes and goes away
            call.promise->set_value(Read_output{{0x7F}, 3});
            call.promise.reset();
        };
        race(round, add_cleanup, answer);
        EXPECT_EQ(released->load(), 0) << "round " << round;
        EXPECT_EQ(call.future->get().counter, 3);
        call.future.reset();
        EXPECT_EQ(released->load(), 1) << "round " << round;
    }
}

}  // namespace

// Method_impl_base::add_cleanup: the runtime's call record lives exactly as long as the
// caller's future, whatever the order in which promise, answer and future come and go.

#include <atomic>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
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
using zevo::proxy_test::future_error_of;
using zevo::proxy_test::install_cleanup;
using zevo::proxy_test::mutex_is_free;
using zevo::proxy_test::On_destruction;
using zevo::proxy_test::Read_output;

using Call_future = Future<std::shared_ptr<Method_call>>;

// What the runtime hands back from call_method: a completed future of a call record. The
// record is a null pointer with a deleter of its own, so its end is visible without knowing
// Method_call. The future's own end shows in its cleanup slot.
struct Call_record {
    std::weak_ptr<Method_call> record;
    std::shared_ptr<int> released = std::make_shared<int>(0);
    std::shared_ptr<int> call_futures_ended = std::make_shared<int>(0);

    Call_future make_future() {
        Promise<std::shared_ptr<Method_call>> promise;
        Call_future future = promise.get_future();
        std::shared_ptr<Method_call> call(static_cast<Method_call*>(nullptr),
                                          [counter = released](Method_call*) { ++*counter; });
        record = call;
        promise.set_value(std::move(call));
        install_cleanup(future.state(), [counter = call_futures_ended] { ++*counter; });
        return future;
    }

    bool alive() const { return !record.expired(); }
};

TEST(Add_cleanup, call_record_lives_until_the_callers_future_is_destroyed) {
    const Method_impl_base method;
    Call_record call;
    auto promise = std::make_shared<Promise<Read_output>>();
    std::optional<Future<Read_output>> future(promise->get_future());

    method.add_cleanup(promise, call.make_future());
    EXPECT_TRUE(call.alive());

    promise->set_value(Read_output{{0x01}, 1});
    promise.reset();  // the handler has run and let go of the promise
    EXPECT_TRUE(call.alive());
    EXPECT_EQ(future->get().counter, 1);
    EXPECT_TRUE(call.alive());  // a consumed future still owns the record
    EXPECT_EQ(*call.call_futures_ended, 0);

    future.reset();
    EXPECT_FALSE(call.alive());
    EXPECT_EQ(*call.released, 1);
    EXPECT_EQ(*call.call_futures_ended, 1);
}

TEST(Add_cleanup, call_record_outlives_a_promise_that_is_never_completed) {
    const Method_impl_base method;
    Call_record call;
    auto promise = std::make_shared<Promise<void>>();
    std::optional<Future<void>> future(promise->get_future());
    method.add_cleanup(promise, call.make_future());

    promise.reset();  // handler dropped uncalled: broken promise
    EXPECT_TRUE(call.alive());
    const auto error = future_error_of([&] { future->get(); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->code(), std::future_errc::broken_promise);
    EXPECT_TRUE(call.alive());

    future.reset();
    EXPECT_FALSE(call.alive());
    EXPECT_EQ(*call.released, 1);
}

TEST(Add_cleanup,
     abandoned_future_releases_the_record_at_once_and_a_late_answer_keeps_nothing_alive) {
    const Method_impl_base method;
    Call_record call;
    auto promise = std::make_shared<Promise<Read_output>>();
    std::optional<Future<Read_output>> future(promise->get_future());
    method.add_cleanup(promise, call.make_future());

    future.reset();  // the job gave up
    EXPECT_FALSE(call.alive());
    EXPECT_EQ(*call.released, 1);
    EXPECT_EQ(*call.call_futures_ended, 1);

    EXPECT_NO_THROW(promise->set_value(Read_output{}));
    promise.reset();
    EXPECT_EQ(*call.released, 1);
    EXPECT_EQ(*call.call_futures_ended, 1);
}

TEST(Add_cleanup, works_when_the_answer_came_before_the_cleanup_was_added) {
    const Method_impl_base method;
    Call_record call;
    auto promise = std::make_shared<Promise<void>>();
    std::optional<Future<void>> future(promise->get_future());
    promise->set_value();

    method.add_cleanup(promise, call.make_future());
    promise.reset();
    EXPECT_TRUE(call.alive());
    future->get();
    future.reset();
    EXPECT_FALSE(call.alive());
    EXPECT_EQ(*call.released, 1);
}

TEST(Add_cleanup, replaces_a_previous_cleanup_destroying_it_without_calling_it) {
    const Method_impl_base method;
    auto promise = std::make_shared<Promise<int>>();
    std::optional<Future<int>> future(promise->get_future());
    int earlier_calls = 0;
    bool earlier_destroyed = false;
    auto witness =
        std::make_shared<On_destruction>([&earlier_destroyed] { earlier_destroyed = true; });
    install_cleanup(future->state(), [witness, &earlier_calls] { ++earlier_calls; });
    witness.reset();

    Call_record call;
    method.add_cleanup(promise, call.make_future());
    EXPECT_TRUE(earlier_destroyed);
    EXPECT_EQ(earlier_calls, 0);
    EXPECT_TRUE(call.alive());

    future.reset();
    EXPECT_EQ(earlier_calls, 0);
    EXPECT_FALSE(call.alive());
}

TEST(Add_cleanup, second_call_releases_the_first_record_and_keeps_the_second) {
    const Method_impl_base method;
    auto promise = std::make_shared<Promise<void>>();
    std::optional<Future<void>> future(promise->get_future());
    Call_record first;
    Call_record second;

    method.add_cleanup(promise, first.make_future());
    method.add_cleanup(promise, second.make_future());
    EXPECT_FALSE(first.alive());
    EXPECT_EQ(*first.released, 1);
    EXPECT_EQ(*first.call_futures_ended, 1);
    EXPECT_TRUE(second.alive());

    future.reset();
    EXPECT_FALSE(second.alive());
    EXPECT_EQ(*second.released, 1);
    EXPECT_EQ(*first.released, 1);
}

// The replaced function goes while the state's mutex is still held by add_cleanup.
TEST(Add_cleanup, destroys_the_replaced_cleanup_with_the_state_mutex_held) {
    const Method_impl_base method;
    auto promise = std::make_shared<Promise<int>>();
    Future<int> future = promise->get_future();
    State* const state = future.state().get();
    std::optional<bool> mutex_free_at_destruction;
    auto witness = std::make_shared<On_destruction>([state, &mutex_free_at_destruction] {
        mutex_free_at_destruction = mutex_is_free(state->mutex);
    });
    install_cleanup(future.state(), [witness] {});
    witness.reset();

    Call_record call;
    method.add_cleanup(promise, call.make_future());
    ASSERT_TRUE(mutex_free_at_destruction.has_value());
    EXPECT_FALSE(*mutex_free_at_destruction);
    EXPECT_TRUE(mutex_is_free(state->mutex));  // and released afterwards
}

TEST(Add_cleanup, raises_no_state_for_a_promise_without_state_and_keeps_no_record) {
    const Method_impl_base method;
    auto promise = std::make_shared<Promise<Read_output>>();
    Promise<Read_output> taken_over(std::move(*promise));
    ASSERT_EQ(promise->state(), nullptr);  // NOLINT(bugprone-use-after-move): that is the subject

    Call_record call;
    const auto error = future_error_of([&] { method.add_cleanup(promise, call.make_future()); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->code(), std::future_errc::no_state);
    EXPECT_FALSE(call.alive());
    EXPECT_EQ(*call.released, 1);

    // The state that moved on got no cleanup.
    std::lock_guard<std::mutex> lock(taken_over.state()->mutex);
    EXPECT_FALSE(taken_over.state()->cleanup);
}

TEST(Add_cleanup, installs_one_function_in_the_cleanup_slot_of_the_promise_state) {
    const Method_impl_base method;
    auto promise = std::make_shared<Promise<Read_output>>();
    Future<Read_output> future = promise->get_future();
    Call_record call;
    method.add_cleanup(promise, call.make_future());
    std::lock_guard<std::mutex> lock(promise->state()->mutex);
    EXPECT_TRUE(promise->state()->cleanup);
    EXPECT_FALSE(promise->state()->continuation);
}

}  // namespace

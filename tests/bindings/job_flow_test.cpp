// The parts all jobs share: the polling loop's order (answer before flag, then the timed wait),
// forgetting a stale cancel, and cancel with its kept future, on fake proxies. Every polling
// loop runs on a thread of its own and is waited for with a bound (bounded_wait.h).

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <future>
#include <memory>
#include <mutex>

#include "bindings/job_flow.h"
#include "job_test_support.h"

namespace {

using namespace talm::services::diag;
using namespace zevo::test;

const Meta_info meta_info{{"service_id", "0x22"}, {"tester_address", "0x0E80"}};

/// wait_for_answer on a thread of its own; a hung wait is released by `release`.
template <class T, class Release>
bool wait_for_answer_within_bound(const kel::com::Future<T>& future, const std::atomic<bool>& cancel_requested,
                                  Release release) {
    return run_in_background(
               "wait_for_answer", [&] { return job_flow::wait_for_answer(future, cancel_requested); }, release)
        .finish();
}

TEST(job_flow_wait, an_answer_that_is_there_is_taken_even_with_the_flag_set) {
    kel::com::Promise<int> promise;
    const kel::com::Future<int> future = promise.get_future();
    promise.set_value(7);
    const std::atomic<bool> cancel_requested{true};
    EXPECT_TRUE(wait_for_answer_within_bound(future, cancel_requested, [] {}));
}

TEST(job_flow_wait, the_flag_ends_the_wait_when_no_answer_is_there) {
    kel::com::Promise<void> promise;
    const kel::com::Future<void> future = promise.get_future();
    const std::atomic<bool> cancel_requested{true};
    EXPECT_FALSE(wait_for_answer_within_bound(future, cancel_requested, [&promise] { promise.set_value(); }));
}

TEST(job_flow_wait, a_future_without_shared_state_raises_no_state_in_the_timed_wait) {
    const kel::com::Future<void> empty;
    std::atomic<bool> cancel_requested{false};
    try {
        static_cast<void>(wait_for_answer_within_bound(empty, cancel_requested, [&] { cancel_requested.store(true); }));
        FAIL() << "no exception";
    } catch (const std::future_error& error) {
        EXPECT_EQ(error.code(), std::future_errc::no_state);
    }
}

TEST(job_flow_wait, a_future_without_shared_state_tests_not_ready_and_the_flag_comes_first) {
    const kel::com::Future<void> empty;
    const std::atomic<bool> cancel_requested{true};
    EXPECT_FALSE(wait_for_answer_within_bound(empty, cancel_requested, [] {}));
}

// Nothing can release a loop that ignored the flag here: such a hang ends the program.
TEST(job_flow_wait, a_deferred_result_counts_as_not_ready_and_is_never_run) {
    bool ran = false;
    const kel::com::Future<int> deferred(std::async(std::launch::deferred, [&ran] { ran = true; return 1; }),
                                         std::make_shared<kel::com::future_detail::State>());
    const std::atomic<bool> cancel_requested{true};
    EXPECT_FALSE(wait_for_answer_within_bound(deferred, cancel_requested, [] {}));
    EXPECT_FALSE(ran);
}

TEST(job_flow_wait, an_answer_from_another_thread_ends_the_wait) {
    kel::com::Promise<void> promise;
    const kel::com::Future<void> future = promise.get_future();
    std::atomic<bool> cancel_requested{false};
    auto waiter = run_in_background("wait_for_answer",
                                    [&] { return job_flow::wait_for_answer(future, cancel_requested); },
                                    [&] { cancel_requested.store(true); });
    promise.set_value();
    EXPECT_TRUE(waiter.finish());
}

TEST(job_flow_wait, a_promise_broken_on_another_thread_ends_the_wait) {
    auto promise = std::make_unique<kel::com::Promise<void>>();
    kel::com::Future<void> future = promise->get_future();
    std::atomic<bool> cancel_requested{false};
    auto waiter = run_in_background("wait_for_answer",
                                    [&] { return job_flow::wait_for_answer(future, cancel_requested); },
                                    [&] { cancel_requested.store(true); });
    promise.reset();
    EXPECT_TRUE(waiter.finish());
    EXPECT_THROW(future.get(), std::future_error) << "broken_promise, looked at after the wait is over";
}

TEST(job_flow_stale_cancel, a_set_flag_is_cleared_and_a_clear_one_stays) {
    std::atomic<bool> cancel_requested{true};
    job_flow::forget_stale_cancel(cancel_requested);
    EXPECT_FALSE(cancel_requested.load());
    job_flow::forget_stale_cancel(cancel_requested);
    EXPECT_FALSE(cancel_requested.load());
}

using Data_proxy = Fake_data_identifier_proxy<d_2c56::DataIdentifier_ZevoTrainingCounter>;
using Routine_proxy = Fake_routine_proxy<r_0648::RoutineService_ZevoDebug>;

TEST(job_flow_cancel, without_proxy_returns_0_and_leaves_the_flag_as_it_was) {
    Job_members members;
    Data_proxy* const no_proxy = nullptr;
    EXPECT_EQ(job_flow::cancel(no_proxy, members.cancel_requested, members.cancel_result, meta_info), 0);
    EXPECT_FALSE(members.cancel_requested.load());
    members.cancel_requested.store(true);
    EXPECT_EQ(job_flow::cancel(no_proxy, members.cancel_requested, members.cancel_result, meta_info), 0);
    EXPECT_TRUE(members.cancel_requested.load());
    EXPECT_EQ(members.cancel_result, nullptr);
}

TEST(job_flow_cancel, calls_Cancel_with_meta_info_keeps_its_future_unread_and_sets_the_flag) {
    Job_members members;
    Routine_proxy proxy;
    EXPECT_EQ(job_flow::cancel(&proxy, members.cancel_requested, members.cancel_result, meta_info), 1);
    ASSERT_EQ(proxy.Cancel.impl->calls().size(), 1U);
    EXPECT_EQ(std::get<0>(proxy.Cancel.impl->calls()[0]), meta_info);
    EXPECT_TRUE(proxy.RequestResults.impl->calls().empty());
    EXPECT_TRUE(proxy.Start.impl->calls().empty());
    ASSERT_NE(members.cancel_result, nullptr);
    EXPECT_TRUE(members.cancel_result->valid()) << "kept, never waited for and never taken";
    EXPECT_TRUE(members.cancel_requested.load());
}

// The service hears of the cancel before the local job is released: inside the Cancel call the
// flag is still clear, for a data identifier and a routine alike.
TEST(job_flow_cancel, the_Cancel_call_is_made_before_the_flag_is_set) {
    Job_members members;
    Data_proxy data;
    Routine_proxy routine;
    int heard = 0;
    const auto flag_still_clear = [&](kel::com::Promise<void>&) {
        ++heard;
        EXPECT_FALSE(members.cancel_requested.load()) << "the flag was set before the Cancel call";
    };
    data.Cancel.impl->set_hook(flag_still_clear);
    routine.Cancel.impl->set_hook(flag_still_clear);

    EXPECT_EQ(job_flow::cancel(&data, members.cancel_requested, members.cancel_result, meta_info), 1);
    EXPECT_TRUE(members.cancel_requested.load());
    members.cancel_requested.store(false);  // as the next job's start would
    EXPECT_EQ(job_flow::cancel(&routine, members.cancel_requested, members.cancel_result, meta_info), 1);
    EXPECT_TRUE(members.cancel_requested.load());
    EXPECT_EQ(heard, 2);
}

TEST(job_flow_cancel, a_throwing_Cancel_call_still_returns_1_and_sets_the_flag) {
    Job_members members;
    Data_proxy proxy;
    proxy.Cancel.impl->set_hook([](kel::com::Promise<void>&) { throw ruv::com::Service_not_available_exception(); });
    EXPECT_EQ(job_flow::cancel(&proxy, members.cancel_requested, members.cancel_result, meta_info), 1);
    EXPECT_TRUE(members.cancel_requested.load());
    EXPECT_EQ(members.cancel_result, nullptr);
    EXPECT_EQ(proxy.Cancel.impl->calls().size(), 1U);
}

// Counts the destruction of the futures of Cancel calls through their cleanup slot.
struct Destruction_counter {
    void watch(kel::com::Promise<void>& promise) {
        std::lock_guard<std::mutex> lock(promise.state()->mutex);
        promise.state()->cleanup = [this] { ++destroyed; };
    }
    std::atomic<int> destroyed{0};
};

TEST(job_flow_cancel, a_second_cancel_replaces_and_destroys_the_future_of_the_first) {
    Destruction_counter counter;  // outlives the futures it watches
    Job_members members;
    Data_proxy proxy;
    proxy.Cancel.impl->set_hook([&counter](kel::com::Promise<void>& promise) { counter.watch(promise); });

    EXPECT_EQ(job_flow::cancel(&proxy, members.cancel_requested, members.cancel_result, meta_info), 1);
    EXPECT_EQ(counter.destroyed.load(), 0);
    EXPECT_EQ(job_flow::cancel(&proxy, members.cancel_requested, members.cancel_result, meta_info), 1);
    EXPECT_EQ(counter.destroyed.load(), 1) << "the first future is gone";
    EXPECT_NE(members.cancel_result, nullptr);
    EXPECT_EQ(members.cancel_result->state(), proxy.Cancel.impl->promise(1)->state()) << "the second is kept";
}

TEST(job_flow_cancel, a_throwing_second_Cancel_call_keeps_the_first_future) {
    Destruction_counter counter;  // outlives the futures it watches
    Job_members members;
    Data_proxy proxy;
    proxy.Cancel.impl->set_hook([&counter](kel::com::Promise<void>& promise) { counter.watch(promise); });
    EXPECT_EQ(job_flow::cancel(&proxy, members.cancel_requested, members.cancel_result, meta_info), 1);

    proxy.Cancel.impl->set_hook([](kel::com::Promise<void>&) { throw ruv::com::Service_not_available_exception(); });
    members.cancel_requested.store(false);
    EXPECT_EQ(job_flow::cancel(&proxy, members.cancel_requested, members.cancel_result, meta_info), 1);
    EXPECT_TRUE(members.cancel_requested.load());
    EXPECT_EQ(counter.destroyed.load(), 0);
    ASSERT_NE(members.cancel_result, nullptr);
    EXPECT_EQ(members.cancel_result->state(), proxy.Cancel.impl->promise(0)->state());
}

}  // namespace

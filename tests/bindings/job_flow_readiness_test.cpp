// The polling loop's readiness look must stay a look: on a pending future it answers from the
// shared state without a sleep in the kernel, which a voluntary context switch of the calling
// thread would betray. And the slice between two looks at the cancel flag is exactly 1 ms.

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <chrono>
#include <string>
#include <type_traits>

#include "bindings/job_flow.h"
#include "proxy/promise.h"

namespace {

using namespace ruv::dm::foundation::extension;

long voluntary_switches_of_this_thread() {
    rusage usage{};
    if (getrusage(RUSAGE_THREAD, &usage) != 0) {
        ADD_FAILURE() << "getrusage(RUSAGE_THREAD) failed";
    }
    return usage.ru_nvcsw;
}

TEST(job_flow_readiness, a_look_at_a_pending_future_never_sleeps) {
    // A look that sleeps gives up the processor at every look. Something outside the look (a page
    // fault that waits for a lock, say) can cost a single switch now and then, so the looks come in
    // rounds and one round without a switch is the proof; every round's count is reported.
    kel::com::Promise<int> promise;
    const kel::com::Future<int> future = promise.get_future();
    constexpr int looks = 10'000;
    constexpr int rounds = 5;
    int ready = 0;
    std::string counts;
    bool a_round_never_switched = false;
    for (int round = 0; round < rounds && !a_round_never_switched; ++round) {
        const long before = voluntary_switches_of_this_thread();
        for (int look = 0; look < looks; ++look) {
            ready += job_flow::is_ready(future) ? 1 : 0;
        }
        const long switches = voluntary_switches_of_this_thread() - before;
        counts += (counts.empty() ? "" : ", ") + std::to_string(switches);
        a_round_never_switched = switches == 0;
    }
    EXPECT_EQ(ready, 0);
    EXPECT_TRUE(a_round_never_switched) << "the readiness look gave up the processor in every round of " << looks
                                        << " looks: " << counts;
    promise.set_value(1);
}

TEST(job_flow_readiness, a_look_at_an_answered_future_says_ready_without_taking_the_value) {
    kel::com::Promise<int> promise;
    kel::com::Future<int> future = promise.get_future();
    promise.set_value(42);
    EXPECT_TRUE(job_flow::is_ready(future));
    EXPECT_TRUE(job_flow::is_ready(future));
    EXPECT_EQ(future.get(), 42);
}

TEST(job_flow_readiness, a_future_without_shared_state_is_not_ready_and_does_not_throw) {
    const kel::com::Future<void> empty;
    EXPECT_FALSE(job_flow::is_ready(empty));
}

TEST(job_flow_readiness, the_polling_slice_is_exactly_1000000_ns) {
    static_assert(std::is_same_v<std::remove_const_t<decltype(job_flow::polling_period)>, std::chrono::nanoseconds>);
    EXPECT_EQ(job_flow::polling_period.count(), 1'000'000);
}

}  // namespace

#pragma once
// What the job tests share: the fake proxies, the record samples, the bounded wait for a job run
// on another thread, and the names of the flows and of the runtime's failures. Included by test
// sources only.

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <thread>

#include "bounded_wait.h"
#include "extension/uds_response_code.h"
#include "fake_proxy.h"
#include "record_samples.h"
#include "tests/support/kernel_thread.h"
#include "ruv/com/infrastructure_exception.h"

namespace zevo::test {

namespace job_flow = ruv::dm::foundation::extension::job_flow;
using ruv::dm::types::UDSResponseCodeType;

/// How soon a job must return after a cancel that meets it blocked: the polling slice is 1 ms,
/// the rest is room for a loaded machine and the sanitizers. The precise figure is measured by
/// the job wait benchmark, not here.
constexpr std::chrono::microseconds cancel_latency_bound{50'000};
/// How many cancels each latency test times.
constexpr std::size_t cancel_latency_rounds = 5;

using test_support::kernel_thread_id;

/// Waits until thread `thread` of this process sleeps in the kernel: a job that sleeps there has
/// made its call and passed its first look at the cancel flag, so a cancel from now on is seen
/// only when a slice of its timed wait ends. False when it does not sleep within hang_bound.
inline bool sleeping_within_bound(pid_t thread) { return test_support::sleeping_within(thread, hang_bound); }

/// Microseconds from `from` to `to`, for messages that read as numbers.
inline std::int64_t microseconds_between(std::chrono::steady_clock::time_point from,
                                         std::chrono::steady_clock::time_point to) {
    return std::chrono::duration_cast<std::chrono::microseconds>(to - from).count();
}

/// Waits for call number `index` (from 0) of `method`, made by `job` on its own thread, hands
/// that call's promise to `meet` on this thread, then returns `job`'s answer: how a test
/// completes, breaks or cancels a call from another thread than the job's. A call that never
/// comes fails the test and releases the job at once.
template <class R, class Signature, class Meet>
R finish_after_call(Background_job<R>& job, const Fake_call<Signature>& method, std::size_t index,
                    const std::string& method_name, Meet&& meet) {
    if (!method.wait_for_calls(index + 1)) {
        ADD_FAILURE() << method_name << " was never called";
        return job.finish(std::chrono::seconds(0));
    }
    meet(*method.promise(index));
    return job.finish();
}

}  // namespace zevo::test

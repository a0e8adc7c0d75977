#pragma once
// The three waiters job_wait_bench compares: the read job in job_flow's polling loop, the same
// loop written directly on a std::future, and a std::future waited without slices. Each waits on
// the main thread (wait_*) and is answered or cancelled from the answering thread (answer, cancel).

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <future>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "bench/fake_service_proxy.h"
#include "bench/measurement.h"
#include "bindings/d_2c56/DataIdentifier_ZevoTrainingCounter.h"
#include "bindings/data_identifier_job.h"
#include "bindings/job_flow.h"
#include "proxy/future.h"
#include "proxy/promise.h"

namespace zevo::bench {

namespace job_flow = ruv::dm::foundation::extension::job_flow;
using Interface = talm::services::diag::d_2c56::DataIdentifier_ZevoTrainingCounter;
using Output = Interface::Read::Output;

inline const Output planned_answer{0x5A, 0x1234};

/// How long the answering thread lets a call wait before it acts: 0.1 to 1.0 ms in ten steps, so
/// that the actions fall on every phase of a 1 ms slice, always with the waiter asleep.
inline Clock::duration action_delay(std::size_t round) {
    return std::chrono::microseconds(100 * static_cast<long>(1 + round % 10));
}

/// Takes a call's promise, lets the call wait `delay`, completes it; gives the moment it did.
template <class Promise_type>
Clock::time_point answer_after(Promise_slot<Promise_type>& pending, Clock::duration delay) {
    const auto promise = pending.take();
    Output value = planned_answer;
    std::this_thread::sleep_for(delay);
    const auto acted = Clock::now();
    promise->set_value(std::move(value));
    return acted;
}

/// A read of the 0x2C56 shape against the fake service, with the two members its extension keeps.
class Job_waiter {
public:
    Job_waiter() : proxy_(pending_) {}
    Job_waiter(const Job_waiter&) = delete;
    Job_waiter& operator=(const Job_waiter&) = delete;
    ~Job_waiter() { delete cancel_result_; }

    /// Main thread. True when the read answered 0 with its three bytes.
    bool wait_answered() { return read() == 0 && response_.size() == 3; }
    /// Main thread. True when the read answered 0 and wrote nothing.
    bool wait_cancelled() { return read() == 0 && response_.empty(); }

    /// Answering thread.
    Clock::time_point answer(Clock::duration delay) { return answer_after(pending_, delay); }

    /// Answering thread. The promise is held until the next call: dropping it while the job
    /// waits would break the future and end the job by an answer instead.
    Clock::time_point cancel(Clock::duration delay) {
        unanswered_ = pending_.take();
        std::this_thread::sleep_for(delay);
        const auto acted = Clock::now();
        static_cast<void>(job_flow::cancel(&proxy_, cancel_requested_, cancel_result_, meta_info_));
        return acted;
    }

private:
    ruv::dm::types::UDSResponseCodeType read() {
        response_.clear();
        return job_flow::read<Interface>(&proxy_, cancel_requested_, meta_info_, response_);
    }

    const Meta_info meta_info_{{"tester", "job_wait_bench"}};
    Promise_slot<kel::com::Promise<Output>> pending_;
    Fake_data_identifier_proxy<Interface> proxy_;
    std::atomic<bool> cancel_requested_{false};                  // the only link between the threads
    kel::com::Future<void>* cancel_result_ = nullptr;            // owned; answering thread only
    std::shared_ptr<kel::com::Promise<Output>> unanswered_;      // answering thread only
    std::vector<std::uint8_t> response_;                         // main thread only
};

/// job_flow's polling loop written directly on a std::future: 1 ms slices on system_clock, a
/// zero-length look first in every pass, an atomic flag in between. Counts its passes.
class Bare_loop_waiter {
public:
    /// Main thread.
    bool wait_answered() {
        std::future<Output> future = call();
        return wait_for_answer(future) && future.get().field_2 == planned_answer.field_2;
    }
    /// Main thread.
    bool wait_cancelled() {
        const std::future<Output> future = call();
        return !wait_for_answer(future);
    }
    /// Main thread: passes of the loop so far.
    std::size_t passes() const { return passes_; }

    /// Answering thread.
    Clock::time_point answer(Clock::duration delay) { return answer_after(pending_, delay); }
    /// Answering thread; holds the promise as Job_waiter::cancel does.
    Clock::time_point cancel(Clock::duration delay) {
        unanswered_ = pending_.take();
        std::this_thread::sleep_for(delay);
        const auto acted = Clock::now();
        cancel_requested_.store(true, std::memory_order_release);
        return acted;
    }

private:
    std::future<Output> call() {
        job_flow::forget_stale_cancel(cancel_requested_);
        auto promise = std::make_shared<std::promise<Output>>();
        std::future<Output> future = promise->get_future();
        pending_.put(std::move(promise));
        return future;
    }

    bool wait_for_answer(const std::future<Output>& future) {
        for (;;) {
            ++passes_;
            if (future.wait_for(std::chrono::nanoseconds::zero()) == std::future_status::ready) {
                return true;
            }
            if (cancel_requested_.load(std::memory_order_acquire)) {
                return false;
            }
            static_cast<void>(future.wait_until(std::chrono::system_clock::now() + job_flow::polling_period));
        }
    }

    Promise_slot<std::promise<Output>> pending_;
    std::atomic<bool> cancel_requested_{false};              // the only link between the threads
    std::shared_ptr<std::promise<Output>> unanswered_;       // answering thread only
    std::size_t passes_ = 0;                                 // main thread only
};

/// A std::future waited without slices: std::future::get until the answer.
class Bare_future_waiter {
public:
    /// Main thread.
    bool wait_answered() {
        auto promise = std::make_shared<std::promise<Output>>();
        std::future<Output> future = promise->get_future();
        pending_.put(std::move(promise));
        return future.get().field_2 == planned_answer.field_2;
    }
    /// Answering thread.
    Clock::time_point answer(Clock::duration delay) { return answer_after(pending_, delay); }

private:
    Promise_slot<std::promise<Output>> pending_;
};

}  // namespace zevo::bench

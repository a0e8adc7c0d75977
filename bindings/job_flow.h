#pragma once
// What every job of the ten extensions shares, over any proxy face: forgetting a stale cancel,
// the polling loop that waits for a call's answer while watching the cancel flag, and cancel.
// A job blocks its host thread; cancel comes on another and meets the job only through the flag.

#include <atomic>
#include <chrono>
#include <cstdint>
#include <future>
#include <utility>
#include <vector>

#include "bindings/uds_record.h"
#include "extension/meta_info.h"
#include "extension/proxy_guard.h"
#include "extension/serialize.h"
#include "extension/uds_response_code.h"
#include "proxy/future.h"

namespace ruv::dm::foundation::extension::job_flow {

/// The slice a polling job sleeps between two looks at its cancel flag. A completion ends the
/// slice at once, so it only bounds how late a cancellation is seen.
constexpr std::chrono::nanoseconds polling_period{1'000'000};

/// A cancel that came before this job started is forgotten: a job is never born cancelled.
inline void forget_stale_cancel(std::atomic<bool>& cancel_requested) noexcept {
    if (cancel_requested.load(std::memory_order_acquire)) {
        cancel_requested.store(false, std::memory_order_release);
    }
}

/// The readiness look of each pass. A zero-length wait answers from the shared state's status
/// and never enters the kernel (a wait until an absolute time already past would still arm a
/// timer and sleep); a future missing either state reference, or a deferred one, is not ready.
template <class T>
bool is_ready(const kel::com::Future<T>& future) {
    return future.valid() && future.wait_for(std::chrono::nanoseconds::zero()) == std::future_status::ready;
}

/// Polls until the call is answered (true) or a cancel is seen (false). The readiness test comes
/// before the flag in every pass, so an answer that is there is taken even beside a cancel.
template <class T>
bool wait_for_answer(const kel::com::Future<T>& future, const std::atomic<bool>& cancel_requested) {
    for (;;) {
        if (is_ready(future)) {
            return true;
        }
        if (cancel_requested.load(std::memory_order_acquire)) {
            return false;
        }
        // Throws std::future_error(no_state) when the standard future has no shared state; the
        // outcome of the wait itself is the next pass's business.
        static_cast<void>(future.wait_until(std::chrono::system_clock::now() + polling_period));
    }
}

/// Waits for a call without result and surfaces its stored exception. The future goes with
/// this function, read or unread.
inline void await_completion(kel::com::Future<void> future, const std::atomic<bool>& cancel_requested) {
    if (wait_for_answer(future, cancel_requested)) {
        future.get();
    }
}

/// Waits for a call's Output and appends it to `response` as a UDS record; when a cancel comes
/// first, or the answer is an exception, `response` stays as it was.
template <class Output>
void append_answer(kel::com::Future<Output> future, const std::atomic<bool>& cancel_requested,
                   std::vector<std::uint8_t>& response) {
    if (!wait_for_answer(future, cancel_requested)) {
        return;
    }
    const Output output = future.get();
    Serialize record(response);
    uds_record::write_record(record, output);
}

/// Tells the service to cancel, then releases the blocked job: 1, also when the service could
/// not be told; 0 without a proxy, and then the flag stays as it is. The Cancel call's future is
/// kept unread until the next cancel or the object's end. Not to be run twice at once.
template <class Proxy>
types::UDSResponseCodeType cancel(Proxy* const& proxy, std::atomic<bool>& cancel_requested,
                                  kel::com::Future<void>*& cancel_result, const Meta_info& meta_info) noexcept {
    bool attached = false;
    try {
        use_proxy(proxy, [&](Proxy* current) {
            if (current == nullptr) {
                return;
            }
            attached = true;
            kel::com::Future<void> issued = (*current->Cancel.impl)(meta_info);
            delete std::exchange(cancel_result, new kel::com::Future<void>(std::move(issued)));
        });
    } catch (...) {
        // What the remote side hears of it is not examined; the local job is released anyway.
    }
    if (!attached) {
        return 0;
    }
    cancel_requested.store(true, std::memory_order_release);
    return 1;
}

}  // namespace ruv::dm::foundation::extension::job_flow

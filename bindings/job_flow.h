#pragma once
// The steps every job of the ten extensions shares, written once over any proxy type. A job runs
// on the host's thread; cancel comes from another host thread and meets it only through the
// atomic flag.

#include <atomic>

#include "extension/uds_response_code.h"

namespace ruv::dm::foundation::extension::job_flow {

/// A cancel that came before this job started is forgotten: a job is never born cancelled.
inline void forget_stale_cancel(std::atomic<bool>& cancel_requested) noexcept {
    if (cancel_requested.load(std::memory_order_acquire)) {
        cancel_requested.store(false, std::memory_order_release);
    }
}

/// A job reaches its service only through proxy_, and only discovery sets it; this build has no
/// discovery and no request path yet, so every job answers as without a service: generalReject.
template <class Proxy>
types::UDSResponseCodeType run(const Proxy* /*proxy*/, std::atomic<bool>& cancel_requested) noexcept {
    forget_stale_cancel(cancel_requested);
    return types::general_reject;
}

/// Without a proxy there is nothing to cancel on: 0, and the flag stays as it is.
template <class Proxy>
types::UDSResponseCodeType cancel(const Proxy* /*proxy*/) noexcept {
    return 0;
}

}  // namespace ruv::dm::foundation::extension::job_flow

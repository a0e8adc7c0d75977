#pragma once
// What all services offered through one registry share for their calls: the runtime whose
// threads carry them and the request timeout. The runtime never changes; the timeout is atomic
// and may be changed from any thread, for calls made afterwards.

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <utility>

#include "ruv/com/runtime/runtime.h"

namespace ruv::com::local::detail {

class Call_settings {
public:
    /// `runtime` must not be null.
    Call_settings(std::shared_ptr<runtime::Runtime> runtime, std::chrono::milliseconds timeout) noexcept
        : runtime_(std::move(runtime)), timeout_ms_(timeout.count()) {}

    const std::shared_ptr<runtime::Runtime>& runtime() const noexcept { return runtime_; }

    /// Zero or less: calls never time out.
    std::chrono::milliseconds timeout() const noexcept {
        return std::chrono::milliseconds{timeout_ms_.load(std::memory_order_relaxed)};
    }
    void set_timeout(std::chrono::milliseconds timeout) noexcept {
        timeout_ms_.store(timeout.count(), std::memory_order_relaxed);
    }

private:
    const std::shared_ptr<runtime::Runtime> runtime_;
    std::atomic<std::chrono::milliseconds::rep> timeout_ms_;
};

}  // namespace ruv::com::local::detail

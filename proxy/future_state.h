#pragma once
// The third object of a kel::com future/promise pair: two function slots and the mutex that
// guards them. Shared by the promise, its future and (through the cleanup slot) the runtime's
// call record. Any thread may touch it, always under `mutex`.

#include <functional>
#include <mutex>

namespace kel::com::future_detail {

struct State {
    /// Guards both slots; completing the promise and taking the continuation are one step under it.
    std::mutex mutex;
    /// Lives as long as the future and runs once when the future goes away. Guarded by `mutex`.
    std::function<void()> cleanup;
    /// Runs once when the promise gets a value or an exception. Guarded by `mutex`.
    std::function<void()> continuation;
};

}  // namespace kel::com::future_detail

#pragma once
// kel::com::Future: what a method call hands back to its caller. A std::future plus the shared
// future_detail::State. The wait, the value and the exception are the standard future's own;
// destroying a Future also drops the continuation and runs the cleanup, without waiting.
//
// Layout (standard object first, shared state second) is shared with the platform, which fills
// Future<std::shared_ptr<Method_call>> itself. Move-only; one thread at a time per object.
// Throws std::future_error(no_state) from wait_for, wait_until and get on an empty future.

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <utility>

#include "proxy/future_state.h"

namespace kel::com {

template <class T>
class Future {
public:
    Future() noexcept = default;
    Future(std::future<T> future, std::shared_ptr<future_detail::State> state) noexcept
        : future_(std::move(future)), state_(std::move(state)) {}

    Future(Future&& other) noexcept = default;
    Future& operator=(Future&& other) noexcept {
        if (this == &other) {
            return *this;
        }
        Future old(std::move(*this));  // the overwritten future ends as if destroyed
        future_ = std::move(other.future_);
        state_ = std::move(other.state_);
        return *this;
    }
    Future(const Future&) = delete;
    Future& operator=(const Future&) = delete;

    /// Drops the continuation, then runs and destroys the cleanup outside the lock. A throwing
    /// cleanup is dropped; anything else that goes wrong ends the process.
    ~Future() {
        if (!state_) {
            return;
        }
        std::function<void()> cleanup;
        {
            std::lock_guard<std::mutex> lock(state_->mutex);
            state_->continuation = nullptr;  // a future that is gone wants no call
            cleanup.swap(state_->cleanup);
        }
        if (cleanup) {
            try {
                cleanup();
            } catch (...) {  // the cleanup's failure is not the owner's business
            }
        }
    }  // cleanup destroyed, then state_, then future_

    bool valid() const noexcept { return state_ != nullptr && future_.valid(); }

    template <class Rep, class Period>
    std::future_status wait_for(const std::chrono::duration<Rep, Period>& timeout) const {
        check_state();
        return future_.wait_for(timeout);
    }

    template <class Clock, class Duration>
    std::future_status wait_until(const std::chrono::time_point<Clock, Duration>& deadline) const {
        check_state();
        return future_.wait_until(deadline);
    }

    /// Blocks until ready, rethrows a stored exception; afterwards the standard future is empty.
    T get() {
        check_state();
        return future_.get();
    }

    /// Installs a function to run once when the promise is completed, on the completing thread.
    /// If the result is already there it runs at once on this thread. Install it while the
    /// promise is alive or complete: a promise in the middle of its destruction without a
    /// continuation breaks the standard state after it has looked at the slot.
    void set_continuation(std::function<void()> continuation) {
        check_state();
        if (!state_) {
            throw std::future_error(std::future_errc::no_state);
        }
        std::unique_lock<std::mutex> lock(state_->mutex);
        if (future_.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
            state_->continuation.swap(continuation);
            lock.unlock();
            return;  // a replaced continuation is destroyed here, outside the lock
        }
        lock.unlock();
        continuation();
    }

    /// The shared state, for whoever ties a lifetime to this future's end.
    const std::shared_ptr<future_detail::State>& state() const noexcept { return state_; }

private:
    void check_state() const {
        if (!future_.valid()) {
            throw std::future_error(std::future_errc::no_state);
        }
    }

    std::future<T> future_;
    std::shared_ptr<future_detail::State> state_;
};

}  // namespace kel::com

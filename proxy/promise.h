#pragma once
// kel::com::Promise: what a method's response handler completes. A std::promise plus the shared
// future_detail::State. Completion stores the result under State::mutex and then runs the
// continuation outside it; a promise destroyed unset with a continuation stores broken_promise
// and runs the continuation on the destroying thread.
//
// Lives in std::make_shared storage, owned by the response handler; completed on a runtime
// thread. Every operation on a promise without state throws std::future_error(no_state).

#include <exception>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <type_traits>
#include <utility>

#include "proxy/future.h"
#include "proxy/future_state.h"

namespace kel::com {

namespace future_detail {
struct No_value {};
}  // namespace future_detail

template <class T>
class Promise {
    using Value = std::conditional_t<std::is_void_v<T>, future_detail::No_value, T>;

public:
    Promise() : promise_(), state_(std::make_shared<future_detail::State>()) {}
    Promise(Promise&&) noexcept = default;  // the moved-from promise has no state
    Promise& operator=(Promise&&) = delete;
    Promise(const Promise&) = delete;
    Promise& operator=(const Promise&) = delete;

    /// A promise destroyed unset with a continuation breaks the future and runs the
    /// continuation here. Whatever throws on that path ends the process.
    ~Promise() {
        if (state_) {
            std::unique_lock<std::mutex> lock(state_->mutex);
            if (state_->continuation) {
                promise_.set_exception(
                    std::make_exception_ptr(std::future_error(std::future_errc::broken_promise)));
                std::function<void()> continuation;
                continuation.swap(state_->continuation);
                lock.unlock();
                continuation();
            }
        }
    }  // state_ released, then promise_: the standard destructor breaks a still-pending future

    /// Second call: future_already_retrieved.
    Future<T> get_future() {
        require_state();
        return Future<T>(promise_.get_future(), state_);
    }

    void set_value() {
        static_assert(std::is_void_v<T>, "set_value() completes a Promise<void>");
        complete([this] { promise_.set_value(); });
    }

    void set_value(Value&& value) {
        static_assert(!std::is_void_v<T>, "a Promise<void> is completed without a value");
        complete([this, &value] { promise_.set_value(std::move(value)); });
    }

    void set_exception(std::exception_ptr error) {
        complete([this, &error] { promise_.set_exception(std::move(error)); });
    }

    /// The shared state, for Method_impl_base::add_cleanup.
    const std::shared_ptr<future_detail::State>& state() const noexcept { return state_; }

private:
    void require_state() const {
        if (!state_) {
            throw std::future_error(std::future_errc::no_state);
        }
    }

    // Stores the result and takes the continuation as one locked step, then runs the
    // continuation with no lock held. A second completion throws promise_already_satisfied
    // and leaves the first result and the continuation slot as they were.
    template <class Store>
    void complete(Store&& store) {
        require_state();
        std::function<void()> continuation;
        {
            std::lock_guard<std::mutex> lock(state_->mutex);
            store();
            continuation.swap(state_->continuation);
        }
        if (continuation) {
            continuation();
        }
    }

    std::promise<T> promise_;
    std::shared_ptr<future_detail::State> state_;
};

}  // namespace kel::com

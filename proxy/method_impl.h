#pragma once
// The object behind one method of a proxy. operator() is the request path: it returns a future
// bound to this one call without waiting, and may run on several host threads at once.
// Method_impl_base::add_cleanup ties the runtime's call record to the caller's future.

#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <utility>

#include "proxy/future.h"
#include "proxy/promise.h"
#include "ruv/com/cpp_binding/proxy/rport.h"

namespace ruv::com::cpp_binding::proxy {

class Method_impl_base {
public:
    /// Makes the caller's future own `call` (the runtime's call record): the cleanup slot of the
    /// promise's state gets an empty function whose closure holds the only reference to it.
    /// Throws std::future_error(no_state) when the promise has no state.
    template <class Promise_pointer>
    void add_cleanup(Promise_pointer promise,
                     kel::com::Future<std::shared_ptr<kel::com::runtime::Method_call>> call) const {
        auto record = std::make_shared<kel::com::Future<std::shared_ptr<kel::com::runtime::Method_call>>>(
            std::move(call));
        std::function<void()> cleanup = [record] { static_cast<void>(record); };
        const auto& state = promise->state();
        if (!state) {
            throw std::future_error(std::future_errc::no_state);
        }
        std::lock_guard<std::mutex> lock(state->mutex);
        state->cleanup.swap(cleanup);
        cleanup = nullptr;  // what stood there goes with the lock held
    }
};

template <class Tag, bool, class Signature>
class Method_impl;

template <class Tag, class R, class... Args>
class Method_impl<Tag, false, R(Args...)> : private Method_impl_base {
public:
    explicit Method_impl(Rport* rport) noexcept : port_(rport) {}
    Method_impl(const Method_impl&) = delete;
    Method_impl& operator=(const Method_impl&) = delete;
    virtual ~Method_impl() = default;

    kel::com::Future<R> operator()(Args... args) const;

private:
    Rport* port_;  ///< not owned; the proxy's port outlives its methods
};

}  // namespace ruv::com::cpp_binding::proxy

#pragma once
// Test-side proxies with the face the jobs call (Cancel, Read / RequestResults, Start, each an
// `impl` returning a kel::com::Future). A call, on any thread, records its arguments and promise,
// wakes waiters and runs the test's hook on the calling thread; the test completes the promises.
// Waiting for a call is bounded, so a job that never makes its call fails the test in seconds.

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <tuple>
#include <type_traits>
#include <vector>

#include "bounded_wait.h"
#include "extension/meta_info.h"
#include "proxy/future.h"
#include "proxy/promise.h"

namespace zevo::test {

using ruv::dm::foundation::extension::Meta_info;

template <class Signature>
class Fake_call;

template <class R, class... Args>
class Fake_call<R(const Meta_info&, Args...)> {
public:
    /// Copies of what one call was given, meta_info first.
    using Arguments = std::tuple<Meta_info, std::decay_t<Args>...>;
    /// Runs on the calling thread before the future is handed back; may complete the promise or
    /// throw, as a refusing proxy does.
    using Hook = std::function<void(kel::com::Promise<R>&)>;

    kel::com::Future<R> operator()(const Meta_info& meta_info, Args... args) const {
        auto promise = std::make_shared<kel::com::Promise<R>>();
        kel::com::Future<R> future = promise->get_future();
        Hook hook;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            calls_.emplace_back(meta_info, args...);
            meta_info_addresses_.push_back(&meta_info);
            promises_.push_back(promise);
            hook = hook_;
        }
        called_.notify_all();
        if (hook) {
            hook(*promise);
        }
        return future;
    }

    void set_hook(Hook hook) {
        std::lock_guard<std::mutex> lock(mutex_);
        hook_ = std::move(hook);
    }

    /// True once at least `count` calls have been recorded; false when they have not come within
    /// `bound`. Thread-safe.
    [[nodiscard]] bool wait_for_calls(std::size_t count, std::chrono::seconds bound = hang_bound) const {
        std::unique_lock<std::mutex> lock(mutex_);
        return called_.wait_for(lock, bound, [&] { return calls_.size() >= count; });
    }

    std::vector<Arguments> calls() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return calls_;
    }

    /// Where the meta_info of each call was: tells a passed reference from a copy.
    std::vector<const Meta_info*> meta_info_addresses() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return meta_info_addresses_;
    }

    std::shared_ptr<kel::com::Promise<R>> promise(std::size_t index) const {
        std::lock_guard<std::mutex> lock(mutex_);
        return promises_.at(index);
    }

    /// Lets go of every promise, as a runtime that drops its response handlers; a promise that
    /// nobody else holds breaks its future.
    void drop_promises() {
        std::vector<std::shared_ptr<kel::com::Promise<R>>> dropped;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            dropped.swap(promises_);
        }
    }

private:
    mutable std::mutex mutex_;
    mutable std::condition_variable called_;
    mutable std::vector<Arguments> calls_;                                  // guarded by mutex_
    mutable std::vector<const Meta_info*> meta_info_addresses_;             // guarded by mutex_
    mutable std::vector<std::shared_ptr<kel::com::Promise<R>>> promises_;   // guarded by mutex_
    Hook hook_;                                                             // guarded by mutex_
};

/// One method member: owns its call object and exposes it as `impl`, as the real proxy does.
template <class Signature>
class Fake_method {
public:
    Fake_method() : impl(new Fake_call<Signature>()) {}
    Fake_method(const Fake_method&) = delete;
    Fake_method& operator=(const Fake_method&) = delete;
    ~Fake_method() { delete impl; }

    Fake_call<Signature>* impl;  ///< owned
};

template <class Interface>
struct Fake_data_identifier_proxy {
    Fake_method<typename Interface::Cancel::Signature> Cancel;
    Fake_method<typename Interface::Read::Signature> Read;
};

template <class Interface>
struct Fake_routine_proxy {
    Fake_method<typename Interface::Cancel::Signature> Cancel;
    Fake_method<typename Interface::RequestResults::Signature> RequestResults;
    Fake_method<typename Interface::Start::Signature> Start;
};

/// The two members an extension keeps for its jobs, as the tests hand them to the flows.
struct Job_members {
    Job_members() = default;
    Job_members(const Job_members&) = delete;
    Job_members& operator=(const Job_members&) = delete;
    ~Job_members() { delete cancel_result; }

    std::atomic<bool> cancel_requested{false};
    kel::com::Future<void>* cancel_result = nullptr;  ///< owned
};

}  // namespace zevo::test

#pragma once
// A stand-in service for job_wait_bench: a proxy face with Read and Cancel, each an `impl` as the
// jobs call it. Read runs on the job's thread and hands its promise through a Promise_slot to the
// bench's other thread, which completes or holds it; Cancel is answered at once.

#include <condition_variable>
#include <memory>
#include <mutex>
#include <utility>

#include "extension/meta_info.h"
#include "proxy/future.h"
#include "proxy/promise.h"

namespace zevo::bench {

using ruv::dm::foundation::extension::Meta_info;

/// One promise at a time, from the thread that makes a call to the thread that answers it.
/// Thread-safe; put and take may run on any threads.
template <class Promise_type>
class Promise_slot {
public:
    void put(std::shared_ptr<Promise_type> promise) {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            promise_ = std::move(promise);
        }
        filled_.notify_one();
    }

    /// Blocks until a promise is there and takes it out.
    std::shared_ptr<Promise_type> take() {
        std::unique_lock<std::mutex> lock(mutex_);
        filled_.wait(lock, [this] { return promise_ != nullptr; });
        return std::exchange(promise_, nullptr);
    }

private:
    std::mutex mutex_;
    std::condition_variable filled_;
    std::shared_ptr<Promise_type> promise_;  // guarded by mutex_
};

/// A method member of the proxy face: owns its call object and shows it as `impl`.
template <class Call>
struct Fake_method {
    explicit Fake_method(Call call_object) : call(std::move(call_object)) {}
    Fake_method(const Fake_method&) = delete;
    Fake_method& operator=(const Fake_method&) = delete;

    Call call;
    Call* const impl = &call;
};

/// Read of a data identifier's service: the answer comes later, from whoever takes the promise.
template <class Output>
struct Answered_later_call {
    kel::com::Future<Output> operator()(const Meta_info& /*meta_info*/) const {
        auto promise = std::make_shared<kel::com::Promise<Output>>();
        kel::com::Future<Output> future = promise->get_future();
        pending->put(std::move(promise));
        return future;
    }

    Promise_slot<kel::com::Promise<Output>>* pending;  ///< not owned
};

/// Cancel as a service that acknowledges at once; the job never looks at the answer.
struct Answered_at_once_call {
    kel::com::Future<void> operator()(const Meta_info& /*meta_info*/) const {
        kel::com::Promise<void> promise;
        kel::com::Future<void> future = promise.get_future();
        promise.set_value();
        return future;
    }
};

/// The proxy face of a data identifier's service, as job_flow::read and job_flow::cancel use it.
template <class Interface>
struct Fake_data_identifier_proxy {
    using Output = typename Interface::Read::Output;

    explicit Fake_data_identifier_proxy(Promise_slot<kel::com::Promise<Output>>& pending_reads)
        : Cancel(Answered_at_once_call{}), Read(Answered_later_call<Output>{&pending_reads}) {}

    Fake_method<Answered_at_once_call> Cancel;
    Fake_method<Answered_later_call<Output>> Read;
};

}  // namespace zevo::bench

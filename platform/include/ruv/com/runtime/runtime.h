#pragma once
// The communication runtime's threads: one dispatcher (a few workers) and one request timer.
// The process has one, made on first use and shut down at exit; tests may make their own.
// All members are thread-safe; shutdown may be called from a runtime thread.

#include <cstddef>
#include <memory>

#include "ruv/com/runtime/dispatcher.h"
#include "ruv/com/runtime/request_timer.h"

namespace ruv::com::runtime {

struct Runtime_options {
    /// Workers of the dispatcher. Default 2: answers of different calls run side by side, as
    /// they do with a remote service, and a slow handler does not hold up all others.
    std::size_t worker_threads = 2;
};

class Runtime {
public:
    /// Starts the threads. Throws std::system_error, std::bad_alloc.
    explicit Runtime(Runtime_options options = {});
    /// shutdown().
    ~Runtime();
    Runtime(const Runtime&) = delete;
    Runtime& operator=(const Runtime&) = delete;

    /// The process-wide runtime, made on the first call (thread-safe). Its threads are stopped
    /// and joined during static destruction at exit, before the statics made ahead of it are
    /// destroyed; the object itself stays valid afterwards, stopped: posts fail, handlers that
    /// cannot be delivered are destroyed. Throws what the constructor throws, on the first call.
    static std::shared_ptr<Runtime> process();

    Dispatcher& dispatcher() noexcept { return dispatcher_; }
    Request_timer& timer() noexcept { return timer_; }

    /// Stops the timer (waiting expiries are dropped), then the dispatcher (queued tasks are
    /// destroyed uncalled). Idempotent. Does not wait for a task that the caller itself runs.
    /// A runtime of one's own should end with a call of this: queued tasks may hold references
    /// to it, and the last reference may then go on one of its own threads.
    void shutdown() noexcept;

private:
    Request_timer timer_;
    Dispatcher dispatcher_;
};

}  // namespace ruv::com::runtime

#pragma once
// Runs extension jobs on a worker thread while the dispatching thread waits, and lets other
// threads cancel the running job: the session's cancel step and the interrupt watcher. All
// members are thread-safe; run blocks its caller until the job has returned.

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <functional>
#include <list>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "extension/uds_response_code.h"

namespace zevo::host {

using Extension_job = std::function<ruv::dm::types::UDSResponseCodeType()>;
/// Calls the cancel of the extension that runs a job. Never called twice at once.
using Job_cancel = std::function<void()>;

/// A job that was not run because the runner has been interrupted.
class Job_refused : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class Job_runner {
public:
    /// How often an interrupted runner repeats the cancel of a job that has not returned: a
    /// cancel that reaches a job before it starts waiting is forgotten by the job.
    static constexpr std::chrono::milliseconds cancel_repeat_period{10};

    struct Outcome {
        ruv::dm::types::UDSResponseCodeType code = 0;
        bool cancelled = false;  ///< cancel was called for this job while it ran
    };

    Job_runner() = default;
    /// Ends the worker thread; every run must have returned.
    ~Job_runner();
    Job_runner(const Job_runner&) = delete;
    Job_runner& operator=(const Job_runner&) = delete;

    /// Runs `job` on the worker thread, started at the first run and kept for the next ones (a
    /// thread per job would cost its start on every request), and waits for it; meanwhile
    /// cancel_all and interrupt may call `cancel` from other threads. Jobs of runs that overlap
    /// wait for each other. Whatever the job throws is rethrown here. Throws Job_refused after
    /// interrupt (the job is not run), std::system_error when the worker cannot be started.
    Outcome run(const Extension_job& job, const Job_cancel& cancel);

    /// Calls the cancel of the running job once. Returns the number of jobs cancelled, 0 or 1.
    std::size_t cancel_all();

    /// Refuses every job from now on (also those waiting for the worker) and cancels the running
    /// one now; the thread that waits for it repeats the cancel every cancel_repeat_period until
    /// the job has returned. Returns at once.
    void interrupt();
    bool interrupted() const;

private:
    /// One run's job. Lives in jobs_ from the start of run to its end; run's stack holds the
    /// job and its cancel.
    struct Entry {
        const Extension_job* job = nullptr;
        const Job_cancel* cancel = nullptr;
        bool started = false;  // the worker has taken it
        bool done = false;     // returned, threw, or was refused before it started
        bool cancelled = false;
        ruv::dm::types::UDSResponseCodeType code = 0;
        std::exception_ptr error;  // what the job threw, or Job_refused
    };

    /// The worker thread's loop: takes the jobs in order until the runner ends.
    void work();
    /// Calls one job's cancel; mutex_ is held, so cancels never overlap.
    static void cancel_locked(Entry& entry) noexcept;

    mutable std::mutex mutex_;
    std::condition_variable changed_;  // a job came, started or returned; interrupt; the end
    std::list<Entry> jobs_;            // guarded by mutex_; in the order of their runs
    bool interrupted_ = false;         // guarded by mutex_
    bool ending_ = false;              // guarded by mutex_
    std::thread worker_;               // started by the first run, under mutex_
};

}  // namespace zevo::host

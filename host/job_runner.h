#pragma once
// Runs extension jobs on worker threads, one job per extension at a time and jobs of different
// extensions side by side, and lets other threads cancel them: the UDS server (tester gone,
// shutdown), the session's cancel step and the interrupt watcher. All members are thread-safe.
// start never blocks; run blocks its caller until its job has returned.

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

#include "extension/uds_response_code.h"
#include "host/uds_server/timer_queue.h"

namespace zevo::host {

using Extension_job = std::function<ruv::dm::types::UDSResponseCodeType()>;
/// Calls the cancel of the extension that runs a job. Never called twice at once for one job.
using Job_cancel = std::function<void()>;
/// What a job occupies: one value per extension object (see Uds_dispatcher). Two jobs that
/// share a key never run at the same time, since an extension's cancel flag belongs to the
/// object and a second job would wipe a cancel meant for the first.
using Job_key = std::uint32_t;

/// A job that was not run because the runner has been interrupted.
class Job_refused : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class Job_runner {
public:
    /// How often a cancel is repeated until the job has returned: a cancel that reaches a job
    /// before it starts waiting is forgotten by the job.
    static constexpr std::chrono::milliseconds cancel_repeat_period{10};

    using Job_id = std::uint64_t;

    struct Outcome {
        ruv::dm::types::UDSResponseCodeType code = 0;
        bool cancelled = false;    ///< cancel was called for this job while it ran
        std::exception_ptr error;  ///< what the job threw; start's Done gets it here, run rethrows it
    };
    /// Called once on the job's worker thread after the job has returned and its keys are free.
    using Done = std::function<void(const Outcome&)>;

    /// Repeats cancels on a clock of its own (a Steady_timer_queue).
    Job_runner();
    /// Repeats cancels on `timers`, which must outlive the runner.
    explicit Job_runner(Timer_queue& timers);
    /// Waits until every job has returned and its Done has run, then ends the workers.
    ~Job_runner();
    Job_runner(const Job_runner&) = delete;
    Job_runner& operator=(const Job_runner&) = delete;

    /// Runs `job` on a worker thread (an idle one is reused; a new one is started when all are
    /// busy) unless a job with one of `keys` runs: then nothing happens and the result is empty.
    /// Never blocks. Throws Job_refused after interrupt, std::system_error when no worker can
    /// be started.
    std::optional<Job_id> start(std::vector<Job_key> keys, Extension_job job, Job_cancel cancel, Done done);

    /// Runs `job` as start does, waiting first until no job with one of `keys` runs, and then
    /// until it has returned; meanwhile cancel_all and interrupt may call `cancel` from other
    /// threads. Whatever the job throws is rethrown here. Throws Job_refused after interrupt
    /// (also while it waits for its keys), std::system_error.
    Outcome run(const std::vector<Job_key>& keys, const Extension_job& job, const Job_cancel& cancel);
    /// run without keys: the job runs beside any other.
    Outcome run(const Extension_job& job, const Job_cancel& cancel) { return run({}, job, cancel); }

    /// Cancels the job now and again every cancel_repeat_period (on the runner's clock) until it
    /// has returned. False when the job has returned already.
    bool cancel(Job_id id);

    /// Calls the cancel of every running job once. Returns the number of jobs cancelled.
    std::size_t cancel_all();

    /// Refuses every job from now on and cancels the running ones as cancel(id) does. Returns at once.
    void interrupt();
    bool interrupted() const;

    /// Blocks until no job runs and no Done is being called.
    void wait_idle();

private:
    struct Entry;
    struct Worker {
        std::shared_ptr<Entry> assigned;  // guarded by mutex_; empty while idle
        std::condition_variable wake;     // a job was assigned to this worker, or the end came
        std::thread thread;
    };

    /// Assigns the job to a worker, whose wake the caller notifies once it has let go of mutex_
    /// (a worker woken under the lock would only block on it).
    std::optional<Job_id> start_locked(std::vector<Job_key>& keys, Extension_job job, Job_cancel cancel, Done done,
                                       Worker*& to_wake);
    void work(Worker& worker);
    void cancel_repeating(const std::shared_ptr<Entry>& entry);
    static void schedule_repeat(Timer_queue& timers, const std::shared_ptr<Entry>& entry);

    std::unique_ptr<Timer_queue> own_timers_;  // set by the default constructor only
    Timer_queue& timers_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;                     // a job ended; the runner was interrupted
    std::set<Job_key> busy_;                              // guarded by mutex_
    std::map<Job_id, std::shared_ptr<Entry>> running_;    // guarded by mutex_
    std::list<Worker> workers_;                           // guarded by mutex_
    Job_id next_id_ = 1;                                  // guarded by mutex_
    std::size_t finishing_ = 0;                           // guarded by mutex_; Done calls running
    bool interrupted_ = false;                            // guarded by mutex_
    bool ending_ = false;                                 // guarded by mutex_
};

}  // namespace zevo::host

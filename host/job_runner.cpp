#include "host/job_runner.h"

#include <future>
#include <utility>

namespace zevo::host {

/// One job from start to the return of its Done. The job's cancels are serialised by its own
/// mutex, also those of the repeat timer, which holds the entry and not the runner.
struct Job_runner::Entry {
    Job_id id = 0;
    std::vector<Job_key> keys;
    Extension_job job;
    Done done;
    std::mutex mutex;
    Job_cancel cancel;       // guarded by mutex
    bool returned = false;   // guarded by mutex
    bool cancelled = false;  // guarded by mutex
    bool repeating = false;  // guarded by mutex

    void cancel_locked() noexcept {
        cancelled = true;
        try {
            cancel();
        } catch (...) {
            // An extension's cancel reports nothing; a job it did not reach is cancelled again
            // (repeated cancel) or ends by itself.
        }
    }
};

Job_runner::Job_runner() : own_timers_(std::make_unique<Steady_timer_queue>()), timers_(*own_timers_) {}

Job_runner::Job_runner(Timer_queue& timers) : timers_(timers) {}

Job_runner::~Job_runner() {
    wait_idle();
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        ending_ = true;
    }
    for (Worker& worker : workers_) worker.wake.notify_one();
    for (Worker& worker : workers_) worker.thread.join();
}

std::optional<Job_runner::Job_id> Job_runner::start_locked(std::vector<Job_key>& keys, Extension_job job,
                                                           Job_cancel cancel, Done done, Worker*& to_wake) {
    if (interrupted_) throw Job_refused("the job was not run: the host was interrupted");
    for (Job_key key : keys) {
        if (busy_.count(key) != 0) return std::nullopt;
    }
    Worker* idle = nullptr;
    for (Worker& worker : workers_) {
        if (!worker.assigned) {
            idle = &worker;
            break;
        }
    }
    if (idle == nullptr) {
        idle = &workers_.emplace_back();
        try {
            idle->thread = std::thread([this, idle] { work(*idle); });
        } catch (...) {
            workers_.pop_back();
            throw;
        }
    }
    auto entry = std::make_shared<Entry>();
    entry->id = next_id_++;
    entry->keys = std::move(keys);
    entry->job = std::move(job);
    entry->cancel = std::move(cancel);
    entry->done = std::move(done);
    busy_.insert(entry->keys.begin(), entry->keys.end());
    running_.emplace(entry->id, entry);
    idle->assigned = entry;
    to_wake = idle;
    return entry->id;
}

std::optional<Job_runner::Job_id> Job_runner::start(std::vector<Job_key> keys, Extension_job job, Job_cancel cancel,
                                                    Done done) {
    Worker* to_wake = nullptr;
    std::unique_lock<std::mutex> lock(mutex_);
    std::optional<Job_id> id = start_locked(keys, std::move(job), std::move(cancel), std::move(done), to_wake);
    lock.unlock();
    if (to_wake != nullptr) to_wake->wake.notify_one();
    return id;
}

Job_runner::Outcome Job_runner::run(const std::vector<Job_key>& keys, const Extension_job& job,
                                    const Job_cancel& cancel) {
    std::promise<Outcome> finished;
    std::future<Outcome> outcome = finished.get_future();
    Worker* to_wake = nullptr;
    {
        std::unique_lock<std::mutex> lock(mutex_);
        for (;;) {
            std::vector<Job_key> wanted = keys;
            // The job and its cancel stay on this stack until the outcome is in.
            if (start_locked(wanted, [&job] { return job(); }, [&cancel] { cancel(); },
                             [&finished](const Outcome& result) { finished.set_value(result); }, to_wake)) {
                break;
            }
            changed_.wait(lock);
        }
    }
    if (to_wake != nullptr) to_wake->wake.notify_one();
    Outcome result = outcome.get();
    if (result.error) std::rethrow_exception(result.error);
    return result;
}

void Job_runner::work(Worker& worker) {
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        worker.wake.wait(lock, [&] { return worker.assigned || ending_; });
        if (!worker.assigned) return;
        const std::shared_ptr<Entry> entry = worker.assigned;
        lock.unlock();
        Outcome outcome;
        try {
            outcome.code = entry->job();
        } catch (...) {
            outcome.error = std::current_exception();
        }
        {
            const std::lock_guard<std::mutex> entry_lock(entry->mutex);
            entry->returned = true;
            outcome.cancelled = entry->cancelled;
        }
        lock.lock();
        for (Job_key key : entry->keys) busy_.erase(key);
        running_.erase(entry->id);
        // Idle before Done runs, so that a job started from Done's caller finds this worker;
        // a job assigned meanwhile waits until Done has returned.
        worker.assigned.reset();
        ++finishing_;
        lock.unlock();
        changed_.notify_all();  // keys are free for run's waiters
        if (entry->done) entry->done(outcome);
        lock.lock();
        --finishing_;
        changed_.notify_all();
    }
}

void Job_runner::schedule_repeat(Timer_queue& timers, const std::shared_ptr<Entry>& entry) {
    timers.schedule_after(cancel_repeat_period, [&timers, weak = std::weak_ptr<Entry>(entry)] {
        const std::shared_ptr<Entry> held = weak.lock();
        if (!held) return;
        const std::lock_guard<std::mutex> lock(held->mutex);
        if (held->returned) return;
        held->cancel_locked();
        schedule_repeat(timers, held);
    });
}

void Job_runner::cancel_repeating(const std::shared_ptr<Entry>& entry) {
    const std::lock_guard<std::mutex> lock(entry->mutex);
    if (entry->returned) return;
    entry->cancel_locked();
    if (!entry->repeating) {
        entry->repeating = true;
        schedule_repeat(timers_, entry);
    }
}

bool Job_runner::cancel(Job_id id) {
    std::shared_ptr<Entry> entry;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto found = running_.find(id);
        if (found == running_.end()) return false;
        entry = found->second;
    }
    cancel_repeating(entry);
    return true;
}

std::size_t Job_runner::cancel_all() {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::size_t cancelled = 0;
    for (auto& [id, entry] : running_) {
        const std::lock_guard<std::mutex> entry_lock(entry->mutex);
        if (entry->returned) continue;
        entry->cancel_locked();
        ++cancelled;
    }
    return cancelled;
}

void Job_runner::interrupt() {
    std::vector<std::shared_ptr<Entry>> running;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        interrupted_ = true;
        for (auto& [id, entry] : running_) running.push_back(entry);
    }
    changed_.notify_all();  // run's waiters for keys give up
    for (const std::shared_ptr<Entry>& entry : running) cancel_repeating(entry);
}

bool Job_runner::interrupted() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return interrupted_;
}

void Job_runner::wait_idle() {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] {
        if (finishing_ != 0) return false;
        for (const Worker& worker : workers_) {
            if (worker.assigned) return false;
        }
        return true;
    });
}

}  // namespace zevo::host

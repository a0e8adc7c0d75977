#include "host/job_runner.h"

#include <utility>

namespace zevo::host {

Job_runner::~Job_runner() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        ending_ = true;
    }
    changed_.notify_all();
    if (worker_.joinable()) worker_.join();
}

void Job_runner::cancel_locked(Entry& entry) noexcept {
    entry.cancelled = true;
    try {
        (*entry.cancel)();
    } catch (...) {
        // An extension's cancel reports nothing; a job it did not reach is cancelled again later
        // (interrupted runner) or ends by itself.
    }
}

void Job_runner::work() {
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        Entry* next = nullptr;
        changed_.wait(lock, [&] {
            for (Entry& entry : jobs_) {
                if (!entry.started && !entry.done) {
                    next = &entry;
                    return true;
                }
            }
            return ending_;
        });
        if (next == nullptr) return;  // ending, nothing left to run
        next->started = true;
        lock.unlock();
        ruv::dm::types::UDSResponseCodeType code = 0;
        std::exception_ptr error;
        try {
            code = (*next->job)();
        } catch (...) {
            error = std::current_exception();
        }
        lock.lock();
        next->code = code;
        next->error = std::move(error);
        next->done = true;
        // Signalled after the unlock, so that the woken caller does not block on the lock at once.
        lock.unlock();
        changed_.notify_all();
        lock.lock();
    }
}

Job_runner::Outcome Job_runner::run(const Extension_job& job, const Job_cancel& cancel) {
    std::unique_lock<std::mutex> lock(mutex_);
    if (interrupted_) throw Job_refused("the job was not run: the host was interrupted");
    if (!worker_.joinable()) worker_ = std::thread([this] { work(); });
    Entry fresh;
    fresh.job = &job;
    fresh.cancel = &cancel;
    const auto entry = jobs_.insert(jobs_.end(), std::move(fresh));
    lock.unlock();
    changed_.notify_all();  // after the unlock: the woken worker takes the lock at once
    lock.lock();
    while (!entry->done) {
        if (!interrupted_ || !entry->started) {
            changed_.wait(lock);
        } else if (!changed_.wait_for(lock, cancel_repeat_period, [&] { return entry->done; })) {
            cancel_locked(*entry);
        }
    }
    const Outcome outcome{entry->code, entry->cancelled};
    const std::exception_ptr error = std::move(entry->error);
    jobs_.erase(entry);
    lock.unlock();
    if (error) std::rethrow_exception(error);
    return outcome;
}

std::size_t Job_runner::cancel_all() {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::size_t cancelled = 0;
    for (Entry& entry : jobs_) {
        if (!entry.started || entry.done) continue;
        cancel_locked(entry);
        ++cancelled;
    }
    return cancelled;
}

void Job_runner::interrupt() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        interrupted_ = true;
        for (Entry& entry : jobs_) {
            if (entry.done) continue;
            if (entry.started) {
                cancel_locked(entry);
            } else {
                entry.error = std::make_exception_ptr(Job_refused("the job was not run: the host was interrupted"));
                entry.done = true;
            }
        }
    }
    changed_.notify_all();
}

bool Job_runner::interrupted() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return interrupted_;
}

}  // namespace zevo::host

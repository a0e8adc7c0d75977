#include "ruv/com/static_thread_pool.h"

#include <system_error>

#include "com/runtime/runtime_log.h"

namespace ruv::com {

static_thread_pool::static_thread_pool(std::size_t thread_count) : thread_count_(thread_count) {
    workers_.reserve(thread_count);  // so that a started thread is never lost in a reallocation
    try {
        for (std::size_t index = 0; index < thread_count; ++index) {
            workers_.emplace_back([this] { work(); });  // no other thread reads workers_ yet
        }
    } catch (...) {
        join();
        throw;
    }
}

static_thread_pool::~static_thread_pool() { join(); }

// The count is sequentially consistent on this side, against close(): either this call sees
// the pool closed and wakes the workers, or close() comes later in that order and its own
// wake-up finds the count at 0.
void static_thread_pool::sub_outstanding_work() noexcept {
    if (outstanding_work.fetch_sub(1) != 1 || pool_state.load() != closed_state) {
        return;
    }
    try {
        // Taken and released so that a worker between its test and its wait cannot miss this.
        std::lock_guard<std::mutex> lock(mutex);
    } catch (const std::system_error&) {  // the caller may be a post whose lock just failed
    }
    wakeup.notify_all();
}

bool static_thread_pool::run_one() {
    std::function<void()> task;
    {
        std::lock_guard<std::mutex> lock(mutex);
        if (tasks.empty()) {
            return false;
        }
        task = std::move(tasks.front());
        tasks.pop_front();
    }
    run_task(task);
    return true;
}

void static_thread_pool::close() noexcept {
    {
        std::lock_guard<std::mutex> lock(mutex);
        pool_state.store(closed_state);
    }
    wakeup.notify_all();
}

void static_thread_pool::join() noexcept {
    close();
    std::vector<std::thread> workers;
    {
        std::lock_guard<std::mutex> lock(mutex);
        for (const std::thread& worker : workers_) {
            if (worker.get_id() == std::this_thread::get_id()) {
                return;  // a worker cannot wait for itself; a join on another thread does the waiting
            }
        }
        workers.swap(workers_);
    }
    for (std::thread& worker : workers) {
        worker.join();
    }
}

// A worker leaves only when the pool is closed and no work is outstanding, so that everything
// queued before the close, and every strand that is still draining, is served to its end.
void static_thread_pool::work() noexcept {
    std::unique_lock<std::mutex> lock(mutex);
    for (;;) {
        wakeup.wait(lock, [this] {
            return !tasks.empty() || (pool_state.load() == closed_state && outstanding_work.load() == 0);
        });
        if (tasks.empty()) {
            return;
        }
        std::function<void()> task = std::move(tasks.front());
        tasks.pop_front();
        lock.unlock();
        run_task(task);
        lock.lock();
    }
}

void static_thread_pool::run_task(std::function<void()>& task) noexcept {
    try {
        task();
    } catch (...) {
        runtime::detail::log_current_exception("A function of the static thread pool");
    }
    task = nullptr;  // the closure goes before the work is counted off
    sub_outstanding_work();
}

}  // namespace ruv::com

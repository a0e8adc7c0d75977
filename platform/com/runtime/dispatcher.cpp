#include "ruv/com/runtime/dispatcher.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "com/runtime/runtime_log.h"

namespace ruv::com::runtime {

// Each worker holds a reference, so a worker that was detached (its task stopped the dispatcher,
// or dropped the last reference to it) can still finish its loop safely.
struct Dispatcher::State {
    std::mutex mutex;
    std::condition_variable wake;              ///< signalled on post and stop
    std::deque<Task> tasks;                    ///< guarded by mutex
    bool stopped = false;                      ///< guarded by mutex
    std::vector<std::thread> threads;          ///< guarded by mutex; taken by the first stop
    std::vector<std::thread::id> worker_ids;   ///< guarded by mutex

    static void work(const std::shared_ptr<State>& state) noexcept;
    /// Whether stop has been called; takes the lock for the look.
    bool stopped_now() noexcept {
        std::lock_guard<std::mutex> lock(mutex);
        return stopped;
    }
    /// Runs `task` on the calling worker, logging what it throws; the closure is destroyed before
    /// the return.
    static void run(Task& task) noexcept;
};

namespace {

/// The tasks deferred by the task that a worker runs now, and the dispatcher they belong to;
/// empty on threads that are no worker. Only their own worker touches them.
struct Deferred_tasks {
    const void* owner = nullptr;
    std::deque<Dispatcher::Task> tasks;
};
thread_local Deferred_tasks deferred_here;

}  // namespace

void Dispatcher::State::run(Task& task) noexcept {
    try {
        task();
    } catch (...) {
        detail::log_current_exception("A task of the runtime's dispatcher");
    }
    task = nullptr;  // the closure (a handler, a reply) goes before the lock is taken again
}

void Dispatcher::State::work(const std::shared_ptr<State>& state) noexcept {
    deferred_here.owner = state.get();
    std::unique_lock<std::mutex> lock(state->mutex);
    for (;;) {
        state->wake.wait(lock, [&state] { return state->stopped || !state->tasks.empty(); });
        if (state->stopped) {
            return;
        }
        Task task = std::move(state->tasks.front());
        state->tasks.pop_front();
        lock.unlock();
        run(task);
        while (!deferred_here.tasks.empty()) {
            Task next = std::move(deferred_here.tasks.front());
            deferred_here.tasks.pop_front();
            if (state->stopped_now()) {
                next = nullptr;  // dropped uncalled like the queued tasks, with no lock held
                continue;
            }
            run(next);
        }
        lock.lock();
    }
}

Dispatcher::Dispatcher(std::size_t thread_count)
    : thread_count_(std::max<std::size_t>(thread_count, 1)), state_(std::make_shared<State>()) {
    try {
        for (std::size_t index = 0; index < thread_count_; ++index) {
            std::thread worker{[state = state_] { State::work(state); }};
            std::lock_guard<std::mutex> lock(state_->mutex);
            state_->worker_ids.push_back(worker.get_id());
            state_->threads.push_back(std::move(worker));
        }
    } catch (...) {
        stop();
        throw;
    }
}

Dispatcher::~Dispatcher() { stop(); }

bool Dispatcher::post(Task task) {
    bool queued = false;
    {
        std::lock_guard<std::mutex> lock(state_->mutex);
        if (!state_->stopped) {
            state_->tasks.push_back(std::move(task));
            queued = true;
        }
    }
    if (queued) {
        // Signalled after the unlock: a worker woken under the lock would at once block on it.
        state_->wake.notify_one();
        return true;
    }
    task = nullptr;  // refused: destroyed here, uncalled, with no lock held
    return false;
}

bool Dispatcher::defer(Task task) {
    if (deferred_here.owner != state_.get()) {
        return post(std::move(task));
    }
    if (state_->stopped_now()) {
        task = nullptr;  // refused like a post: destroyed here, uncalled, with no lock held
        return false;
    }
    deferred_here.tasks.push_back(std::move(task));
    return true;
}

bool Dispatcher::run_here(Task task) noexcept {
    if (state_->stopped_now()) {
        task = nullptr;  // refused like a post: destroyed here, uncalled, with no lock held
        return false;
    }
    State::run(task);
    return true;
}

void Dispatcher::stop() noexcept {
    std::vector<std::thread> threads;
    {
        std::lock_guard<std::mutex> lock(state_->mutex);
        state_->stopped = true;
        threads.swap(state_->threads);
    }
    state_->wake.notify_all();
    for (std::thread& thread : threads) {
        if (thread.get_id() == std::this_thread::get_id()) {
            thread.detach();  // a task stopping its own dispatcher: this worker ends after it
        } else {
            thread.join();
        }
    }
    std::deque<Task> dropped;
    std::lock_guard<std::mutex> lock(state_->mutex);
    dropped.swap(state_->tasks);
}  // the lock is released first, then the dropped tasks are destroyed, uncalled

bool Dispatcher::runs_on_worker() const noexcept {
    const std::thread::id self = std::this_thread::get_id();
    std::lock_guard<std::mutex> lock(state_->mutex);
    return std::find(state_->worker_ids.begin(), state_->worker_ids.end(), self) !=
           state_->worker_ids.end();
}

}  // namespace ruv::com::runtime

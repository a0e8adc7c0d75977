#pragma once
// A serial queue of tasks on a shared static_thread_pool: the tasks of one strand run one at a
// time, in posting order, on any free pool thread. Posts come from any thread; the stop wait and
// the destructor run on the stopping thread. Only run() is libara_com's; field order is a contract.

#include <pthread.h>

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <type_traits>
#include <utility>

#include "ruv/com/static_thread_pool.h"
#include "ruv/com/task_dispatcher.h"

namespace ruv::com {

class Strand : private Task_dispatcher {
public:
    static constexpr std::uint8_t running_state = 0;
    static constexpr std::uint8_t stopping_state = 1;
    static constexpr std::uint8_t stopped_state = 2;

    /// An empty, running strand on `thread_pool`, which must outlive it and is not owned.
    /// Throws std::bad_alloc.
    explicit Strand(static_thread_pool* thread_pool)
        : pool(thread_pool), state(running_state), pending(0), running_thread() {}

    /// Refuses new tasks, waits until pending is 0 (queued tasks are counted down by run), then
    /// destroys what is left. Must not run inside a task of this strand, nor may a task own the
    /// last reference to its strand. Whatever fails in here ends the process (std::terminate).
    ~Strand() noexcept override {
        {
            std::lock_guard<std::mutex> lock(mutex);
            state = stopped_state;  // from here on nothing can be posted
        }
        stop_wait();
    }

    Strand(const Strand&) = delete;
    Strand& operator=(const Strand&) = delete;

    /// Queues one task, moved in as a std::function<void()>; the first task of a burst also
    /// posts run() to the pool, with the strand's lock held (lock order: strand, then pool).
    /// A stopped strand drops the task silently; a stopping one still takes it. Throws
    /// std::system_error (a lock failed) and std::bad_alloc, with the lock released: a failed
    /// push leaves pending as it was, a failed pool post leaves the task queued and pending at 1.
    template <class Task>
    void internal_post(Task&& task);

    /// The stop wait: a running strand becomes stopping (tasks pending) or stopped (none), then
    /// waits until it is stopped with nothing pending. Inside a task of this strand it returns
    /// at once instead of waiting for itself. When it returns on any other thread, no task of
    /// this strand runs or will start, and the pool holds no pointer to it. No time limit.
    /// Throws std::system_error when the lock fails.
    void stop_wait() {
        std::unique_lock<std::mutex> lock(mutex);
        if (state == running_state) {
            state = pending > 0 ? stopping_state : stopped_state;
        }
        if (running_in_this_thread()) {
            return;  // a task stopping its own strand must not wait for itself
        }
        idle.wait(lock, [this] { return state == stopped_state && pending == 0; });
    }

    /// Whether the calling thread is inside run() running (or dropping) a task of this strand.
    /// Reads running_thread without a lock: only run() on this very thread can make it equal.
    bool running_in_this_thread() const noexcept override {
        return pthread_equal(pthread_self(), running_thread) != 0;
    }

    /// Defined in libara_com; called on a pool thread through the function that internal_post
    /// posted. Takes tasks from the front and calls each with the lock released, running_thread
    /// set to this thread; destroys it and counts pending down afterwards; goes on until pending
    /// is 0, then moves a stopping strand to stopped and notifies idle. A stopped strand's tasks
    /// are destroyed uncalled but counted down all the same. An exception out of a task is
    /// logged through ara::com::logger() at level 2 (error) and dropped; the next task runs.
    /// A lock that fails ends the process.
    void run() noexcept;

    static_thread_pool* pool;  ///< not owned; set once; must outlive the strand
    std::mutex mutex;          ///< guards every field below
    std::uint8_t state;        ///< running_state, stopping_state or stopped_state
    std::uint32_t pending;     ///< tasks posted and not yet finished (a running task counts)
    std::condition_variable idle;  ///< the stop wait sleeps here; notified when pending reaches 0
    /// The pool thread inside run() with a task, zero-initialised while none is. Written by
    /// run() under mutex; read by running_in_this_thread().
    pthread_t running_thread;
    std::deque<std::function<void()>> tasks;  ///< the queue, oldest first
};

template <class Task>
void Strand::internal_post(Task&& task) {
    std::unique_lock<std::mutex> lock(mutex);
    if (state == stopped_state) {
        lock.unlock();
        if constexpr (!std::is_lvalue_reference_v<Task>) {
            std::decay_t<Task> dropped(std::move(task));  // destroyed here, uncalled, unlocked
            static_cast<void>(dropped);
        }
        return;
    }
    tasks.emplace_back(std::forward<Task>(task));
    ++pending;
    if (pending == 1) {
        // Holds nothing but the raw pointer, so the std::function keeps it in its local storage
        // and allocates nothing. Not an owner: the stop wait keeps the strand alive until the
        // pool is done with it.
        pool->post([strand = this] { strand->run(); });
    }
}

}  // namespace ruv::com

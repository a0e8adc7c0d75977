#pragma once
// The pool of worker threads that strands run on. post is compiled into each caller, may be
// called from any thread and throws std::system_error and std::bad_alloc; the workers, closing
// and joining are libara_com's. The first five fields are a binary contract, in this order.

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace ruv::com {

class static_thread_pool {
public:
    /// pool_state while posts are taken.
    static constexpr std::uint8_t open_state = 0;
    /// pool_state once closed: posts are dropped, silently.
    static constexpr std::uint8_t closed_state = 2;

    /// Starts `thread_count` workers; 0 makes a pool whose queue only run_one serves (tests,
    /// a caller that drives the pool itself). Throws std::system_error when a thread cannot
    /// start (the started ones are joined first), std::bad_alloc.
    explicit static_thread_pool(std::size_t thread_count);
    /// join(), then destroys what is left in the queue, uncalled. On one of the pool's own
    /// workers it ends the process (std::terminate): a worker cannot join itself.
    ~static_thread_pool();
    static_thread_pool(const static_thread_pool&) = delete;
    static_thread_pool& operator=(const static_thread_pool&) = delete;

    /// Queues `f` for the next free worker. Drops it when the pool is closed. Never calls it on
    /// the calling thread and never calls back into a strand, so it may be called with a
    /// strand's lock held.
    template <class F>
    void post(F f);

    /// Counts one piece of work off: a function that has run, or the guard of a post. When the
    /// count reaches 0 in a closed pool, the workers are woken to leave.
    void sub_outstanding_work() noexcept;

    /// Runs the oldest queued function on the calling thread, as a worker would: an exception
    /// out of it is logged and dropped, and the function is counted off. False when the queue
    /// was empty. Throws std::system_error when the lock fails.
    bool run_one();

    /// From now on posts are dropped. The workers still run what is queued, and what posts in
    /// progress still add, then leave once outstanding_work is 0. Idempotent; any thread.
    void close() noexcept;

    /// close(), then waits until every worker has left. The first call waits; later calls
    /// return at once. Called on one of the pool's own workers it only closes, since a worker
    /// cannot wait for itself: a later join on another thread (the destructor) does the waiting.
    void join() noexcept;

    /// Workers started by the constructor.
    std::size_t thread_count() const noexcept { return thread_count_; }

    /// Work posted and not finished, plus posts in progress. Incremented by post (relaxed),
    /// decremented only by sub_outstanding_work.
    std::atomic<std::uint32_t> outstanding_work{0};
    /// open_state or closed_state; read by post without the lock.
    std::atomic<std::uint8_t> pool_state{open_state};
    /// Guards tasks and the worker list. Taken after a strand's mutex, never before one.
    std::mutex mutex;
    /// Guarded by mutex: the queue, oldest first.
    std::deque<std::function<void()>> tasks;
    /// Workers sleep here; signalled by post (one) and by closing (all).
    std::condition_variable wakeup;

private:
    void work() noexcept;
    /// Calls the function, logs what it throws, destroys it and counts it off.
    void run_task(std::function<void()>& task) noexcept;

    std::size_t thread_count_;
    std::vector<std::thread> workers_;  ///< guarded by mutex; taken by the first join
};

template <class F>
void static_thread_pool::post(F f) {
    if (pool_state.load() == closed_state) {
        return;  // dropped: f goes with this call
    }
    // The guard: it keeps the count above 0 until the posted function is counted below, even
    // when a worker has run and counted it off before that.
    outstanding_work.fetch_add(1, std::memory_order_relaxed);
    std::unique_lock<std::mutex> lock(mutex, std::defer_lock);
    try {
        lock.lock();
    } catch (...) {
        sub_outstanding_work();
        throw;
    }
    try {
        tasks.emplace_back(std::move(f));
    } catch (...) {
        lock.unlock();
        sub_outstanding_work();
        throw;
    }
    lock.unlock();
    wakeup.notify_one();
    outstanding_work.fetch_add(1, std::memory_order_relaxed);  // the posted function itself
    sub_outstanding_work();                                    // hands the guard back
}

}  // namespace ruv::com

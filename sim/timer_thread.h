#pragma once
// The simulator's one timer: runs actions at steady-clock times on a thread of its own (late
// answers, re-offers after a withdrawal). schedule may be called from any thread; stop drops
// what still waits and joins. Actions must not throw; one that does ends the process.

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

namespace zevo::sim {

class Timer_thread {
public:
    using Action = std::function<void()>;

    /// Starts the thread. Throws std::system_error.
    Timer_thread();
    /// stop().
    ~Timer_thread();
    Timer_thread(const Timer_thread&) = delete;
    Timer_thread& operator=(const Timer_thread&) = delete;

    /// Runs `action` at `when` (at once when that has passed), after every action scheduled for
    /// an earlier or the same time. Dropped after stop(). Throws std::bad_alloc.
    void schedule(std::chrono::steady_clock::time_point when, Action action);

    /// Drops the waiting actions, lets a running one finish and joins. Idempotent; not from an
    /// action.
    void stop() noexcept;

private:
    void run();

    std::mutex mutex_;
    std::condition_variable changed_;
    std::multimap<std::chrono::steady_clock::time_point, Action> waiting_;  ///< guarded by mutex_
    bool stopping_ = false;                                                ///< guarded by mutex_
    std::thread thread_;  ///< started last, joined by stop()
};

}  // namespace zevo::sim

#pragma once
// The server's clock and timers: P2/P2* response-pending timers, S3, the repeated cancel of a job.
// Timer_queue is the face the server uses; Steady_timer_queue runs callbacks on one thread of its
// own on std::chrono::steady_clock, Manual_timer_queue runs them on the thread that advances its
// clock (tests). All members of both are thread-safe; callbacks run without any lock of the queue
// held and may schedule and cancel timers themselves. Nothing here throws but std::bad_alloc and
// std::system_error (the timer thread cannot be started).

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

namespace zevo::host {

class Timer_queue {
public:
    using Clock = std::chrono::steady_clock;
    using Time = Clock::time_point;
    using Timer_id = std::uint64_t;
    using Callback = std::function<void()>;

    virtual ~Timer_queue() = default;
    /// The queue's present time.
    virtual Time now() const = 0;
    /// Runs `callback` once at `at` or later (at once, on the queue's thread, when `at` has
    /// passed). Timers due at the same time run in the order they were scheduled.
    virtual Timer_id schedule_at(Time at, Callback callback) = 0;
    /// Drops a timer that has not started; a callback already running is not waited for.
    /// Returns whether the timer was dropped. Unknown ids are ignored.
    virtual bool cancel(Timer_id id) = 0;

    Timer_id schedule_after(Clock::duration delay, Callback callback) {
        return schedule_at(now() + delay, std::move(callback));
    }
};

/// Due timers, ordered by time and then by id; shared by both queues.
class Timer_list {
public:
    Timer_queue::Timer_id add(Timer_queue::Time at, Timer_queue::Callback callback);
    bool remove(Timer_queue::Timer_id id);
    /// Time of the earliest timer; false when there is none.
    bool earliest(Timer_queue::Time& at) const;
    /// Takes the earliest timer when it is due at `now`; an empty function otherwise.
    Timer_queue::Callback take_due(Timer_queue::Time now);
    std::size_t size() const { return timers_.size(); }

private:
    Timer_queue::Timer_id next_id_ = 1;
    std::map<std::pair<Timer_queue::Time, Timer_queue::Timer_id>, Timer_queue::Callback> timers_;
    std::map<Timer_queue::Timer_id, Timer_queue::Time> times_;
};

/// The real clock: one thread that sleeps until the earliest timer is due.
class Steady_timer_queue final : public Timer_queue {
public:
    /// Starts the timer thread. Throws std::system_error.
    Steady_timer_queue();
    /// Drops every timer that has not run and joins the thread (after a callback that runs).
    ~Steady_timer_queue() override;
    Steady_timer_queue(const Steady_timer_queue&) = delete;
    Steady_timer_queue& operator=(const Steady_timer_queue&) = delete;

    Time now() const override { return Clock::now(); }
    Timer_id schedule_at(Time at, Callback callback) override;
    bool cancel(Timer_id id) override;

private:
    void run();

    std::mutex mutex_;
    std::condition_variable changed_;
    Timer_list timers_;    // guarded by mutex_
    bool ending_ = false;  // guarded by mutex_
    // When the waiting thread wakes by itself (max: not before it is told; min: it is awake).
    // Guarded by mutex_; only a timer due before it needs to wake the thread.
    Time wakes_at_ = Time::min();
    std::thread thread_;   // started last
};

/// A clock that stands still until advance() moves it: due callbacks run on the advancing thread,
/// in time order, each with now() at its due time.
class Manual_timer_queue final : public Timer_queue {
public:
    Time now() const override;
    Timer_id schedule_at(Time at, Callback callback) override;
    bool cancel(Timer_id id) override;

    /// Moves the clock forward by `step`, running every timer that falls due on the way,
    /// including those that the callbacks schedule within the step.
    void advance(Clock::duration step);
    /// The number of timers that have not run yet.
    std::size_t pending() const;

private:
    mutable std::mutex mutex_;
    Time now_{std::chrono::hours{1}};  // guarded by mutex_; any fixed start will do
    Timer_list timers_;                // guarded by mutex_
};

}  // namespace zevo::host

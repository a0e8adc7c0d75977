#include "host/uds_server/timer_queue.h"

namespace zevo::host {

Timer_queue::Timer_id Timer_list::add(Timer_queue::Time at, Timer_queue::Callback callback) {
    const Timer_queue::Timer_id id = next_id_++;
    timers_.emplace(std::make_pair(at, id), std::move(callback));
    times_.emplace(id, at);
    return id;
}

bool Timer_list::remove(Timer_queue::Timer_id id) {
    const auto time = times_.find(id);
    if (time == times_.end()) return false;
    timers_.erase(std::make_pair(time->second, id));
    times_.erase(time);
    return true;
}

bool Timer_list::earliest(Timer_queue::Time& at) const {
    if (timers_.empty()) return false;
    at = timers_.begin()->first.first;
    return true;
}

Timer_queue::Callback Timer_list::take_due(Timer_queue::Time now) {
    if (timers_.empty() || timers_.begin()->first.first > now) return {};
    Timer_queue::Callback callback = std::move(timers_.begin()->second);
    times_.erase(timers_.begin()->first.second);
    timers_.erase(timers_.begin());
    return callback;
}

Steady_timer_queue::Steady_timer_queue() : thread_([this] { run(); }) {}

Steady_timer_queue::~Steady_timer_queue() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        ending_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

Timer_queue::Timer_id Steady_timer_queue::schedule_at(Time at, Callback callback) {
    Timer_id id = 0;
    bool sooner = false;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        id = timers_.add(at, std::move(callback));
        sooner = at < wakes_at_;
    }
    // A thread that wakes by then anyway finds the timer itself: a request's P2 timer, set
    // and cancelled once per request, does not cost the timer thread a wake-up each time.
    if (sooner) changed_.notify_all();
    return id;
}

bool Steady_timer_queue::cancel(Timer_id id) {
    const std::lock_guard<std::mutex> lock(mutex_);
    return timers_.remove(id);
}

void Steady_timer_queue::run() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!ending_) {
        if (Callback due = timers_.take_due(Clock::now())) {
            lock.unlock();
            try {
                due();
            } catch (...) {
                // A timer's owner reports its own failures; the queue goes on for the others.
            }
            lock.lock();
            continue;
        }
        Time at;
        if (timers_.earliest(at)) {
            wakes_at_ = at;
            changed_.wait_until(lock, at);
        } else {
            wakes_at_ = Time::max();
            changed_.wait(lock);
        }
        wakes_at_ = Time::min();  // awake: the list is looked at again before the next wait
    }
}

Timer_queue::Time Manual_timer_queue::now() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return now_;
}

Timer_queue::Timer_id Manual_timer_queue::schedule_at(Time at, Callback callback) {
    const std::lock_guard<std::mutex> lock(mutex_);
    return timers_.add(at, std::move(callback));
}

bool Manual_timer_queue::cancel(Timer_id id) {
    const std::lock_guard<std::mutex> lock(mutex_);
    return timers_.remove(id);
}

void Manual_timer_queue::advance(Clock::duration step) {
    std::unique_lock<std::mutex> lock(mutex_);
    const Time end = now_ + step;
    for (;;) {
        Time at;
        if (!timers_.earliest(at) || at > end) break;
        if (at > now_) now_ = at;
        Callback due = timers_.take_due(now_);
        lock.unlock();
        due();
        lock.lock();
    }
    now_ = end;
}

std::size_t Manual_timer_queue::pending() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return timers_.size();
}

}  // namespace zevo::host

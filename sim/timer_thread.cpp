#include "sim/timer_thread.h"

#include <utility>

namespace zevo::sim {

Timer_thread::Timer_thread() : thread_([this] { run(); }) {}

Timer_thread::~Timer_thread() { stop(); }

void Timer_thread::schedule(std::chrono::steady_clock::time_point when, Action action) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (stopping_) return;
    waiting_.emplace(when, std::move(action));
    changed_.notify_one();
}

void Timer_thread::stop() noexcept {
    std::multimap<std::chrono::steady_clock::time_point, Action> dropped;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
        dropped.swap(waiting_);
        changed_.notify_one();
    }
    if (thread_.joinable()) thread_.join();
    // `dropped` goes here, outside the lock: its actions may own replies and offers.
}

void Timer_thread::run() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!stopping_) {
        if (waiting_.empty()) {
            changed_.wait(lock);
            continue;
        }
        const auto due = waiting_.begin()->first;
        if (std::chrono::steady_clock::now() < due) {
            changed_.wait_until(lock, due);
            continue;
        }
        Action action = std::move(waiting_.begin()->second);
        waiting_.erase(waiting_.begin());
        lock.unlock();
        action();
        action = nullptr;  // what the action holds goes before the lock is taken again
        lock.lock();
    }
}

}  // namespace zevo::sim

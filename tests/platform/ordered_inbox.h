#pragma once
// What callbacks on other threads hand to a test, kept in arrival order for the test to take one
// at a time with a bounded wait. Thread-safe; header-only test support.

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <utility>

namespace zevo::test {

template <class T>
class Ordered_inbox {
public:
    void put(T item) {
        std::lock_guard<std::mutex> lock(mutex_);
        items_.push_back(std::move(item));
        arrived_.notify_all();
    }

    /// The oldest item not yet taken; empty when none came within `limit`.
    template <class Rep, class Period>
    std::optional<T> next(std::chrono::duration<Rep, Period> limit) {
        std::unique_lock<std::mutex> lock(mutex_);
        if (!arrived_.wait_for(lock, limit, [this] { return !items_.empty(); })) {
            return std::nullopt;
        }
        T item = std::move(items_.front());
        items_.pop_front();
        return item;
    }

    std::size_t waiting() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return items_.size();
    }

private:
    mutable std::mutex mutex_;
    std::condition_variable arrived_;
    std::deque<T> items_;
};

}  // namespace zevo::test

#pragma once
// What the tests of the kel::com future and promise share: a one-shot latch and a two-sided
// start line (threads are ordered by events, never by sleeping), a probe of State::mutex from
// another thread, a catcher for std::future_error and a stand-in for a generated Output record.
// Everything here is used from the test's own threads only; nothing is thread-safe beyond what
// each comment says.

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "proxy/future_state.h"

namespace zevo::proxy_test {

/// A plain results record as the generated bindings make them: known by order and type only.
struct Read_output {
    std::vector<std::uint8_t> record;
    std::uint16_t counter = 0;
};

/// Opens once; every waiter, before or after, passes from then on. Thread-safe.
class Latch {
public:
    void open() {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            open_ = true;
        }
        condition_.notify_all();
    }

    void wait() {
        std::unique_lock<std::mutex> lock(mutex_);
        condition_.wait(lock, [this] { return open_; });
    }

private:
    std::mutex mutex_;
    std::condition_variable condition_;
    bool open_ = false;  ///< guarded by mutex_
};

/// Two threads spin here until both have arrived, so that what follows starts on both as close
/// together as the scheduler allows. One use per pair of threads.
class Start_line {
public:
    void arrive_and_wait() noexcept {
        arrived_.fetch_add(1, std::memory_order_acq_rel);
        while (arrived_.load(std::memory_order_acquire) < 2) {
            std::this_thread::yield();
        }
    }

private:
    std::atomic<int> arrived_{0};
};

/// Runs `here` on the calling thread and `there` on a new thread, both released from one start
/// line, and returns when both are done. Neither may throw.
template <class Here, class There>
void run_together(Here&& here, There&& there) {
    Start_line line;
    std::thread other([&line, &there] {
        line.arrive_and_wait();
        there();
    });
    line.arrive_and_wait();
    here();
    other.join();
}

/// run_together with the two sides changing threads from one round to the next, so that each
/// side gets the head start that the already spinning thread tends to have.
template <class First, class Second>
void race(int round, First&& first, Second&& second) {
    if (round % 2 == 0) {
        run_together(first, second);
    } else {
        run_together(second, first);
    }
}

/// True when another thread can take `mutex` right now, that is when nobody holds it. Tries a
/// few times because try_lock may fail spuriously; a held mutex fails every try.
inline bool mutex_is_free(std::mutex& mutex) {
    bool taken = false;
    std::thread probe([&mutex, &taken] {
        for (int attempt = 0; attempt < 100 && !taken; ++attempt) {
            if (mutex.try_lock()) {
                taken = true;
                mutex.unlock();
            }
        }
    });
    probe.join();
    return taken;
}

/// The std::future_error that `action` throws, or nothing when it returns normally.
template <class Action>
std::optional<std::future_error> future_error_of(Action&& action) {
    try {
        std::forward<Action>(action)();
    } catch (const std::future_error& error) {
        return error;
    }
    return std::nullopt;
}

/// The exception that `action` throws, untouched, or an empty pointer. For waiters on other
/// threads: the exception object is then only looked at after the thread is joined. (Its
/// reference count lives in the uninstrumented C++ runtime, so ThreadSanitizer cannot see that
/// a reader on one thread is ordered before the release on another.)
template <class Action>
std::exception_ptr exception_of(Action&& action) {
    try {
        std::forward<Action>(action)();
    } catch (...) {
        return std::current_exception();
    }
    return nullptr;
}

/// The std::future_error held by `error`, or nothing when it holds something else or nothing.
inline std::optional<std::future_error> future_error_in(const std::exception_ptr& error) {
    return future_error_of([&error] {
        if (error) {
            std::rethrow_exception(error);
        }
    });
}

/// The text that a std::future_error with `code` must carry.
inline std::string future_error_text(std::future_errc code) {
    return "std::future_error: " + std::future_category().message(static_cast<int>(code));
}

/// Puts `cleanup` into the cleanup slot the way the call path does: under the state's mutex.
inline void install_cleanup(const std::shared_ptr<kel::com::future_detail::State>& state,
                            std::function<void()> cleanup) {
    std::lock_guard<std::mutex> lock(state->mutex);
    state->cleanup = std::move(cleanup);
}

/// Runs `action` when destroyed: put one into a closure to see when the function object dies.
class On_destruction {
public:
    explicit On_destruction(std::function<void()> action) : action_(std::move(action)) {}
    On_destruction(const On_destruction&) = delete;
    On_destruction& operator=(const On_destruction&) = delete;
    ~On_destruction() { action_(); }

private:
    std::function<void()> action_;
};

}  // namespace zevo::proxy_test

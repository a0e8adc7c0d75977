#pragma once
// Support for the tests of the strand, the thread pool, Deadline_guard and the service finder:
// threads whose end a test awaits with a bound, a look at a strand's fields under its lock, a
// poll for the one visible step of a stop wait on another thread, a mutex whose next lock fails,
// and a log backend that keeps what the library writes through ara::com::logger(). Nothing here
// sleeps.

#include <pthread.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "ara/com/logger.h"
#include "ruv/com/log/log_backend.h"
#include "ruv/com/static_thread_pool.h"
#include "ruv/com/strand.h"

namespace zevo::test {

/// Long enough never to be reached by a working implementation, short enough to end a broken
/// test.
inline constexpr std::chrono::seconds strand_bound{10};

/// A strand's counters, read together under its lock.
struct Strand_view {
    std::uint8_t state;
    std::uint32_t pending;
    std::size_t queued;
};

inline Strand_view view_of(ruv::com::Strand& strand) {
    std::lock_guard<std::mutex> lock(strand.mutex);
    return {strand.state, strand.pending, strand.tasks.size()};
}

/// Functions waiting in the pool's queue.
inline std::size_t queued_in(ruv::com::static_thread_pool& pool) {
    std::lock_guard<std::mutex> lock(pool.mutex);
    return pool.tasks.size();
}

/// Makes `mutex` a robust POSIX mutex and lets a thread end while holding it, so that the next
/// lock fails with EOWNERDEAD: std::mutex::lock then throws std::system_error "Owner died".
/// That failing lock takes the mutex all the same; hand it to release_after_owner_died. (A
/// std::mutex of this platform is a plain pthread mutex without a destructor of its own.)
inline bool abandon_locked(std::mutex& mutex) {
    pthread_mutexattr_t attributes;
    if (pthread_mutexattr_init(&attributes) != 0) {
        return false;
    }
    const bool made = pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST) == 0 &&
                      pthread_mutex_destroy(mutex.native_handle()) == 0 &&
                      pthread_mutex_init(mutex.native_handle(), &attributes) == 0;
    pthread_mutexattr_destroy(&attributes);
    if (!made) {
        return false;
    }
    std::thread owner{[&mutex] { pthread_mutex_lock(mutex.native_handle()); }};
    owner.join();
    return true;
}

/// Repairs and releases a mutex that a lock took with EOWNERDEAD.
inline bool release_after_owner_died(std::mutex& mutex) {
    return pthread_mutex_consistent(mutex.native_handle()) == 0 &&
           pthread_mutex_unlock(mutex.native_handle()) == 0;
}

/// Polls the strand's state under its lock, yielding in between, until it is `state`. A stop
/// wait or a destructor started on another thread shows nothing else before it sleeps, so
/// this is how a test knows that it has begun. False when the bound passes first.
inline bool await_state(ruv::com::Strand& strand, std::uint8_t state) {
    const auto give_up = std::chrono::steady_clock::now() + strand_bound;
    while (std::chrono::steady_clock::now() < give_up) {
        {
            std::lock_guard<std::mutex> lock(strand.mutex);
            if (strand.state == state) {
                return true;
            }
        }
        std::this_thread::yield();
    }
    return false;
}

/// A thread of a test. join() waits for it at most the bound; a thread that is still running
/// when the object goes would leave the test's objects in use, so that ends the program.
class Bounded_thread {
public:
    explicit Bounded_thread(std::function<void()> work) {
        auto done = std::make_shared<std::promise<void>>();
        done_ = done->get_future();
        thread_ = std::thread([done, work = std::move(work)] {
            work();
            done->set_value();
        });
    }
    Bounded_thread(const Bounded_thread&) = delete;
    Bounded_thread& operator=(const Bounded_thread&) = delete;
    ~Bounded_thread() {
        if (!join()) {
            std::fputs("a thread of the test did not end within its bound\n", stderr);
            std::abort();
        }
    }

    /// True once the work has ended (the thread is then joined); false after the bound.
    bool join() {
        if (!thread_.joinable()) {
            return true;
        }
        if (done_.wait_for(strand_bound) != std::future_status::ready) {
            return false;
        }
        thread_.join();
        return true;
    }

    /// Whether the work has ended, without waiting.
    bool finished_now() const { return done_.wait_for(std::chrono::seconds{0}) == std::future_status::ready; }

private:
    std::future<void> done_;
    std::thread thread_;
};

/// Ordered notes of several threads.
class Journal {
public:
    void add(std::string note) {
        std::lock_guard<std::mutex> lock(mutex_);
        notes_.push_back(std::move(note));
    }
    std::vector<std::string> notes() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return notes_;
    }

private:
    mutable std::mutex mutex_;
    std::vector<std::string> notes_;
};

/// One line written through the library's logger.
struct Logged_line {
    std::string text;
    unsigned char level;
};

/// Takes the place of ara::com::logger()'s backend for its scope and keeps every line at every
/// level. Use it only while no thread but the test's own (and the threads it joins before the
/// scope ends) writes through that logger.
class Recording_log_backend : public ruv::com::log::Log_backend {
public:
    Recording_log_backend() : replaced_(ara::com::logger().backend) { ara::com::logger().backend = this; }
    ~Recording_log_backend() override { ara::com::logger().backend = replaced_; }
    Recording_log_backend(const Recording_log_backend&) = delete;
    Recording_log_backend& operator=(const Recording_log_backend&) = delete;

    bool is_log_enabled(unsigned char) override { return true; }
    void log(std::string const& text, unsigned char level) override {
        std::lock_guard<std::mutex> lock(mutex_);
        lines_.push_back({text, level});
    }

    std::vector<Logged_line> lines() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return lines_;
    }

private:
    ruv::com::log::Log_backend* const replaced_;
    mutable std::mutex mutex_;
    std::vector<Logged_line> lines_;
};

}  // namespace zevo::test

#include "ruv/com/runtime/request_timer.h"

#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

#include "com/runtime/runtime_log.h"

namespace ruv::com::runtime {

// The timer thread holds a reference, so that, detached by an expiry that stopped its timer (or
// dropped the last reference to it), it can still finish its loop safely.
struct Request_timer::State {
    std::mutex mutex;
    std::condition_variable wake;      ///< signalled when the earliest deadline or stop changes
    std::map<Key, Expiry> expiries;    ///< guarded by mutex, earliest first
    /// Guarded by mutex: when the timer thread wakes by itself next (max while it waits for a
    /// signal alone). A new deadline that is not earlier needs no signal: the thread, once awake,
    /// sleeps again until the earliest deadline it finds.
    Clock::time_point waking_at = Clock::time_point::max();
    std::uint64_t next_sequence = 1;   ///< guarded by mutex
    bool stopped = false;              ///< guarded by mutex
    std::thread thread;                ///< guarded by mutex; taken by the first stop

    static void work(const std::shared_ptr<State>& state) noexcept;
};

void Request_timer::State::work(const std::shared_ptr<State>& state) noexcept {
    std::unique_lock<std::mutex> lock(state->mutex);
    while (!state->stopped) {
        if (state->expiries.empty()) {
            state->waking_at = Clock::time_point::max();
            state->wake.wait(lock);
            continue;
        }
        const Clock::time_point deadline = state->expiries.begin()->first.deadline;
        if (Clock::now() < deadline) {
            state->waking_at = deadline;
            state->wake.wait_until(lock, deadline);
            continue;
        }
        state->waking_at = Clock::time_point::min();  // running expiries: looks again before it sleeps
        auto node = state->expiries.extract(state->expiries.begin());
        lock.unlock();
        try {
            node.mapped()();
        } catch (...) {
            detail::log_current_exception("An expiry of the runtime's request timer");
        }
        node = {};  // the expiry goes before the lock is taken again
        lock.lock();
    }
}

Request_timer::Request_timer() : state_(std::make_shared<State>()) {
    std::thread thread{[state = state_] { State::work(state); }};
    std::lock_guard<std::mutex> lock(state_->mutex);
    state_->thread = std::move(thread);
}

Request_timer::~Request_timer() { stop(); }

Request_timer::Key Request_timer::schedule(Clock::time_point deadline, Expiry expiry) {
    {
        std::lock_guard<std::mutex> lock(state_->mutex);
        if (!state_->stopped) {
            const Key key{deadline, state_->next_sequence++};
            state_->expiries.emplace(key, std::move(expiry));
            // Calls are scheduled and cancelled far more often than they expire: waking the
            // thread for a deadline later than the one it already sleeps to would cost every call
            // a context switch for nothing.
            if (deadline < state_->waking_at) {
                state_->waking_at = deadline;
                state_->wake.notify_one();
            }
            return key;
        }
    }
    expiry = nullptr;  // refused: destroyed here, uncalled, with no lock held
    return Key{};
}

bool Request_timer::cancel(const Key& key) noexcept {
    if (key.sequence == 0) {
        return false;
    }
    decltype(State::expiries)::node_type node;
    std::lock_guard<std::mutex> lock(state_->mutex);
    const auto found = state_->expiries.find(key);
    if (found == state_->expiries.end()) {
        return false;
    }
    node = state_->expiries.extract(found);
    return true;
}  // the lock is released first, then the expiry is destroyed, uncalled

void Request_timer::stop() noexcept {
    std::thread thread;
    {
        std::lock_guard<std::mutex> lock(state_->mutex);
        state_->stopped = true;
        thread.swap(state_->thread);
    }
    state_->wake.notify_all();
    if (thread.joinable()) {
        if (thread.get_id() == std::this_thread::get_id()) {
            thread.detach();  // an expiry stopping its own timer: the thread ends after it
        } else {
            thread.join();
        }
    }
    std::map<Key, Expiry> dropped;
    std::lock_guard<std::mutex> lock(state_->mutex);
    dropped.swap(state_->expiries);
}  // the lock is released first, then the dropped expiries are destroyed, uncalled

std::size_t Request_timer::waiting() const {
    std::lock_guard<std::mutex> lock(state_->mutex);
    return state_->expiries.size();
}

}  // namespace ruv::com::runtime

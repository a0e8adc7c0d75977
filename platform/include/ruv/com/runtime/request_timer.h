#pragma once
// The runtime's one timer thread: runs an expiry at its deadline unless it was cancelled first.
// The bindings use it for the request timeout of each call. schedule, cancel and stop are
// thread-safe and may be called from an expiry; an expiry that throws is logged.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

namespace ruv::com::runtime {

class Request_timer {
public:
    using Clock = std::chrono::steady_clock;
    using Expiry = std::function<void()>;

    /// Names one scheduled expiry; the default value names none.
    struct Key {
        Clock::time_point deadline{};
        std::uint64_t sequence = 0;

        friend bool operator<(const Key& left, const Key& right) noexcept {
            return left.deadline < right.deadline ||
                   (left.deadline == right.deadline && left.sequence < right.sequence);
        }
    };

    /// Starts the timer thread. Throws std::system_error, std::bad_alloc.
    Request_timer();
    /// stop().
    ~Request_timer();
    Request_timer(const Request_timer&) = delete;
    Request_timer& operator=(const Request_timer&) = delete;

    /// Runs `expiry` on the timer thread once `deadline` has passed. Once stopped it returns the
    /// empty key and destroys `expiry` uncalled. Throws std::bad_alloc.
    Key schedule(Clock::time_point deadline, Expiry expiry);

    /// Forgets an expiry that has not started; it is destroyed on this thread, uncalled. True
    /// when it was still waiting. The empty key and unknown keys are ignored.
    bool cancel(const Key& key) noexcept;

    /// Joins the timer thread (detached instead when an expiry stops its own timer) and destroys
    /// the waiting expiries uncalled. Later schedules fail. A second call returns at once.
    void stop() noexcept;

    /// Expiries waiting now; for tests and diagnostics.
    std::size_t waiting() const;

private:
    struct State;  ///< the expiries and their lock, shared with the timer thread, which may outlive this

    const std::shared_ptr<State> state_;
};

}  // namespace ruv::com::runtime

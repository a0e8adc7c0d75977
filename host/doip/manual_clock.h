#pragma once
// A clock that moves only when told to: advance() sets the time forward and runs the callbacks
// of the timers that became due on their io_contexts, waiting (bounded) until they have run.
// For tests of the entity's timers. advance() from any thread but the timers' io threads.

#include <chrono>
#include <map>
#include <mutex>

#include "host/doip/clock.h"

namespace zevo::doip {

class Manual_clock final : public Clock {
public:
    Time_point now() const override;
    std::unique_ptr<Timer> make_timer(asio::io_context& io) override;

    // Moves the time forward by `step` and runs what became due; false if the callbacks did not
    // finish within 5 s of real time.
    bool advance(std::chrono::steady_clock::duration step);

private:
    class Manual_timer;
    struct Arrangement {
        asio::io_context* io = nullptr;
        Time_point at{};
        std::function<void()> expired;
    };

    mutable std::mutex mutex_;
    Time_point now_{std::chrono::hours(1)};  ///< guarded by mutex_
    std::uint64_t next_id_ = 1;               ///< guarded by mutex_
    std::map<std::uint64_t, Arrangement> arrangements_;  ///< guarded by mutex_; by timer id
};

}  // namespace zevo::doip

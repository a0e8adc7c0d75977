#pragma once
// The calls a simulated service has received and not answered yet (a delayed answer, a call kept
// without answer or until Cancel), with their replies. Thread-safe: runtime threads add and
// take, the timer thread answers late, tests wait for a held call. Throws std::bad_alloc only.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <list>
#include <mutex>
#include <optional>
#include <vector>

#include "ruv/com/local/reply.h"
#include "sim/scenario.h"

namespace zevo::sim {

class Held_calls {
public:
    struct Call {
        std::uint64_t id;
        std::uint16_t identifier;
        Method method;
        ruv::com::local::Reply reply;
        bool until_cancel;  ///< released by a Cancel of the same service
    };

    /// Keeps `reply`; returns the id to take it by.
    std::uint64_t add(std::uint16_t identifier, Method method, ruv::com::local::Reply reply, bool until_cancel);

    /// Takes the call `id` back; nothing when it was taken or cleared before.
    std::optional<ruv::com::local::Reply> take(std::uint64_t id);

    /// Takes every call of `identifier` that waits for a Cancel, in arrival order.
    std::vector<Call> take_until_cancel(std::uint16_t identifier);

    /// True once a call of `method` of `identifier` is held and still unanswered, within `timeout`.
    bool wait_for(std::uint16_t identifier, Method method, std::chrono::milliseconds timeout) const;

    /// Drops every held call (unanswered ones are dropped with their replies).
    void clear() noexcept;

private:
    bool holds(std::uint16_t identifier, Method method) const;  // mutex_ held

    mutable std::mutex mutex_;
    mutable std::condition_variable added_;
    std::list<Call> calls_;       ///< guarded by mutex_; answered ones are pruned on add
    std::uint64_t next_id_ = 1;   ///< guarded by mutex_
};

}  // namespace zevo::sim

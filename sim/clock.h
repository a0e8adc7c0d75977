#pragma once
// Where the simulated routines take their time from: a function returning a steady time point,
// injected through Simulator_options so that tests move time by hand instead of waiting.
// Called on runtime threads under the simulator's lock; must not block. Throws nothing.

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>

namespace zevo::sim {

using Sim_time = std::chrono::steady_clock::time_point;

/// The time source of routine work; empty means std::chrono::steady_clock::now.
using Sim_clock = std::function<Sim_time()>;

/// A clock that stands still until a test advances it. Thread-safe; must outlive every
/// simulator that reads it through function().
class Manual_clock {
public:
    Sim_time now() const noexcept { return Sim_time{Sim_time::duration{ticks_.load(std::memory_order_acquire)}}; }

    void advance(std::chrono::milliseconds step) noexcept {
        ticks_.fetch_add(std::chrono::duration_cast<Sim_time::duration>(step).count(), std::memory_order_acq_rel);
    }

    /// This clock as a Sim_clock; holds `this`.
    Sim_clock function() const {
        return [this] { return now(); };
    }

private:
    std::atomic<Sim_time::rep> ticks_{0};
};

}  // namespace zevo::sim

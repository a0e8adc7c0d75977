#pragma once
// When SD sends the Offers of one offered service or the Finds of one searched service: an
// initial wait (chosen by the caller in [INITIAL_DELAY_MIN, INITIAL_DELAY_MAX]), the first message,
// then up to REPETITIONS_MAX repetitions after REPETITIONS_BASE_DELAY, doubling each time, then
// for Offers one per CYCLIC_OFFER_DELAY (Finds stop). Pure: driven by the times it is given, so
// that tests run it on their own clock. Not thread-safe.

#include <chrono>

#include "com/manifest/manifest.h"

namespace ruv::com::someip_binding::sd {

class Phase_timer {
public:
    using Clock = std::chrono::steady_clock;
    enum class Phase { initial_wait, repetition, main, done };

    /// Starts the initial wait at `now`. `cyclic`: Offers go on in a main phase, Finds end.
    Phase_timer(const Sd_settings& settings, bool cyclic, std::chrono::milliseconds initial_delay,
                Clock::time_point now) noexcept;

    bool due(Clock::time_point now) const noexcept { return phase_ != Phase::done && now >= next_; }

    /// The message due has been sent at `now`: on to the next.
    void sent(Clock::time_point now) noexcept;

    /// When the next message is due; time_point::max() once done.
    Clock::time_point next() const noexcept { return phase_ == Phase::done ? Clock::time_point::max() : next_; }

    Phase phase() const noexcept { return phase_; }

    /// No more messages (a Find whose service was found).
    void finish() noexcept { phase_ = Phase::done; }

private:
    std::chrono::milliseconds base_;
    unsigned repetitions_max_;
    std::chrono::milliseconds cyclic_delay_;
    bool cyclic_;
    Phase phase_ = Phase::initial_wait;
    unsigned repetitions_ = 0;
    std::chrono::milliseconds delay_{0};
    Clock::time_point next_;
};

}  // namespace ruv::com::someip_binding::sd

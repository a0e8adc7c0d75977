#include "com/sd/phase_timer.h"

namespace ruv::com::someip_binding::sd {

Phase_timer::Phase_timer(const Sd_settings& settings, bool cyclic, std::chrono::milliseconds initial_delay,
                         Clock::time_point now) noexcept
    : base_(settings.repetition_base_delay),
      repetitions_max_(settings.repetition_max),
      cyclic_delay_(settings.cyclic_offer_delay),
      cyclic_(cyclic),
      next_(now + initial_delay) {}

void Phase_timer::sent(Clock::time_point now) noexcept {
    switch (phase_) {
    case Phase::initial_wait:
        if (repetitions_max_ > 0) {
            phase_ = Phase::repetition;
            delay_ = base_;
            next_ = now + delay_;
            return;
        }
        break;
    case Phase::repetition:
        if (++repetitions_ < repetitions_max_) {
            delay_ *= 2;
            next_ = now + delay_;
            return;
        }
        break;
    case Phase::main:
        next_ = now + cyclic_delay_;
        return;
    case Phase::done:
        return;
    }
    if (cyclic_) {
        phase_ = Phase::main;
        next_ = now + cyclic_delay_;
    } else {
        phase_ = Phase::done;
    }
}

}  // namespace ruv::com::someip_binding::sd

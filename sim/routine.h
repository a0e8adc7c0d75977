#pragma once
// The life of a simulated routine, the same for all six: never started, running until the routine
// duration has passed, then completed, failed or aborted by Cancel; its Logic (routine_logic.h)
// does the rest. Used under the simulator's lock on runtime threads. Throws std::bad_alloc only.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <optional>
#include <variant>

#include "sim/clock.h"
#include "sim/key_world.h"
#include "sim/response_codes.h"

namespace zevo::sim {

/// The first byte of every routine's results.
enum class Routine_status : std::uint8_t { running = 0x01, completed = 0x02, aborted = 0x03, failed = 0x04 };

/// What a routine's results report besides its own data.
struct Routine_progress {
    Routine_status status = Routine_status::running;
    std::uint8_t percent = 0;  ///< 0 to 99 while running, 100 once completed or failed
};

/// Logic: `accept(const Key_world&, arguments...)` checks and keeps the Start arguments and
/// returns the refusal code or nothing; `begin(Key_world&)` marks the work as under way;
/// `finish(Key_world&)` does the work and says whether it succeeded; `abort(Key_world&)` undoes
/// begin; `output(Routine_progress)` builds the RequestResults record.
template <class Logic>
class Routine {
public:
    using Output = typename Logic::Interface::RequestResults::Output;

    /// Start: refused with 0x22 while running; otherwise the logic's verdict. Work of no
    /// duration completes at once.
    template <class... Arguments>
    std::optional<std::uint8_t> start(Key_world& world, Sim_time now, std::chrono::milliseconds duration,
                                      const Arguments&... arguments) {
        if (phase_ == Phase::running) return nrc::conditions_not_correct;
        Logic fresh;
        if (const std::optional<std::uint8_t> refused = fresh.accept(world, arguments...)) return refused;
        logic_ = std::move(fresh);
        phase_ = Phase::running;
        started_ = now;
        duration_ = std::max(duration, std::chrono::milliseconds{0});
        logic_.begin(world);
        advance(world, now);
        return std::nullopt;
    }

    /// Ends running work whose time has come.
    void advance(Key_world& world, Sim_time now) {
        if (phase_ != Phase::running || now < started_ + duration_) return;
        phase_ = logic_.finish(world) ? Phase::completed : Phase::failed;
    }

    /// RequestResults: the record, or 0x24 when the routine was never started.
    std::variant<Output, std::uint8_t> results(Sim_time now) const {
        switch (phase_) {
            case Phase::never_started: return nrc::request_sequence_error;
            case Phase::running: return logic_.output({Routine_status::running, percent_at(now)});
            case Phase::completed: return logic_.output({Routine_status::completed, 100});
            case Phase::failed: return logic_.output({Routine_status::failed, 100});
            case Phase::aborted: return logic_.output({Routine_status::aborted, aborted_at_});
        }
        return nrc::request_sequence_error;
    }

    /// Cancel: running work stops where it is and has no effect.
    void cancel(Key_world& world, Sim_time now) {
        if (phase_ != Phase::running) return;
        aborted_at_ = percent_at(now);
        logic_.abort(world);
        phase_ = Phase::aborted;
    }

    bool running() const noexcept { return phase_ == Phase::running; }

private:
    enum class Phase { never_started, running, completed, failed, aborted };

    std::uint8_t percent_at(Sim_time now) const {
        if (duration_.count() <= 0) return 99;
        const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(now - started_);
        const auto percent = std::clamp<std::chrono::milliseconds::rep>(elapsed.count() * 100 / duration_.count(), 0, 99);
        return static_cast<std::uint8_t>(percent);
    }

    Phase phase_ = Phase::never_started;
    Logic logic_{};
    Sim_time started_{};
    std::chrono::milliseconds duration_{0};
    std::uint8_t aborted_at_ = 0;  ///< progress when Cancel came
};

}  // namespace zevo::sim

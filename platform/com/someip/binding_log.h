#pragma once
// What the SOME/IP binding counts and says about malformed or unexpected input: one counter per
// kind, and a warning line through ara::com::logger() at most a few times per second, so that a
// peer that floods the node with garbage cannot flood the log. Thread-safe; throws nothing.

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <functional>
#include <string>

namespace ruv::com::log {
class Log_backend;
}  // namespace ruv::com::log

namespace ruv::com::someip_binding {

enum class Anomaly : std::uint8_t {
    datagram_tail,       ///< bytes of a datagram that held no whole message
    stream_broken,       ///< a TCP stream with a length field out of range; closed
    unmatched_response,  ///< a RESPONSE or ERROR that answers no open call
    rejected_request,    ///< a request that failed a check
    unexpected_message,  ///< a message type the receiver does not take
    sd_message,          ///< an SD message dropped whole
    sd_entry,            ///< an SD entry rejected or of unknown type
    count_
};

class Binding_log {
public:
    using Clock = std::chrono::steady_clock;

    /// Writes through ara::com::logger() on the steady clock.
    Binding_log() = default;
    /// For tests: writes to `backend` (not owned, outlives this) on the clock given.
    Binding_log(log::Log_backend& backend, std::function<Clock::time_point()> clock)
        : backend_(&backend), clock_(std::move(clock)) {}

    /// Counts one anomaly and, within the rate limit, logs `text` at warning level.
    void warn(Anomaly kind, const std::string& text) noexcept;

    std::uint64_t count(Anomaly kind) const noexcept {
        return counters_[static_cast<std::size_t>(kind)].load(std::memory_order_relaxed);
    }

private:
    static constexpr unsigned lines_per_second = 10;

    log::Log_backend* const backend_ = nullptr;       ///< null: ara::com::logger()'s
    const std::function<Clock::time_point()> clock_;  ///< empty: Clock::now

    std::array<std::atomic<std::uint64_t>, static_cast<std::size_t>(Anomaly::count_)> counters_{};
    std::mutex mutex_;
    Clock::time_point window_start_;                  ///< guarded by mutex_
    unsigned lines_in_window_ = 0;                        ///< guarded by mutex_
    std::uint64_t suppressed_ = 0;                        ///< guarded by mutex_
};

}  // namespace ruv::com::someip_binding

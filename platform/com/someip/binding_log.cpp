#include "com/someip/binding_log.h"

#include "ara/com/logger.h"

namespace ruv::com::someip_binding {
namespace {

constexpr unsigned char warning_level = 3;

}  // namespace

void Binding_log::warn(Anomaly kind, const std::string& text) noexcept {
    counters_[static_cast<std::size_t>(kind)].fetch_add(1, std::memory_order_relaxed);
    try {
        std::uint64_t suppressed = 0;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            const Clock::time_point now = clock_ ? clock_() : Clock::now();
            if (now - window_start_ >= std::chrono::seconds(1)) {
                window_start_ = now;
                lines_in_window_ = 0;
            }
            if (lines_in_window_ == lines_per_second) {
                ++suppressed_;
                return;
            }
            ++lines_in_window_;
            suppressed = suppressed_;
            suppressed_ = 0;
        }
        log::Log_backend& backend = backend_ != nullptr ? *backend_ : ara::com::logger().get_backend();
        if (backend.is_log_enabled(warning_level)) {
            std::string line = "SOME/IP: " + text;
            if (suppressed != 0) {
                line += " (" + std::to_string(suppressed) + " similar lines suppressed before)";
            }
            backend.log(line, warning_level);
        }
    } catch (...) {  // the line is lost; the count stays
    }
}

}  // namespace ruv::com::someip_binding

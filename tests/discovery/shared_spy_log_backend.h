#pragma once
// A Log_backend for the discovery tests, written to from the test's thread, the runtime's threads
// and the pool's at once: every level up to a threshold is enabled, and every line is kept with
// its level under a mutex. The test thread waits for lines through a condition variable, bounded.

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "ruv/com/log/generic_logger.h"
#include "ruv/com/log/log_backend.h"
#include "tests/trace/spy_log_backend.h"

namespace zevo::test {

class Shared_spy_log_backend : public ruv::com::log::Log_backend {
public:
    /// Levels 1 up to `threshold` are enabled; 5 (debug) by default, so that nothing is left out.
    explicit Shared_spy_log_backend(unsigned char threshold = 5) noexcept : threshold_(threshold) {}

    bool is_log_enabled(unsigned char level) override { return level >= 1 && level <= threshold_; }

    void log(std::string const& text, unsigned char level) override {
        const std::lock_guard<std::mutex> lock(mutex_);
        lines_.push_back({level, text});
        written_.notify_all();
    }

    /// A copy of every line so far, in the order written.
    std::vector<Logged_line> lines() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return lines_;
    }

    /// The lines whose text holds `needle`, in order.
    std::vector<Logged_line> lines_with(const std::string& needle) const {
        std::vector<Logged_line> found;
        for (Logged_line& line : lines()) {
            if (line.text.find(needle) != std::string::npos) {
                found.push_back(std::move(line));
            }
        }
        return found;
    }

    /// Waits until `count` lines hold `needle`; false when they are not there within `bound`.
    bool wait_for(const std::string& needle, std::size_t count, std::chrono::milliseconds bound) const {
        std::unique_lock<std::mutex> lock(mutex_);
        return written_.wait_for(lock, bound, [&] {
            std::size_t seen = 0;
            for (const Logged_line& line : lines_) {
                if (line.text.find(needle) != std::string::npos) ++seen;
            }
            return seen >= count;
        });
    }

private:
    const unsigned char threshold_;
    mutable std::mutex mutex_;                  ///< guards lines_
    mutable std::condition_variable written_;   ///< notified after each line
    std::vector<Logged_line> lines_;
};

/// A logger over `backend`, as ara::com::logger() hands one out; `backend` must outlive it.
inline ruv::com::log::Generic_logger logger_over(ruv::com::log::Log_backend& backend) {
    return ruv::com::log::Generic_logger{"zevo::test::discovery", &backend};
}

}  // namespace zevo::test

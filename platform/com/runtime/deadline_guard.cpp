#include "ruv/com/deadline_guard.h"

#include <utility>

#include "com/runtime/runtime_log.h"

namespace ruv::com {

Deadline_guard::Deadline_guard(unsigned long const& limit,
                               std::function<void(unsigned long)> on_exceeded) noexcept
    : limit_(limit), on_exceeded_(std::move(on_exceeded)), start_(std::chrono::steady_clock::now()) {}

Deadline_guard::~Deadline_guard() {
    const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now() - start_);
    const auto milliseconds = static_cast<unsigned long>(elapsed.count());
    if (milliseconds <= limit_ || !on_exceeded_) {
        return;
    }
    try {
        on_exceeded_(milliseconds);
    } catch (...) {
        runtime::detail::log_current_exception("The report of a Deadline_guard");
    }
}

}  // namespace ruv::com

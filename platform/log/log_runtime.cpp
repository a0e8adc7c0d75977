#include "platform/log/log_runtime.h"

#include <chrono>

namespace ara::log::detail {

namespace {

// The ids under which the library reports its own configuration problems.
constexpr std::string_view own_app_id = "ZEVO";
constexpr std::string_view own_context_id = "ALOG";

}  // namespace

Log_runtime& Log_runtime::instance() {
    // Deliberately never deleted: loggers must outlive static destructors that still log.
    static Log_runtime* const runtime = new Log_runtime(read_log_config_from_environment());
    return *runtime;
}

Log_runtime::Log_runtime(Log_config config) : config_(std::move(config)) {
    for (std::string const& warning : config_.warnings) {
        console_.write(Record{std::chrono::system_clock::now(), LogLevel::kWarn, own_app_id,
                              own_context_id, warning});
    }
}

Logger& Log_runtime::logger(std::string_view app_id, std::string_view context_id) {
    std::string app{app_id.substr(0, 4)};
    std::string context{context_id.substr(0, 4)};
    std::lock_guard<std::mutex> const lock{mutex_};
    auto& slot = loggers_[{std::move(app), std::move(context)}];
    if (!slot) slot = std::make_unique<Logger>(app_id, context_id, config_.threshold, console_);
    return *slot;
}

}  // namespace ara::log::detail

namespace ara::log {

Logger& CreateLogger(std::string_view app_id, std::string_view context_id) {
    return detail::Log_runtime::instance().logger(app_id, context_id);
}

}  // namespace ara::log

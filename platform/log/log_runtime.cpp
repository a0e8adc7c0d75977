#include "platform/log/log_runtime.h"

#include <errno.h>  // program_invocation_short_name

#include <chrono>

#include "ara/log/contexts.h"

namespace ara::log::detail {

Log_runtime& Log_runtime::instance() {
    // Deliberately never deleted: loggers must outlive static destructors that still log.
    static Log_runtime* const runtime = new Log_runtime(read_log_config_from_environment());
    return *runtime;
}

Log_runtime::Log_runtime(Log_config config) : config_(std::move(config)), sink_(&console_) {
    for (std::string const& warning : config_.warnings) {
        console_.write(Record{std::chrono::system_clock::now(), LogLevel::kWarn, config_.app_id,
                              contexts::log_library.id, warning});
    }
    if (config_.sink == Sink_kind::dlt) {
        dlt_ = std::make_unique<Dlt_sink>(config_.app_id, program_invocation_short_name,
                                          config_.threshold);
        sink_ = dlt_.get();
    }
}

Logger& Log_runtime::logger(std::string_view context_id) {
    std::string_view const context = context_id.substr(0, 4);
    std::lock_guard<std::mutex> const lock{mutex_};
    auto const found = loggers_.find(context);
    if (found != loggers_.end()) return *found->second;
    auto& slot = loggers_[std::string{context}];
    slot = std::make_unique<Logger>(config_.app_id, context, config_.threshold, *sink_);
    if (dlt_) dlt_->add_context(context);
    return *slot;
}

}  // namespace ara::log::detail

namespace ara::log {

Logger& CreateLogger(std::string_view /*app_id*/, std::string_view context_id) {
    return detail::Log_runtime::instance().logger(context_id);
}

}  // namespace ara::log

#pragma once
// A logger: the application id and context id that mark its records, the threshold of the
// process and the sink. CreateLogger hands out the process's loggers, which live until the
// process ends; all members are const after construction and safe to use from any thread.

#include <string_view>

#include "ara/log/log_level.h"
#include "ara/log/sink.h"

namespace ara::log {

class Logger {
public:
    // Ids are DLT ids: up to four characters; longer ones are cut to four. The sink is not
    // owned and must outlive the logger. Throws nothing.
    Logger(std::string_view app_id, std::string_view context_id, LogLevel threshold,
           Sink& sink) noexcept;

    Logger(Logger const&) = delete;
    Logger& operator=(Logger const&) = delete;

    // True for kFatal up to the threshold; kOff and values above kVerbose are never enabled.
    bool IsLogEnabled(LogLevel level) const noexcept;

    std::string_view app_id() const noexcept { return {app_id_, app_id_length_}; }
    std::string_view context_id() const noexcept { return {context_id_, context_id_length_}; }
    LogLevel threshold() const noexcept { return threshold_; }
    Sink& sink() const noexcept { return *sink_; }

private:
    static constexpr std::size_t id_capacity = 4;

    char app_id_[id_capacity];
    char context_id_[id_capacity];
    std::size_t app_id_length_;
    std::size_t context_id_length_;
    LogLevel threshold_;
    Sink* sink_;  ///< not owned
};

// The process's logger for this context id, made on first request; the same context id always
// gives the same logger. A process is one application: every logger's records carry the
// process's application id (ZEVO_LOG_APP_ID, default "ZEVO"), and `app_id` only documents the
// caller's expectation. The first call of the process reads ZEVO_LOG_LEVEL, ZEVO_LOG_SINK and
// ZEVO_LOG_APP_ID. Thread-safe. Throws std::bad_alloc only.
Logger& CreateLogger(std::string_view app_id, std::string_view context_id);

}  // namespace ara::log

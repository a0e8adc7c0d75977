#pragma once
// The log library's process-wide state: the configuration read at first use, the console sink
// and the loggers handed out by CreateLogger. Made on first use and never destroyed, so that
// loggers stay valid for code that runs during the process's exit.

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

#include "ara/log/logger.h"
#include "platform/log/console_sink.h"
#include "platform/log/log_config.h"

namespace ara::log::detail {

class Log_runtime {
public:
    // The process's runtime; the first call reads the environment and writes one warning line
    // per refused setting. Thread-safe.
    static Log_runtime& instance();

    // The logger of this pair of ids (cut to four characters), made on first request.
    // Thread-safe. Throws std::bad_alloc only.
    Logger& logger(std::string_view app_id, std::string_view context_id);

    LogLevel threshold() const noexcept { return config_.threshold; }

private:
    explicit Log_runtime(Log_config config);

    Log_config const config_;  ///< const after construction
    Console_sink console_;     ///< thread-safe itself
    std::mutex mutex_;         ///< guards loggers_
    std::map<std::pair<std::string, std::string>, std::unique_ptr<Logger>> loggers_;
};

}  // namespace ara::log::detail

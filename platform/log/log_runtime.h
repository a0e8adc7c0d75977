#pragma once
// The log library's process-wide state: the configuration read at first use, the sink it chose
// (the console, or DLT) and the loggers handed out by CreateLogger. Made on first use and never
// destroyed, so that loggers stay valid for code that runs during the process's exit.

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "ara/log/logger.h"
#include "platform/log/console_sink.h"
#include "platform/log/dlt_sink.h"
#include "platform/log/log_config.h"

namespace ara::log::detail {

class Log_runtime {
public:
    // The process's runtime; the first call reads the environment and writes one warning line
    // per refused setting to standard error, whatever the sink. Thread-safe.
    static Log_runtime& instance();

    // The logger of this context id (cut to four characters), made on first request; its
    // records carry the process's application id. Thread-safe. Throws std::bad_alloc only.
    Logger& logger(std::string_view context_id);

    LogLevel threshold() const noexcept { return config_.threshold; }

private:
    explicit Log_runtime(Log_config config);

    Log_config const config_;          ///< const after construction
    Console_sink console_;             ///< thread-safe itself; also takes the warnings
    std::unique_ptr<Dlt_sink> dlt_;    ///< with ZEVO_LOG_SINK=dlt only
    Sink* sink_;                       ///< console_ or *dlt_
    std::mutex mutex_;                 ///< guards loggers_
    std::map<std::string, std::unique_ptr<Logger>, std::less<>> loggers_;
};

}  // namespace ara::log::detail

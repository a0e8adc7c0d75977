#pragma once
// One record under construction: text is gathered by operator<< and the destructor hands the
// finished line to the logger's sink, if the level is enabled. A stream belongs to one thread;
// it must not outlive its logger.

#include <string>

#include "ara/log/log_level.h"
#include "ara/log/logger.h"

namespace ara::log {

class LogStream {
public:
    // Decides once, here, whether the record is enabled; a disabled stream gathers nothing.
    LogStream(LogLevel level, Logger const& logger) noexcept;

    // Writes the record. An allocation failure on the way ends the process (std::terminate).
    ~LogStream();

    LogStream(LogStream const&) = delete;
    LogStream& operator=(LogStream const&) = delete;

    // Appends the text; a null pointer appends nothing. Throws std::bad_alloc only.
    LogStream& operator<<(char const* text);

private:
    LogLevel level_;
    Logger const* logger_;  ///< not owned
    bool enabled_;
    std::string text_;
};

}  // namespace ara::log

#pragma once
// The Log_backend in use: writes through an ara::log::Logger. Thread-safe as the logger is;
// the logger is not owned and must outlive the backend. Its one field, behind the virtual
// table, is the pointer to that logger.

#include <string>

#include "ara/log/logger.h"
#include "ruv/com/log/log_backend.h"

namespace ruv::com::log {

class Ara_log_backend : public Log_backend {
public:
    explicit Ara_log_backend(ara::log::Logger const& logger) noexcept : logger_(&logger) {}

    // The logger's IsLogEnabled for this number, unmapped.
    bool is_log_enabled(unsigned char level) override;

    // Nothing for an empty text; otherwise one line at map_level(level). Throws what
    // ara::log throws (std::bad_alloc).
    void log(std::string const& text, unsigned char level) override;

    // 1, 2, 3, 4 and 6 stay as they are; every other number, 0 and 7 upward included, is 5.
    static ara::log::LogLevel map_level(unsigned char level) noexcept;

private:
    ara::log::Logger const* logger_;  ///< not owned
};

}  // namespace ruv::com::log

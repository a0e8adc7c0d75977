#include "ara/log/log_stream.h"

#include <chrono>

namespace ara::log {

LogStream::LogStream(LogLevel level, Logger const& logger) noexcept
    : level_(level), logger_(&logger), enabled_(logger.IsLogEnabled(level)) {}

LogStream::~LogStream() {
    if (!enabled_) return;
    logger_->sink().write(Record{std::chrono::system_clock::now(), level_, logger_->app_id(),
                                 logger_->context_id(), text_});
}

LogStream& LogStream::operator<<(char const* text) {
    if (enabled_ && text != nullptr) text_ += text;
    return *this;
}

}  // namespace ara::log

#include "ruv/com/log/ara_log_backend.h"

#include "ara/log/log_stream.h"

namespace ruv::com::log {

bool Ara_log_backend::is_log_enabled(unsigned char level) {
    return logger_->IsLogEnabled(static_cast<ara::log::LogLevel>(level));
}

void Ara_log_backend::log(std::string const& text, unsigned char level) {
    if (text.empty()) return;
    ara::log::LogStream stream{map_level(level), *logger_};
    stream << text.c_str();
}  // the stream's destructor writes the line

ara::log::LogLevel Ara_log_backend::map_level(unsigned char level) noexcept {
    switch (level) {
    case 1:
    case 2:
    case 3:
    case 4:
    case 6:
        return static_cast<ara::log::LogLevel>(level);
    default:
        return ara::log::LogLevel::kDebug;
    }
}

}  // namespace ruv::com::log

#include "ara/log/logger.h"

#include <algorithm>

namespace ara::log {

namespace {

std::size_t copy_id(char (&target)[4], std::string_view id) noexcept {
    std::size_t const length = std::min(id.size(), sizeof target);
    std::copy_n(id.data(), length, target);
    return length;
}

}  // namespace

Logger::Logger(std::string_view app_id, std::string_view context_id, LogLevel threshold,
               Sink& sink) noexcept
    : app_id_{}, context_id_{}, app_id_length_(copy_id(app_id_, app_id)),
      context_id_length_(copy_id(context_id_, context_id)), threshold_(threshold), sink_(&sink) {}

bool Logger::IsLogEnabled(LogLevel level) const noexcept {
    return level != LogLevel::kOff && level <= LogLevel::kVerbose && level <= threshold_;
}

}  // namespace ara::log

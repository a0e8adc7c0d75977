#include "host/doip/entity_log.h"

#include <ara/log/log_stream.h>
#include <ara/log/logger.h>

#include <cstdio>

namespace zevo::doip {
namespace {

ara::log::Logger& logger() {
    static ara::log::Logger& instance = ara::log::CreateLogger("ZEVO", "DOIP");
    return instance;
}

}  // namespace

void log_info(const std::string& text) {
    ara::log::LogStream(ara::log::LogLevel::kInfo, logger()) << text.c_str();
}

void log_warn(const std::string& text) {
    ara::log::LogStream(ara::log::LogLevel::kWarn, logger()) << text.c_str();
}

std::string hex4(std::uint16_t value) {
    char text[8];
    std::snprintf(text, sizeof text, "0x%04X", static_cast<unsigned>(value));
    return text;
}

std::string hex2(std::uint8_t value) {
    char text[6];
    std::snprintf(text, sizeof text, "0x%02X", static_cast<unsigned>(value));
    return text;
}

}  // namespace zevo::doip

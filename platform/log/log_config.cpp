#include "platform/log/log_config.h"

#include <cstdlib>
#include <string_view>

namespace ara::log::detail {

namespace {

bool is_unset(char const* text) noexcept { return text == nullptr || *text == '\0'; }

}  // namespace

Log_config parse_log_config(char const* level_text, char const* sink_text) {
    Log_config config;
    if (!is_unset(level_text)) {
        std::string_view const level{level_text};
        // Exactly one digit: " 4", "04" and "4x" are refused rather than guessed at.
        if (level.size() == 1 && level[0] >= '0' && level[0] <= '6') {
            config.threshold = static_cast<LogLevel>(level[0] - '0');
        } else {
            config.warnings.push_back("ZEVO_LOG_LEVEL \"" + std::string{level} +
                                      "\" is not a level from 0 to 6; using 4 (info)");
        }
    }
    if (!is_unset(sink_text)) {
        std::string_view const sink{sink_text};
        // The DLT sink is not built yet; "dlt" falls back like any other unknown name.
        if (sink != "console") {
            config.warnings.push_back("ZEVO_LOG_SINK \"" + std::string{sink} +
                                      "\" is not a sink of this build; using console");
        }
    }
    return config;
}

Log_config read_log_config_from_environment() {
    return parse_log_config(std::getenv("ZEVO_LOG_LEVEL"), std::getenv("ZEVO_LOG_SINK"));
}

}  // namespace ara::log::detail

#include "platform/log/log_config.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

namespace ara::log::detail {

namespace {

bool is_unset(char const* text) noexcept { return text == nullptr || *text == '\0'; }

// DLT ids are four bytes; a viewer shows them as text, so only visible ASCII is taken.
bool is_app_id(std::string_view id) noexcept {
    return !id.empty() && id.size() <= 4 &&
           std::all_of(id.begin(), id.end(), [](char c) { return c > ' ' && c < 0x7F; });
}

}  // namespace

Log_config parse_log_config(char const* level_text, char const* sink_text,
                            char const* app_id_text) {
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
        if (sink == "dlt") {
            config.sink = Sink_kind::dlt;
        } else if (sink != "console") {
            config.warnings.push_back("ZEVO_LOG_SINK \"" + std::string{sink} +
                                      "\" is not a sink (console or dlt); using console");
        }
    }
    if (!is_unset(app_id_text)) {
        std::string_view const app_id{app_id_text};
        if (is_app_id(app_id)) {
            config.app_id = std::string{app_id};
        } else {
            config.warnings.push_back("ZEVO_LOG_APP_ID \"" + std::string{app_id} +
                                      "\" is not an id of one to four characters without "
                                      "spaces; using " + default_app_id);
        }
    }
    return config;
}

Log_config read_log_config_from_environment() {
    return parse_log_config(std::getenv("ZEVO_LOG_LEVEL"), std::getenv("ZEVO_LOG_SINK"),
                            std::getenv("ZEVO_LOG_APP_ID"));
}

}  // namespace ara::log::detail

#pragma once
// The log library's configuration, read once per process from the environment by the first
// CreateLogger. Parsing is a pure function, so that every value can be tried without a process.

#include <string>
#include <vector>

#include "ara/log/log_level.h"

namespace ara::log::detail {

enum class Sink_kind {
    console,  ///< one line per record on standard error
    dlt,      ///< one DLT verbose message per record, to the DLT daemon through libdlt
};

// The application id of a process that does not choose one.
inline constexpr char const* default_app_id = "ZEVO";

struct Log_config {
    LogLevel threshold = LogLevel::kInfo;  ///< ZEVO_LOG_LEVEL, 0 to 6; unset or empty: 4
    Sink_kind sink = Sink_kind::console;   ///< ZEVO_LOG_SINK: "console" (unset, empty) or "dlt"
    std::string app_id = default_app_id;   ///< ZEVO_LOG_APP_ID, one to four characters
    std::vector<std::string> warnings;     ///< one line per value that was refused
};

// Null or empty texts mean "unset" and take the default silently; a refused value takes the
// default and adds one warning naming the variable and the value. An application id is one to
// four printable ASCII characters other than a space. Throws std::bad_alloc only.
Log_config parse_log_config(char const* level_text, char const* sink_text,
                            char const* app_id_text = nullptr);

// parse_log_config over ZEVO_LOG_LEVEL, ZEVO_LOG_SINK and ZEVO_LOG_APP_ID. Reads the
// environment; call it while no other thread changes the environment.
Log_config read_log_config_from_environment();

}  // namespace ara::log::detail

#pragma once
// The console line of one record, in the manner of a DLT viewer's local print:
//   2026/11/21 13:05:06.123456 ZEVO DMEX log info verbose 1 <text>
// local date and time to the microsecond, application id and context id each padded to four
// columns, "log", the level name (fatal, error, warn, info, debug, verbose), "verbose 1" (a
// verbose-mode message with one argument), then the text. Line breaks in the text become
// spaces, so one record is always one line. Pure functions, safe on any thread.

#include <string>
#include <string_view>

#include "ara/log/log_level.h"
#include "ara/log/sink.h"

namespace ara::log::detail {

// "fatal" … "verbose" for kFatal … kVerbose, "off" for kOff, "unknown" for any other value.
std::string_view level_name(LogLevel level) noexcept;

// Appends a record's text as every sink shows it: line breaks ('\n', '\r') become spaces.
// Throws std::bad_alloc only.
void append_single_line(std::string& target, std::string_view text);

// The whole line, ending in '\n'. Throws std::bad_alloc only.
std::string format_line(Record const& record);

}  // namespace ara::log::detail

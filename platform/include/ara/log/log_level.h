#pragma once
// The severity of a log record, with the numbers that DLT gives its levels. A logger writes a
// record when its level is on and not above the process's threshold; kOff is never written.

#include <cstdint>

namespace ara::log {

// The underlying type is fixed, so every byte value is a valid LogLevel: a caller may hand any
// number through and the logger decides; values above kVerbose are never written.
enum class LogLevel : std::uint8_t {
    kOff = 0,
    kFatal = 1,
    kError = 2,
    kWarn = 3,
    kInfo = 4,
    kDebug = 5,
    kVerbose = 6,
};

}  // namespace ara::log

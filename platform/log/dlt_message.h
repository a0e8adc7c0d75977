#pragma once
// What the DLT sink hands to libdlt for one record: the DLT log level of an ara::log level, and
// the payload of a verbose message with one string argument. Pure functions, safe on any thread.

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "ara/log/log_level.h"

namespace ara::log::detail {

// The largest payload the sink asks libdlt to carry: a DLT message's length is 16 bits and
// includes its headers (at most 26 bytes as libdlt writes them), so some room is left.
inline constexpr std::size_t dlt_payload_limit = 65000;

// DLT's numbers for fatal (1) to verbose (6) and off (0); values above verbose give 0 (off),
// since such a record is never written.
int dlt_level_of(LogLevel level) noexcept;

// One verbose string argument in the host's byte order, as libdlt writes its own: 32-bit type
// info (string, UTF-8), 16-bit length with the terminating zero, the text with line breaks made
// spaces (as the console shows it), a zero. Text that would make the payload longer than `limit`
// (at least 10) is cut, and its last three bytes become "...". Throws std::bad_alloc only.
std::vector<char> verbose_string_payload(std::string_view text,
                                         std::size_t limit = dlt_payload_limit);

}  // namespace ara::log::detail

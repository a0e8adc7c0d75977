#include "platform/log/dlt_message.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "platform/log/line_format.h"

namespace ara::log::detail {

namespace {

// DLT's type info bits for a string argument in UTF-8 (DLT_TYPE_INFO_STRG | DLT_SCOD_UTF8).
constexpr std::uint32_t string_utf8_type_info = 0x00000200u | 0x00008000u;
constexpr std::size_t argument_overhead = sizeof(std::uint32_t) + sizeof(std::uint16_t) + 1;

}  // namespace

int dlt_level_of(LogLevel level) noexcept {
    switch (level) {
    case LogLevel::kOff: return 0;
    case LogLevel::kFatal: return 1;
    case LogLevel::kError: return 2;
    case LogLevel::kWarn: return 3;
    case LogLevel::kInfo: return 4;
    case LogLevel::kDebug: return 5;
    case LogLevel::kVerbose: return 6;
    }
    return 0;
}

std::vector<char> verbose_string_payload(std::string_view text, std::size_t limit) {
    std::string shown;
    append_single_line(shown, text);
    std::size_t const room = std::max(limit, std::size_t{10}) - argument_overhead;
    if (shown.size() > room) shown.replace(room - 3, std::string::npos, "...");

    std::vector<char> payload(argument_overhead + shown.size());
    auto const length = static_cast<std::uint16_t>(shown.size() + 1);
    std::memcpy(payload.data(), &string_utf8_type_info, sizeof string_utf8_type_info);
    std::memcpy(payload.data() + sizeof string_utf8_type_info, &length, sizeof length);
    std::copy(shown.begin(), shown.end(), payload.begin() + 6);
    payload.back() = '\0';
    return payload;
}

}  // namespace ara::log::detail

#include "tests/soak/soak_request.h"

#include <cstdio>

namespace zevo::soak {

Request_info describe_request(const Bytes& request) {
    Request_info info;
    if (request.empty()) return info;
    info.service = request[0];
    if (request[0] == 0x22 && request.size() >= 3) {
        info.kind = Request_kind::read;
        info.identifier = static_cast<std::uint16_t>(request[1] << 8 | request[2]);
    } else if (request[0] == 0x31 && request.size() >= 4 && (request[1] == 0x01 || request[1] == 0x03)) {
        info.kind = request[1] == 0x01 ? Request_kind::start : Request_kind::results;
        info.identifier = static_cast<std::uint16_t>(request[2] << 8 | request[3]);
    }
    return info;
}

std::string hex_text(const Bytes& bytes) {
    std::string text;
    for (std::uint8_t byte : bytes) {
        char digits[4];
        std::snprintf(digits, sizeof digits, "%02X", byte);
        if (!text.empty()) text += ' ';
        text += digits;
    }
    return text;
}

long long milliseconds_between(Time from, Time to) {
    return std::chrono::duration_cast<Milliseconds>(to - from).count();
}

}  // namespace zevo::soak

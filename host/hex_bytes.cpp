#include "host/hex_bytes.h"

#include <sstream>

namespace zevo::host {
namespace {

constexpr char hex_digits[] = "0123456789ABCDEF";

int digit_value(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

void append_token(const std::string& token, std::vector<std::uint8_t>& bytes) {
    for (char c : token) {
        if (digit_value(c) < 0) {
            throw Hex_error("'" + token + "' is not hex: '" + std::string(1, c) + "' is not a hex digit");
        }
    }
    if (token.size() % 2 != 0) {
        throw Hex_error("'" + token + "' has an odd number of hex digits; write every byte as two digits (e.g. 02)");
    }
    for (std::size_t i = 0; i < token.size(); i += 2) {
        bytes.push_back(static_cast<std::uint8_t>(digit_value(token[i]) * 16 + digit_value(token[i + 1])));
    }
}

}  // namespace

std::vector<std::uint8_t> parse_hex_bytes(const std::vector<std::string>& arguments) {
    std::vector<std::uint8_t> bytes;
    for (const std::string& argument : arguments) {
        std::istringstream tokens(argument);
        std::string token;
        while (tokens >> token) append_token(token, bytes);
    }
    if (bytes.empty()) throw Hex_error("no request bytes given");
    return bytes;
}

std::string format_hex_bytes(const std::vector<std::uint8_t>& bytes) {
    std::string text;
    text.reserve(bytes.size() * 3);
    for (std::uint8_t byte : bytes) {
        if (!text.empty()) text += ' ';
        text += hex_digits[byte >> 4];
        text += hex_digits[byte & 0x0F];
    }
    return text;
}

std::string format_hex_value(std::uint32_t value, int digits) {
    std::string text(static_cast<std::size_t>(digits), '0');
    for (std::size_t i = text.size(); i-- > 0; value >>= 4) text[i] = hex_digits[value & 0x0F];
    return text;
}

}  // namespace zevo::host

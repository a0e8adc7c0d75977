#pragma once
// Hex text to bytes and back, for the command line and the printed requests and responses
// ("22 2C 56"). Pure functions, callable from any thread.

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace zevo::host {

/// Text that is not a byte sequence in hex; the message names the offending piece.
class Hex_error : public std::invalid_argument {
public:
    using std::invalid_argument::invalid_argument;
};

/// Bytes from hex text. Each argument holds one or more tokens separated by white space, and
/// each token two hex digits per byte in either case: {"22", "2C", "56"}, {"222C56"} and
/// {"22 2c 56"} all give 22 2C 56. Throws Hex_error on a non-hex character, on a token with an
/// odd number of digits and when there is no byte at all.
std::vector<std::uint8_t> parse_hex_bytes(const std::vector<std::string>& arguments);

/// Upper-case hex bytes separated by single spaces ("7F 22 10"); empty for no bytes.
std::string format_hex_bytes(const std::vector<std::uint8_t>& bytes);

/// `value` as exactly `digits` upper-case hex digits, without prefix: (0x2C56, 4) gives "2C56".
/// Higher digits than `digits` are cut off.
std::string format_hex_value(std::uint32_t value, int digits);

}  // namespace zevo::host

#pragma once
// One line of a request list as zevo-tester and zevo-dm send read it: the request in hex,
// optionally followed by "=>" and the expected answer, where "*" stands for any one byte:
//     22 F1 90 => 62 F1 90 * *
// Blank lines and lines starting with '#' carry no request. Pure functions, any thread.

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace zevo::host {

class Expectation_error : public std::invalid_argument {
public:
    using std::invalid_argument::invalid_argument;
};

struct Expected_byte {
    std::uint8_t value = 0;
    bool any = false;  // "*": every value matches
};

struct Request_line {
    std::vector<std::uint8_t> request;
    std::optional<std::vector<Expected_byte>> expected;  // absent: any answer will do
};

// The request and expectation of `line`; nullopt for a blank line or a comment. Throws
// Expectation_error naming what is wrong (bad hex, "=>" without an answer, no request).
std::optional<Request_line> parse_request_line(const std::string& line);

// Whether `answer` has exactly the expected length and every byte matches.
bool matches(const std::vector<Expected_byte>& expected, const std::vector<std::uint8_t>& answer);

// "62 F1 90 * *"
std::string format_expectation(const std::vector<Expected_byte>& expected);

}  // namespace zevo::host

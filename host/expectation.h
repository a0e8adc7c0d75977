#pragma once
// Requests with the answer they are expected to get, as testers write them on a command line:
// "22 2C 56 => 62 2C 56 * * *". Used by `zevo-dm send` and zevo-tester; plain functions and values, any thread.
//
// Syntax of an expectation (after "=>"): hex bytes (two digits each, tokens may hold several:
// "622C56"), "*" for any one byte, "..." as the last token for any number of further bytes
// (none included), or the word "none" alone for no answer at all (suppressed, withheld from a
// functional request, or cancelled). Only the final answer is compared; 7F xx 78 before it is not.

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace zevo::host {

/// Text that is not a request or expectation; the message names the offending piece.
class Expectation_error : public std::invalid_argument {
public:
    using std::invalid_argument::invalid_argument;
};

struct Expectation {
    std::vector<std::optional<std::uint8_t>> bytes;  ///< nullopt: any byte
    bool any_tail = false;                           ///< "...": any number of further bytes
    bool no_answer = false;                          ///< "none"

    /// Whether `answer` (nullptr: no final answer) is what was expected.
    bool matches(const std::vector<std::uint8_t>* answer) const;
    /// The expectation as written in normal form: "62 2C 56 * * *", "71 01 ...", "none".
    std::string text() const;
};

/// An expectation from the text after "=>". Throws Expectation_error (also for an empty one).
Expectation parse_expectation(const std::string& text);

struct Scripted_request {
    std::vector<std::uint8_t> request;
    std::optional<Expectation> expected;  ///< none when no "=>" was given
};

/// "REQUEST [=> EXPECTATION]": the request as hex bytes, then optionally "=>" and an
/// expectation. Throws Expectation_error, also for bad hex in the request.
Scripted_request parse_scripted_request(const std::string& text);

/// One line of a request file (zevo-tester): blank lines and lines starting with '#' carry no
/// request (nullopt); any other line is a scripted request and must hold at least one request
/// byte. Throws Expectation_error.
std::optional<Scripted_request> parse_request_line(const std::string& line);

}  // namespace zevo::host

#include "host/expectation.h"

#include <sstream>

#include "host/hex_bytes.h"

namespace zevo::host {
namespace {

std::string trimmed(const std::string& text) {
    const char* blanks = " \t\r\n";
    std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::vector<Expected_byte> parse_expected(const std::string& text) {
    std::vector<Expected_byte> expected;
    std::istringstream tokens(text);
    std::string token;
    while (tokens >> token) {
        if (token == "*") {
            expected.push_back({0, true});
            continue;
        }
        try {
            for (std::uint8_t byte : parse_hex_bytes({token})) expected.push_back({byte, false});
        } catch (const Hex_error& error) {
            throw Expectation_error(std::string("expected answer: ") + error.what() + " (or * for any byte)");
        }
    }
    if (expected.empty()) throw Expectation_error("nothing after '=>': give the expected answer");
    return expected;
}

}  // namespace

std::optional<Request_line> parse_request_line(const std::string& line) {
    std::string text = trimmed(line);
    if (text.empty() || text[0] == '#') return std::nullopt;
    Request_line parsed;
    std::size_t arrow = text.find("=>");
    try {
        parsed.request = parse_hex_bytes({text.substr(0, arrow)});
    } catch (const Hex_error& error) {
        throw Expectation_error(std::string("request: ") + error.what());
    }
    if (arrow != std::string::npos) parsed.expected = parse_expected(text.substr(arrow + 2));
    return parsed;
}

bool matches(const std::vector<Expected_byte>& expected, const std::vector<std::uint8_t>& answer) {
    if (expected.size() != answer.size()) return false;
    for (std::size_t i = 0; i < answer.size(); ++i) {
        if (!expected[i].any && expected[i].value != answer[i]) return false;
    }
    return true;
}

std::string format_expectation(const std::vector<Expected_byte>& expected) {
    std::string text;
    for (const Expected_byte& byte : expected) {
        if (!text.empty()) text += ' ';
        text += byte.any ? "*" : format_hex_bytes({byte.value});
    }
    return text;
}

}  // namespace zevo::host

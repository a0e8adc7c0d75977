#include "host/expectation.h"

#include <sstream>

#include "host/hex_bytes.h"

namespace zevo::host {

bool Expectation::matches(const std::vector<std::uint8_t>* answer) const {
    if (no_answer || answer == nullptr) return no_answer && answer == nullptr;
    if (answer->size() < bytes.size() || (!any_tail && answer->size() != bytes.size())) return false;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (bytes[i] && *bytes[i] != (*answer)[i]) return false;
    }
    return true;
}

std::string Expectation::text() const {
    if (no_answer) return "none";
    std::string text;
    for (const std::optional<std::uint8_t>& byte : bytes) {
        if (!text.empty()) text += ' ';
        text += byte ? format_hex_bytes({*byte}) : "*";
    }
    if (any_tail) text += text.empty() ? "..." : " ...";
    return text;
}

Expectation parse_expectation(const std::string& text) {
    std::istringstream tokens(text);
    std::vector<std::string> words;
    for (std::string word; tokens >> word;) words.push_back(word);
    if (words.empty()) throw Expectation_error("an empty expectation after '=>' (write 'none' for no answer)");
    Expectation expectation;
    if (words.size() == 1 && words.front() == "none") {
        expectation.no_answer = true;
        return expectation;
    }
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string& word = words[i];
        if (word == "*") {
            expectation.bytes.emplace_back();
        } else if (word == "...") {
            if (i + 1 != words.size()) throw Expectation_error("'...' stands only at the end of an expectation");
            expectation.any_tail = true;
        } else if (word == "none") {
            throw Expectation_error("'none' stands alone: no answer at all");
        } else {
            try {
                for (std::uint8_t byte : parse_hex_bytes({word})) expectation.bytes.emplace_back(byte);
            } catch (const Hex_error& error) {
                throw Expectation_error(std::string("expectation: ") + error.what() +
                                        " (bytes, '*' for any byte, '...' at the end, or 'none')");
            }
        }
    }
    return expectation;
}

Scripted_request parse_scripted_request(const std::string& text) {
    Scripted_request scripted;
    const std::size_t arrow = text.find("=>");
    try {
        scripted.request = parse_hex_bytes({text.substr(0, arrow)});
    } catch (const Hex_error& error) {
        throw Expectation_error(error.what());
    }
    if (arrow != std::string::npos) scripted.expected = parse_expectation(text.substr(arrow + 2));
    return scripted;
}

std::optional<Scripted_request> parse_request_line(const std::string& line) {
    const std::size_t first = line.find_first_not_of(" \t\r");
    if (first == std::string::npos || line[first] == '#') return std::nullopt;
    Scripted_request scripted = parse_scripted_request(line);
    if (scripted.request.empty()) throw Expectation_error("a line without request bytes: " + line);
    return scripted;
}

}  // namespace zevo::host

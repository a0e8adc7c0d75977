// Reads fault scenarios from JSON (format and example: sim/README.md). Every complaint names the
// JSON path of the value it is about; unknown keys are complaints too.

#include "sim/scenario.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <limits>
#include <sstream>
#include <string>

#include <nlohmann/json.hpp>

#include "sim/fault_plan.h"
#include "sim/service_table.h"

namespace zevo::sim {
namespace {

using Json = nlohmann::json;

constexpr std::uint64_t longest_ms = 3'600'000;  // an hour: far beyond any bench session

[[noreturn]] void fail(const std::string& path, const std::string& complaint) {
    throw Scenario_error(path + ": " + complaint);
}

void refuse_unknown_keys(const Json& object, const std::string& path, std::initializer_list<const char*> known) {
    for (const auto& item : object.items()) {
        bool listed = false;
        for (const char* key : known) listed = listed || item.key() == key;
        if (!listed) fail(path + "." + item.key(), "unknown key");
    }
}

const Json& required(const Json& object, const std::string& path, const char* key) {
    const auto found = object.find(key);
    if (found == object.end()) fail(path, std::string("missing \"") + key + "\"");
    return *found;
}

std::chrono::milliseconds milliseconds_at(const Json& value, const std::string& path) {
    if (!value.is_number_unsigned()) fail(path, "expected a non-negative integer");
    const auto count = value.get<std::uint64_t>();
    if (count > longest_ms) fail(path, "expected at most " + std::to_string(longest_ms));
    return std::chrono::milliseconds{static_cast<std::chrono::milliseconds::rep>(count)};
}

std::uint8_t byte_at(const Json& value, const std::string& path) {
    if (!value.is_number_unsigned() || value.get<std::uint64_t>() > 0xFF) fail(path, "expected a byte (0 to 255)");
    return static_cast<std::uint8_t>(value.get<std::uint64_t>());
}

bool flag_at(const Json& value, const std::string& path) {
    if (!value.is_boolean()) fail(path, "expected true or false");
    return value.get<bool>();
}

int hex_digit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

/// "0x2C56" (one to four hex digits) or a number up to 0xFFFF.
std::uint16_t identifier_at(const Json& value, const std::string& path) {
    const char* complaint = "expected an identifier such as \"0x2C56\"";
    if (value.is_number_unsigned()) {
        if (value.get<std::uint64_t>() > 0xFFFF) fail(path, complaint);
        return static_cast<std::uint16_t>(value.get<std::uint64_t>());
    }
    if (!value.is_string()) fail(path, complaint);
    const std::string& text = value.get_ref<const std::string&>();
    if (text.size() < 3 || text.size() > 6 || text[0] != '0' || (text[1] != 'x' && text[1] != 'X')) {
        fail(path, complaint);
    }
    unsigned identifier = 0;
    for (std::size_t i = 2; i < text.size(); ++i) {
        const int digit = hex_digit(text[i]);
        if (digit < 0) fail(path, complaint);
        identifier = identifier * 16 + static_cast<unsigned>(digit);
    }
    return static_cast<std::uint16_t>(identifier);
}

Method method_at(const Json& value, const std::string& path, std::uint16_t identifier) {
    const char* complaint = "expected one of \"read\", \"request_results\", \"start\", \"cancel\"";
    if (!value.is_string()) fail(path, complaint);
    const std::string& name = value.get_ref<const std::string&>();
    const Service_entry* service = find_service(identifier);
    const bool routine = service != nullptr && service->routine;
    const std::string kind = routine ? "routine " : "data identifier ";
    for (Method method : {Method::read_or_results, Method::start, Method::cancel}) {
        if (name == method_name(method, routine)) return method;
    }
    if (name == "read" || name == "request_results") {
        fail(path, "\"" + name + "\" is not a method of " + kind + hex_identifier(identifier));
    }
    fail(path, complaint);
}

Fault fault_at(const Json& value, const std::string& path) {
    if (!value.is_object()) fail(path, "expected an object");
    refuse_unknown_keys(value, path,
                        {"identifier", "method", "delay_ms", "application_error", "return_code", "short_payload",
                         "malformed_payload", "no_answer", "drop", "hold_until_cancel", "withdraw_ms", "times"});
    Fault fault;
    fault.identifier = identifier_at(required(value, path, "identifier"), path + ".identifier");
    if (find_service(fault.identifier) == nullptr) {
        fail(path + ".identifier", hex_identifier(fault.identifier) + " is not served");
    }
    fault.method = method_at(required(value, path, "method"), path + ".method", fault.identifier);
    for (const auto& item : value.items()) {
        const std::string& key = item.key();
        const Json& field = item.value();
        const std::string at = path + "." + key;
        if (key == "delay_ms") fault.delay = milliseconds_at(field, at);
        if (key == "withdraw_ms") fault.withdraw_for = milliseconds_at(field, at);
        if (key == "return_code") fault.return_code = byte_at(field, at);
        if (key == "short_payload") fault.short_payload = flag_at(field, at);
        if (key == "malformed_payload") fault.malformed_payload = flag_at(field, at);
        if (key == "no_answer") fault.no_answer = flag_at(field, at);
        if (key == "drop") fault.drop = flag_at(field, at);
        if (key == "hold_until_cancel") fault.hold_until_cancel = flag_at(field, at);
        if (key == "times") {
            if (!field.is_number_unsigned() || field.get<std::uint64_t>() == 0 ||
                field.get<std::uint64_t>() > std::numeric_limits<unsigned>::max()) {
                fail(at, "expected a positive integer");
            }
            fault.times = static_cast<unsigned>(field.get<std::uint64_t>());
        }
        if (key == "application_error") {
            if (!field.is_array()) fail(at, "expected an array of bytes");
            std::vector<std::uint8_t> bytes;
            for (std::size_t i = 0; i < field.size(); ++i) {
                bytes.push_back(byte_at(field[i], at + "[" + std::to_string(i) + "]"));
            }
            fault.application_error = std::move(bytes);
        }
    }
    if (const std::optional<Fault_problem> problem = check_fault(fault)) {
        fail(problem->field.empty() ? path : path + "." + problem->field, problem->message);
    }
    return fault;
}

}  // namespace

Scenario parse_scenario(const std::string& json_text) {
    Json document;
    try {
        document = Json::parse(json_text);
    } catch (const Json::parse_error& error) {
        fail("$", "not valid JSON (at byte " + std::to_string(error.byte) + ")");
    }
    if (!document.is_object()) fail("$", "expected an object");
    refuse_unknown_keys(document, "$", {"routine_duration_ms", "faults"});
    Scenario scenario;
    if (const auto duration = document.find("routine_duration_ms"); duration != document.end()) {
        scenario.routine_duration = milliseconds_at(*duration, "$.routine_duration_ms");
    }
    if (const auto faults = document.find("faults"); faults != document.end()) {
        if (!faults->is_array()) fail("$.faults", "expected an array");
        for (std::size_t i = 0; i < faults->size(); ++i) {
            scenario.faults.push_back(fault_at((*faults)[i], "$.faults[" + std::to_string(i) + "]"));
        }
    }
    return scenario;
}

Scenario load_scenario_file(const std::string& path) {
    std::error_code not_a_directory;
    std::ifstream file(path, std::ios::binary);
    if (!file || std::filesystem::is_directory(path, not_a_directory)) throw Scenario_error(path + ": cannot be read");
    std::ostringstream text;
    text << file.rdbuf();  // an empty file sets failbit on `text` only; parse_scenario refuses it
    if (file.bad()) throw Scenario_error(path + ": cannot be read");
    try {
        return parse_scenario(text.str());
    } catch (const Scenario_error& error) {
        throw Scenario_error(path + ": " + error.what());
    }
}

}  // namespace zevo::sim

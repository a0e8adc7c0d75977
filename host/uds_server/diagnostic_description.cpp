#include "host/uds_server/diagnostic_description.h"

#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <sstream>
#include <system_error>

#include <nlohmann/json.hpp>

namespace zevo::host {
namespace {

using nlohmann::json;

[[noreturn]] void fail(const std::string& path, const std::string& complaint) {
    throw Description_error(path + ": " + complaint);
}

void only_keys(const json& object, const std::string& path, std::initializer_list<const char*> allowed) {
    if (!object.is_object()) fail(path, "expected an object");
    for (const auto& item : object.items()) {
        bool known = false;
        for (const char* key : allowed) known = known || item.key() == key;
        if (!known) fail(path + "." + item.key(), "unknown key");
    }
}

const json& required(const json& object, const std::string& path, const char* key) {
    const auto found = object.find(key);
    if (found == object.end()) fail(path + "." + key, "missing");
    return *found;
}

/// "0x2C56": a 16-bit identifier as a string of "0x" and four hex digits.
std::uint16_t identifier_at(const json& value, const std::string& path) {
    const char* wanted = "expected an identifier such as \"0x2C56\" (\"0x\" and four hex digits)";
    if (!value.is_string()) fail(path, wanted);
    const std::string text = value.get<std::string>();
    if (text.size() != 6 || text[0] != '0' || (text[1] != 'x' && text[1] != 'X')) fail(path, wanted);
    unsigned identifier = 0;
    for (std::size_t i = 2; i < text.size(); ++i) {
        const char c = text[i];
        unsigned digit = 0;
        if (c >= '0' && c <= '9') {
            digit = static_cast<unsigned>(c - '0');
        } else if (c >= 'a' && c <= 'f') {
            digit = static_cast<unsigned>(c - 'a' + 10);
        } else if (c >= 'A' && c <= 'F') {
            digit = static_cast<unsigned>(c - 'A' + 10);
        } else {
            fail(path, wanted);
        }
        identifier = identifier * 16 + digit;
    }
    return static_cast<std::uint16_t>(identifier);
}

/// An array of names, each mapped to its byte; each name at most once.
std::set<std::uint8_t> names_at(const json& value, const std::string& path,
                                std::initializer_list<std::pair<const char*, std::uint8_t>> names,
                                const std::string& expected) {
    if (!value.is_array()) fail(path, "expected an array");
    std::set<std::uint8_t> bytes;
    for (std::size_t i = 0; i < value.size(); ++i) {
        const std::string element = path + "[" + std::to_string(i) + "]";
        bool found = false;
        if (value[i].is_string()) {
            for (const auto& [name, byte] : names) {
                if (value[i].get<std::string>() != name) continue;
                if (!bytes.insert(byte).second) fail(element, std::string("\"") + name + "\" is listed twice");
                found = true;
            }
        }
        if (!found) fail(element, "expected " + expected);
    }
    return bytes;
}

std::set<std::uint8_t> sessions_at(const json& value, const std::string& path) {
    return names_at(value, path, {{"default", session::default_session}, {"extended", session::extended_session}},
                    "\"default\" or \"extended\"");
}

constexpr std::initializer_list<std::pair<const char*, std::uint8_t>> sub_function_names = {
    {"start", 0x01}, {"stop", 0x02}, {"results", 0x03}};

std::size_t length_at(const json& value, const std::string& path) {
    if (!value.is_number_unsigned() || value.get<std::uint64_t>() > 4095) {
        fail(path, "expected a length in bytes from 0 to 4095");
    }
    return static_cast<std::size_t>(value.get<std::uint64_t>());
}

Data_identifier_rule data_identifier_at(const json& object, const std::string& path) {
    only_keys(object, path, {"id", "read", "write", "write_length"});
    Data_identifier_rule rule;
    if (object.contains("read")) rule.read_sessions = sessions_at(object["read"], path + ".read");
    if (object.contains("write")) rule.write_sessions = sessions_at(object["write"], path + ".write");
    if (object.contains("write_length")) rule.write_length = length_at(object["write_length"], path + ".write_length");
    return rule;
}

Routine_rule routine_at(const json& object, const std::string& path) {
    only_keys(object, path, {"id", "sessions", "sub_functions", "option_length"});
    Routine_rule rule;
    rule.sessions = sessions_at(required(object, path, "sessions"), path + ".sessions");
    rule.sub_functions = names_at(required(object, path, "sub_functions"), path + ".sub_functions",
                                  sub_function_names, "\"start\", \"stop\" or \"results\"");
    if (object.contains("option_length")) {
        const json& lengths = object["option_length"];
        const std::string lengths_path = path + ".option_length";
        only_keys(lengths, lengths_path, {"start", "stop", "results"});
        for (const auto& [name, sub_function] : sub_function_names) {
            if (lengths.contains(name)) {
                rule.option_length[sub_function] = length_at(lengths[name], lengths_path + "." + name);
            }
        }
    }
    return rule;
}

/// Each element of the array at `key` through `parse`, keyed by its "id".
template <class Rule, class Parse>
void list_at(const json& root, const char* key, std::map<std::uint16_t, Rule>& rules, Parse parse) {
    const std::string path = std::string("$.") + key;
    if (!root.contains(key)) return;
    const json& list = root[key];
    if (!list.is_array()) fail(path, "expected an array");
    for (std::size_t i = 0; i < list.size(); ++i) {
        const std::string element = path + "[" + std::to_string(i) + "]";
        const Rule rule = parse(list[i], element);  // checks the keys before the id is read
        const std::uint16_t identifier = identifier_at(required(list[i], element, "id"), element + ".id");
        if (!rules.emplace(identifier, rule).second) {
            fail(element + ".id", list[i]["id"].get<std::string>() + " is listed twice");
        }
    }
}

}  // namespace

Diagnostic_description parse_description(const std::string& text) {
    json root;
    try {
        root = json::parse(text);
    } catch (const json::parse_error& error) {
        fail("$", std::string("not JSON: ") + error.what());
    }
    only_keys(root, "$", {"data_identifiers", "routines"});
    Diagnostic_description description;
    list_at(root, "data_identifiers", description.data_identifiers, data_identifier_at);
    list_at(root, "routines", description.routines, routine_at);
    return description;
}

Diagnostic_description load_description_file(const std::string& path) {
    std::error_code not_a_directory;
    std::ifstream file(path, std::ios::binary);
    if (!file || std::filesystem::is_directory(path, not_a_directory)) throw Description_error(path + ": cannot be read");
    std::ostringstream text;
    text << file.rdbuf();  // an empty file sets failbit on `text` only; the parser refuses it
    if (file.bad()) throw Description_error(path + ": cannot be read");
    try {
        return parse_description(text.str());
    } catch (const Description_error& error) {
        throw Description_error(path + ": " + error.what());
    }
}

Diagnostic_description default_description() { return parse_description(default_description_text()); }

}  // namespace zevo::host

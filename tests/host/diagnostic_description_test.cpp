// The diagnostic description's strict parser: what a description says, every kind of error
// named by its JSON path, the embedded default and the example file shipped beside it.

#include "host/uds_server/diagnostic_description.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

namespace zevo::host {
namespace {

std::string error_of(const std::string& text) {
    try {
        parse_description(text);
    } catch (const Description_error& error) {
        return error.what();
    }
    return "no error";
}

TEST(host_diagnostic_description, reads_sessions_sub_functions_and_lengths) {
    const Diagnostic_description description = parse_description(R"({
      "data_identifiers": [{"id": "0x2c57", "read": ["extended"], "write": ["default", "extended"], "write_length": 2}],
      "routines": [{"id": "0xC00A", "sessions": ["default"], "sub_functions": ["stop", "start"],
                    "option_length": {"start": 1, "results": 0}}]
    })");
    ASSERT_EQ(description.data_identifiers.count(0x2C57), 1u);
    const Data_identifier_rule& did = description.data_identifiers.at(0x2C57);
    EXPECT_EQ(did.read_sessions, (std::set<std::uint8_t>{0x03}));
    EXPECT_EQ(did.write_sessions, (std::set<std::uint8_t>{0x01, 0x03}));
    EXPECT_EQ(did.write_length, 2u);
    const Routine_rule& routine = description.routines.at(0xC00A);
    EXPECT_EQ(routine.sessions, (std::set<std::uint8_t>{0x01}));
    EXPECT_EQ(routine.sub_functions, (std::set<std::uint8_t>{0x01, 0x02}));
    EXPECT_EQ(routine.option_length, (std::map<std::uint8_t, std::size_t>{{0x01, 1}, {0x03, 0}}));
}

TEST(host_diagnostic_description, an_empty_object_serves_nothing_and_missing_lists_are_empty) {
    const Diagnostic_description description = parse_description("{}");
    EXPECT_TRUE(description.data_identifiers.empty());
    EXPECT_TRUE(description.routines.empty());
    const Diagnostic_description bare = parse_description(R"({"data_identifiers": [{"id": "0x2C56"}]})");
    EXPECT_TRUE(bare.data_identifiers.at(0x2C56).read_sessions.empty());
    EXPECT_FALSE(bare.data_identifiers.at(0x2C56).write_length);
}

TEST(host_diagnostic_description, errors_name_the_json_path) {
    const std::string routine = R"({"id": "0xC00F", "sessions": ["default"], "sub_functions": ["start"]})";
    EXPECT_EQ(error_of(R"({"routines": [)" + routine + "," + routine + R"(, {"id": "0xC00A", "sessions": ["programming"],
              "sub_functions": []}]})"),
              "$.routines[1].id: 0xC00F is listed twice");
    EXPECT_EQ(error_of(R"({"routines": [{"id": "0xC00A", "sessions": ["programming"], "sub_functions": []}]})"),
              "$.routines[0].sessions[0]: expected \"default\" or \"extended\"");
    EXPECT_EQ(error_of(R"({"routines": [)" + routine + "," + routine.substr(0, routine.size() - 1) +
                       R"(, "colour": 1}, {"id": "0xC00A", "sessions": [1], "sub_functions": []}]})"),
              "$.routines[1].colour: unknown key");
    EXPECT_EQ(error_of(R"({"routines": [{"id": "0xC00A", "sessions": ["default", 3], "sub_functions": []}]})"),
              "$.routines[0].sessions[1]: expected \"default\" or \"extended\"");
    EXPECT_EQ(error_of(R"({"routines": [{"id": "0xC00A", "sub_functions": []}]})"), "$.routines[0].sessions: missing");
    EXPECT_EQ(error_of(R"({"routines": [{"id": "0xC00A", "sessions": [], "sub_functions": ["begin"]}]})"),
              "$.routines[0].sub_functions[0]: expected \"start\", \"stop\" or \"results\"");
    EXPECT_EQ(error_of(R"({"routines": [{"id": "0xC00A", "sessions": [], "sub_functions": [],
                                         "option_length": {"start": -1}}]})"),
              "$.routines[0].option_length.start: expected a length in bytes from 0 to 4095");
    EXPECT_EQ(error_of(R"({"routines": [{"id": "0xC00A", "sessions": [], "sub_functions": [],
                                         "option_length": {"begin": 1}}]})"),
              "$.routines[0].option_length.begin: unknown key");
    EXPECT_EQ(error_of(R"({"data_identifiers": [{"id": 11350}]})"),
              "$.data_identifiers[0].id: expected an identifier such as \"0x2C56\" (\"0x\" and four hex digits)");
    EXPECT_EQ(error_of(R"({"data_identifiers": [{"id": "0x2C5G"}]})"),
              "$.data_identifiers[0].id: expected an identifier such as \"0x2C56\" (\"0x\" and four hex digits)");
    EXPECT_EQ(error_of(R"({"data_identifiers": [{"read": []}]})"), "$.data_identifiers[0].id: missing");
    EXPECT_EQ(error_of(R"({"data_identifiers": [{"id": "0x2C56", "read": "default"}]})"),
              "$.data_identifiers[0].read: expected an array");
    EXPECT_EQ(error_of(R"({"data_identifiers": [{"id": "0x2C56", "write": ["default", "default"]}]})"),
              "$.data_identifiers[0].write[1]: \"default\" is listed twice");
    EXPECT_EQ(error_of(R"({"data_identifiers": [{"id": "0x2C56", "write_length": "2"}]})"),
              "$.data_identifiers[0].write_length: expected a length in bytes from 0 to 4095");
    EXPECT_EQ(error_of(R"({"data_identifiers": [7]})"), "$.data_identifiers[0]: expected an object");
    EXPECT_EQ(error_of(R"({"data_identifiers": {}})"), "$.data_identifiers: expected an array");
    EXPECT_EQ(error_of(R"({"dids": []})"), "$.dids: unknown key");
    EXPECT_EQ(error_of("[]"), "$: expected an object");
    EXPECT_EQ(error_of("{").rfind("$: not JSON: ", 0), 0u);
}

TEST(host_diagnostic_description, a_file_error_starts_with_the_path) {
    // Named after the process: test programs of other builds may run at the same time.
    const std::string path = ::testing::TempDir() + "zevo_description_test_" + std::to_string(getpid()) + ".json";
    std::ofstream(path) << R"({"routines": [{"id": "0xC00A", "sessions": ["x"], "sub_functions": []}]})";
    try {
        load_description_file(path);
        ADD_FAILURE() << "no error";
    } catch (const Description_error& error) {
        EXPECT_EQ(std::string(error.what()), path + ": $.routines[0].sessions[0]: expected \"default\" or \"extended\"");
    }
    std::remove(path.c_str());
    EXPECT_THROW(load_description_file(path), Description_error);
}

TEST(host_diagnostic_description, the_default_reads_four_dids_everywhere_writes_none_and_starts_six_routines) {
    const Diagnostic_description description = default_description();
    ASSERT_EQ(description.data_identifiers.size(), 4u);
    for (const auto& [did, rule] : description.data_identifiers) {
        EXPECT_EQ(rule.read_sessions, (std::set<std::uint8_t>{0x01, 0x03})) << did;
        EXPECT_TRUE(rule.write_sessions.empty()) << did;
        EXPECT_FALSE(rule.write_length) << did;
    }
    ASSERT_EQ(description.routines.size(), 6u);
    for (std::uint16_t rid : std::vector<std::uint16_t>{0x0648, 0xC00A, 0xC00B, 0xC00C, 0xC00D, 0xC00F}) {
        const Routine_rule& rule = description.routines.at(rid);
        EXPECT_EQ(rule.sessions, (std::set<std::uint8_t>{0x01, 0x03})) << rid;
        EXPECT_EQ(rule.sub_functions, (std::set<std::uint8_t>{0x01, 0x03})) << rid;
        EXPECT_TRUE(rule.option_length.empty()) << rid;
    }
}

TEST(host_diagnostic_description, the_shipped_example_file_is_the_embedded_default) {
    std::ifstream file(ZEVO_TEST_DEFAULT_DESCRIPTION_FILE);
    std::ostringstream text;
    text << file.rdbuf();
    EXPECT_EQ(text.str(), default_description_text());
}

}  // namespace
}  // namespace zevo::host

// The JSON scenario format: what it reads, the two example files, and its complaints, each with
// the JSON path of the value it is about (exact texts).

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>

#include "sim/scenario.h"

namespace {

using zevo::sim::Method;
using zevo::sim::parse_scenario;
using zevo::sim::Scenario;
using zevo::sim::Scenario_error;
using std::chrono::milliseconds;

/// The complaint parse_scenario makes about `json`; a failure when it makes none.
std::string complaint_about(const std::string& json) {
    try {
        parse_scenario(json);
    } catch (const Scenario_error& error) {
        return error.what();
    }
    ADD_FAILURE() << "accepted: " << json;
    return {};
}

/// The complaint about a scenario with the one fault `fault`.
std::string complaint_about_fault(const std::string& fault) { return complaint_about(R"({"faults": [)" + fault + "]}"); }

std::string scenario_file(const std::string& name) { return std::string(ZEVO_SIM_SCENARIO_DIR) + "/" + name; }

std::string written_file(const std::string& name, const std::string& text) {
    const std::string path = testing::TempDir() + name;
    std::ofstream(path) << text;
    return path;
}

TEST(sim_scenario, empty_object_is_the_default_scenario) {
    const Scenario scenario = parse_scenario("{}");
    EXPECT_EQ(scenario.routine_duration, milliseconds{100});
    EXPECT_TRUE(scenario.faults.empty());
}

TEST(sim_scenario, reads_the_routine_duration_and_the_faults_in_order) {
    const Scenario scenario = parse_scenario(R"({
        "routine_duration_ms": 0,
        "faults": [
            {"identifier": "0xc00a", "method": "start", "delay_ms": 5, "times": 3},
            {"identifier": 11350, "method": "cancel", "drop": true}
        ]})");
    EXPECT_EQ(scenario.routine_duration, milliseconds{0});
    ASSERT_EQ(scenario.faults.size(), 2U);
    EXPECT_EQ(scenario.faults[0].identifier, 0xC00A);
    EXPECT_EQ(scenario.faults[0].method, Method::start);
    EXPECT_EQ(scenario.faults[0].delay, milliseconds{5});
    EXPECT_EQ(scenario.faults[0].times, 3U);
    EXPECT_EQ(scenario.faults[1].identifier, 0x2C56);
    EXPECT_EQ(scenario.faults[1].method, Method::cancel);
    EXPECT_TRUE(scenario.faults[1].drop);
    EXPECT_FALSE(scenario.faults[1].times);
}

TEST(sim_scenario, method_names_depend_on_the_kind_of_service) {
    EXPECT_EQ(parse_scenario(R"({"faults": [{"identifier": "0x2C60", "method": "read"}]})").faults[0].method,
              Method::read_or_results);
    EXPECT_EQ(parse_scenario(R"({"faults": [{"identifier": "0xC00F", "method": "request_results"}]})").faults[0].method,
              Method::read_or_results);
}

TEST(sim_scenario, example_slow_services_file_is_read) {
    const Scenario scenario = zevo::sim::load_scenario_file(scenario_file("slow_services.json"));
    EXPECT_EQ(scenario.routine_duration, milliseconds{2000});
    ASSERT_EQ(scenario.faults.size(), 4U);
    EXPECT_EQ(scenario.faults[1].identifier, 0x2C60);
    EXPECT_EQ(scenario.faults[1].delay, milliseconds{1500});
    EXPECT_EQ(scenario.faults[1].times, 2U);
}

TEST(sim_scenario, example_faulty_key_list_file_is_read) {
    const Scenario scenario = zevo::sim::load_scenario_file(scenario_file("faulty_key_list.json"));
    EXPECT_EQ(scenario.routine_duration, milliseconds{100});
    ASSERT_EQ(scenario.faults.size(), 6U);
    EXPECT_EQ(scenario.faults[0].application_error, (std::vector<std::uint8_t>{0x22}));
    EXPECT_TRUE(scenario.faults[1].malformed_payload);
    EXPECT_TRUE(scenario.faults[2].short_payload);
    EXPECT_EQ(scenario.faults[3].return_code, 0x86);
    EXPECT_EQ(scenario.faults[4].withdraw_for, milliseconds{500});
    EXPECT_TRUE(scenario.faults[5].drop);
}

TEST(sim_scenario, text_that_is_no_json_names_the_byte) {
    EXPECT_EQ(complaint_about(R"({"faults": [)"), "$: not valid JSON (at byte 13)");
    EXPECT_EQ(complaint_about(""), "$: not valid JSON (at byte 1)");
}

TEST(sim_scenario, document_must_be_an_object) {
    EXPECT_EQ(complaint_about("[]"), "$: expected an object");
}

TEST(sim_scenario, unknown_keys_are_refused_at_every_level) {
    EXPECT_EQ(complaint_about(R"({"routine_duration": 5})"), "$.routine_duration: unknown key");
    EXPECT_EQ(complaint_about_fault(R"({"identifier": "0x2C56", "method": "read", "colour": "red"})"),
              "$.faults[0].colour: unknown key");
}

TEST(sim_scenario, routine_duration_must_be_a_non_negative_integer) {
    EXPECT_EQ(complaint_about(R"({"routine_duration_ms": -1})"), "$.routine_duration_ms: expected a non-negative integer");
    EXPECT_EQ(complaint_about(R"({"routine_duration_ms": 1.5})"), "$.routine_duration_ms: expected a non-negative integer");
    EXPECT_EQ(complaint_about(R"({"routine_duration_ms": "100"})"), "$.routine_duration_ms: expected a non-negative integer");
    EXPECT_EQ(complaint_about(R"({"routine_duration_ms": 3600001})"), "$.routine_duration_ms: expected at most 3600000");
}

TEST(sim_scenario, faults_must_be_an_array_of_objects) {
    EXPECT_EQ(complaint_about(R"({"faults": {}})"), "$.faults: expected an array");
    EXPECT_EQ(complaint_about(R"({"faults": [{"identifier": "0x2C56", "method": "read"}, 7]})"),
              "$.faults[1]: expected an object");
}

TEST(sim_scenario, delay_of_the_second_fault_names_its_path) {
    EXPECT_EQ(complaint_about(R"({"faults": [{"identifier": "0x2C56", "method": "read"},
                                             {"identifier": "0x2C56", "method": "read", "delay_ms": "soon"}]})"),
              "$.faults[1].delay_ms: expected a non-negative integer");
}

TEST(sim_scenario, identifier_and_method_are_required) {
    EXPECT_EQ(complaint_about_fault(R"({"method": "read"})"), "$.faults[0]: missing \"identifier\"");
    EXPECT_EQ(complaint_about_fault(R"({"identifier": "0x2C56"})"), "$.faults[0]: missing \"method\"");
}

TEST(sim_scenario, identifier_must_be_a_served_one_in_hex) {
    const std::string expected = "$.faults[0].identifier: expected an identifier such as \"0x2C56\"";
    EXPECT_EQ(complaint_about_fault(R"({"identifier": "2C56", "method": "read"})"), expected);
    EXPECT_EQ(complaint_about_fault(R"({"identifier": "0x2G56", "method": "read"})"), expected);
    EXPECT_EQ(complaint_about_fault(R"({"identifier": "0x12C56", "method": "read"})"), expected);
    EXPECT_EQ(complaint_about_fault(R"({"identifier": "0x", "method": "read"})"), expected);
    EXPECT_EQ(complaint_about_fault(R"({"identifier": 65536, "method": "read"})"), expected);
    EXPECT_EQ(complaint_about_fault(R"({"identifier": true, "method": "read"})"), expected);
    EXPECT_EQ(complaint_about_fault(R"({"identifier": "0x2C58", "method": "read"})"),
              "$.faults[0].identifier: 0x2C58 is not served");
}

TEST(sim_scenario, method_must_be_one_of_the_service) {
    EXPECT_EQ(complaint_about_fault(R"({"identifier": "0x2C56", "method": "write"})"),
              "$.faults[0].method: expected one of \"read\", \"request_results\", \"start\", \"cancel\"");
    EXPECT_EQ(complaint_about_fault(R"({"identifier": "0x2C56", "method": 1})"),
              "$.faults[0].method: expected one of \"read\", \"request_results\", \"start\", \"cancel\"");
    EXPECT_EQ(complaint_about_fault(R"({"identifier": "0xC00A", "method": "read"})"),
              "$.faults[0].method: \"read\" is not a method of routine 0xC00A");
    EXPECT_EQ(complaint_about_fault(R"({"identifier": "0x2C56", "method": "request_results"})"),
              "$.faults[0].method: \"request_results\" is not a method of data identifier 0x2C56");
    EXPECT_EQ(complaint_about_fault(R"({"identifier": "0x2C56", "method": "start"})"),
              "$.faults[0].method: \"start\" is not a method of data identifier 0x2C56");
}

TEST(sim_scenario, values_of_the_wrong_type_are_refused_with_their_path) {
    const std::string head = R"({"identifier": "0x2C56", "method": "read", )";
    EXPECT_EQ(complaint_about_fault(head + R"("application_error": 34})"),
              "$.faults[0].application_error: expected an array of bytes");
    EXPECT_EQ(complaint_about_fault(head + R"("application_error": [34, 256]})"),
              "$.faults[0].application_error[1]: expected a byte (0 to 255)");
    EXPECT_EQ(complaint_about_fault(head + R"("return_code": -2})"), "$.faults[0].return_code: expected a byte (0 to 255)");
    EXPECT_EQ(complaint_about_fault(head + R"("drop": 1})"), "$.faults[0].drop: expected true or false");
    EXPECT_EQ(complaint_about_fault(head + R"("short_payload": "yes"})"), "$.faults[0].short_payload: expected true or false");
    EXPECT_EQ(complaint_about_fault(head + R"("times": 0})"), "$.faults[0].times: expected a positive integer");
    EXPECT_EQ(complaint_about_fault(head + R"("times": 4294967296})"), "$.faults[0].times: expected a positive integer");
    EXPECT_EQ(complaint_about_fault(head + R"("withdraw_ms": null})"),
              "$.faults[0].withdraw_ms: expected a non-negative integer");
}

TEST(sim_scenario, faults_that_contradict_themselves_are_refused) {
    const std::string head = R"({"identifier": "0x2C56", "method": "read", )";
    EXPECT_EQ(complaint_about_fault(head + R"("drop": true, "no_answer": true})"),
              "$.faults[0]: at most one of application_error, return_code, no_answer, drop, hold_until_cancel, "
              "withdraw_ms");
    EXPECT_EQ(complaint_about_fault(head + R"("short_payload": true, "malformed_payload": true})"),
              "$.faults[0]: short_payload and malformed_payload exclude each other");
    EXPECT_EQ(complaint_about_fault(head + R"("delay_ms": 5, "hold_until_cancel": true})"),
              "$.faults[0].delay_ms: a call that is never answered has no delay");
    EXPECT_EQ(complaint_about_fault(R"({"identifier": "0x2C56", "method": "cancel", "hold_until_cancel": true})"),
              "$.faults[0].hold_until_cancel: a Cancel cannot wait for a Cancel");
}

TEST(sim_scenario, unreadable_file_is_named) {
    const std::string path = testing::TempDir() + "no_such_scenario.json";
    try {
        zevo::sim::load_scenario_file(path);
        FAIL() << "read a missing file";
    } catch (const Scenario_error& error) {
        EXPECT_EQ(std::string(error.what()), path + ": cannot be read");
    }
    try {
        zevo::sim::load_scenario_file(ZEVO_SIM_SCENARIO_DIR);
        FAIL() << "read a directory";
    } catch (const Scenario_error& error) {
        EXPECT_EQ(std::string(error.what()), std::string(ZEVO_SIM_SCENARIO_DIR) + ": cannot be read");
    }
}

TEST(sim_scenario, complaint_about_a_file_starts_with_its_path) {
    const std::string path = written_file("bad_scenario.json", R"({"faults": [{"identifier": "0x2C56", "method": "read", "delay_ms": -4}]})");
    try {
        zevo::sim::load_scenario_file(path);
        FAIL() << "read a bad file";
    } catch (const Scenario_error& error) {
        EXPECT_EQ(std::string(error.what()), path + ": $.faults[0].delay_ms: expected a non-negative integer");
    }
    std::remove(path.c_str());
}

}  // namespace

// The discovery events: which keys their incidents hold, the two forms of the service id, the
// empty list, and that every event without values has no "2_data".
#include "trace/find_service_events.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>
#include <vector>

#include "spy_log_backend.h"
#include "trace_samples.h"

namespace {

using namespace ruv::com::log;
using zevo::test::found_service;
using zevo::test::keys_of;
using zevo::test::only_level;
using zevo::test::only_line;
using zevo::test::routine_0648;
using zevo::test::Spy_log_backend;

TEST(Find_service_result, an_empty_list_renders_an_empty_vector) {
    Spy_log_backend spy;
    trace_find_service_result(spy, routine_0648, "1", {});
    EXPECT_EQ(only_level(spy), 4);
    auto const line = only_line(spy);
    EXPECT_NE(line.find(R"("2_data":{"1_vector":[]})"), std::string::npos) << line;
}

TEST(Find_service_result, lists_the_found_services_in_the_order_of_the_notification) {
    Spy_log_backend spy;
    trace_find_service_result(spy, routine_0648, "1", {found_service("b", "2"), found_service("a", "1")});
    auto const list = nlohmann::json::parse(only_line(spy))["2_data"]["1_vector"];
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[0]["2_service_id"]["string"], "b");
    EXPECT_EQ(list[1]["2_service_id"]["string"], "a");
}

TEST(Find_service_stop, has_exactly_the_id_and_the_service_in_its_incident) {
    Spy_log_backend spy;
    trace_find_service_stop(spy, routine_0648, 3);
    auto const record = nlohmann::json::parse(only_line(spy));
    EXPECT_EQ(keys_of(record["1_incident"]), (std::vector<std::string>{"1_id", "2_service_id"}));
}

TEST(Find_service_start, has_the_instance_as_well) {
    Spy_log_backend spy;
    trace_find_service_start(spy, routine_0648, kel::com::runtime::Instance_id{"1"}, 3);
    auto const record = nlohmann::json::parse(only_line(spy));
    EXPECT_EQ(keys_of(record["1_incident"]), (std::vector<std::string>{"1_id", "2_service_id", "3_instance_id"}));
}

TEST(Find_service_events, the_same_service_stands_under_char_const_at_start_and_under_string_in_the_result) {
    Spy_log_backend start;
    trace_find_service_start(start, routine_0648, kel::com::runtime::Instance_id{"1"}, 0);
    Spy_log_backend result;
    trace_find_service_result(result, routine_0648, "1", {});
    auto const started = nlohmann::json::parse(only_line(start))["1_incident"]["2_service_id"];
    auto const found = nlohmann::json::parse(only_line(result))["1_incident"]["2_service_id"];
    EXPECT_EQ(keys_of(started), (std::vector<std::string>{"1_id", "2_char const*"}));
    EXPECT_EQ(keys_of(found), (std::vector<std::string>{"1_id", "string"}));
    EXPECT_EQ(started["2_char const*"], routine_0648);
    EXPECT_EQ(found["string"], routine_0648);
}

TEST(Find_service_start, carries_the_handle_id_in_decimal_as_a_string) {
    Spy_log_backend spy;
    trace_find_service_start(spy, routine_0648, kel::com::runtime::Instance_id{"1"}, 4294967295u);
    auto const data = nlohmann::json::parse(only_line(spy))["2_data"];
    EXPECT_EQ(data.dump(), R"({"1_string":"4294967295"})");
}

TEST(Find_service_events, events_without_values_have_no_data_key) {
    Spy_log_backend performance;
    trace_find_service_handler_performance(performance, routine_0648, "1", 600);
    Spy_log_backend exception;
    trace_find_service_handler_exception(exception, routine_0648, "1");
    EXPECT_FALSE(nlohmann::json::parse(only_line(performance)).contains("2_data"));
    EXPECT_FALSE(nlohmann::json::parse(only_line(exception)).contains("2_data"));
    EXPECT_EQ(only_level(performance), 3);
    EXPECT_EQ(only_level(exception), 1);
}

TEST(Find_service_handler_performance, the_time_is_an_unsigned_number) {
    Spy_log_backend spy;
    trace_find_service_handler_performance(spy, routine_0648, "1", 18446744073709551615ul);
    auto const time = nlohmann::json::parse(only_line(spy))["1_incident"]["4_time"];
    EXPECT_TRUE(time.is_number_unsigned());
    EXPECT_EQ(time.get<unsigned long>(), 18446744073709551615ul);
}

TEST(Find_service_start, a_null_service_name_loses_the_record_and_returns) {
    Spy_log_backend spy;
    trace_find_service_start(spy, nullptr, kel::com::runtime::Instance_id{"1"}, 0);
    EXPECT_EQ(only_line(spy), "");
}

}  // namespace

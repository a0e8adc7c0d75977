// trace_record, the one routine behind every emitter: level test first, the record's layout,
// and that a record which cannot be built is logged as an empty text while the caller goes on.
#include "trace/trace_record.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <string>

#include "spy_log_backend.h"

namespace {

using ruv::com::log::trace_record;
using zevo::test::only_level;
using zevo::test::only_line;
using zevo::test::Spy_log_backend;

nlohmann::json small_incident() { return {{"1_id", "Event"}, {"2_value", 1}}; }

TEST(Trace_record, with_the_level_off_builds_nothing_and_writes_nothing) {
    Spy_log_backend spy{false};
    bool built = false;
    trace_record(spy, 5, [&] {
        built = true;
        return small_incident();
    });
    EXPECT_FALSE(built);
    EXPECT_EQ(spy.level_tests, 1u);
    EXPECT_EQ(spy.asked_level, 5);
    EXPECT_TRUE(spy.lines.empty());
}

TEST(Trace_record, writes_one_line_at_the_level_it_tested) {
    Spy_log_backend spy;
    trace_record(spy, 3, small_incident);
    EXPECT_EQ(spy.level_tests, 1u);
    EXPECT_EQ(spy.asked_level, 3);
    EXPECT_EQ(only_level(spy), 3);
    EXPECT_EQ(only_line(spy), R"({"1_incident":{"1_id":"Event","2_value":1}})");
}

TEST(Trace_record, a_record_without_values_has_no_data_key_at_all) {
    Spy_log_backend spy;
    trace_record(spy, 4, small_incident);
    auto const record = nlohmann::json::parse(only_line(spy));
    EXPECT_EQ(record.size(), 1u);
    EXPECT_FALSE(record.contains("2_data"));
}

TEST(Trace_record, values_go_under_data_numbered_from_1) {
    Spy_log_backend spy;
    std::uint32_t seen_index = 0;
    trace_record(spy, 5, small_incident, [&](std::uint32_t& index, nlohmann::json& data) {
        seen_index = index;
        data["1_uint8"] = 7;
        ++index;
    });
    EXPECT_EQ(seen_index, 1u);
    EXPECT_EQ(only_line(spy), R"({"1_incident":{"1_id":"Event","2_value":1},"2_data":{"1_uint8":7}})");
}

TEST(Trace_record, the_same_event_yields_the_same_key_order_whatever_the_order_of_building) {
    Spy_log_backend forward;
    trace_record(forward, 4, [] {
        nlohmann::json incident;
        incident["1_id"] = "Event";
        incident["2_service_id"] = "s";
        incident["3_instance_id"] = "i";
        return incident;
    });
    Spy_log_backend backward;
    trace_record(backward, 4, [] {
        nlohmann::json incident;
        incident["3_instance_id"] = "i";
        incident["2_service_id"] = "s";
        incident["1_id"] = "Event";
        return incident;
    });
    EXPECT_EQ(only_line(forward), only_line(backward));
    EXPECT_EQ(only_line(forward), R"({"1_incident":{"1_id":"Event","2_service_id":"s","3_instance_id":"i"}})");
}

TEST(Trace_record, a_standard_exception_while_building_logs_an_empty_text_and_returns) {
    Spy_log_backend spy;
    trace_record(spy, 2, []() -> nlohmann::json { throw std::runtime_error("building failed"); });
    EXPECT_EQ(only_level(spy), 2);
    EXPECT_EQ(only_line(spy), "");
}

TEST(Trace_record, an_allocation_failure_in_the_values_logs_an_empty_text_and_returns) {
    Spy_log_backend spy;
    trace_record(spy, 5, small_incident, [](std::uint32_t&, nlohmann::json&) { throw std::bad_alloc(); });
    EXPECT_EQ(only_level(spy), 5);
    EXPECT_EQ(only_line(spy), "");
}

TEST(Trace_record, an_exception_of_any_type_while_building_logs_an_empty_text_and_returns) {
    Spy_log_backend spy;
    trace_record(spy, 1, []() -> nlohmann::json { throw 42; });
    EXPECT_EQ(only_level(spy), 1);
    EXPECT_EQ(only_line(spy), "");
}

TEST(Trace_record, a_text_that_fails_to_render_is_logged_as_the_library_message_at_the_record_level) {
    Spy_log_backend spy;
    trace_record(spy, 5, [] { return nlohmann::json{{"1_id", "\xFF"}}; });
    EXPECT_EQ(only_level(spy), 5);
    EXPECT_EQ(only_line(spy), "[json.exception.type_error.316] invalid UTF-8 byte at index 0: 0xFF");
}

class Throwing_backend : public ruv::com::log::Log_backend {
public:
    explicit Throwing_backend(bool in_test) : in_test_(in_test) {}
    bool is_log_enabled(unsigned char) override {
        if (in_test_) throw std::runtime_error("level test failed");
        return true;
    }
    void log(std::string const&, unsigned char) override { throw std::runtime_error("write failed"); }

private:
    bool in_test_;
};

TEST(Trace_record_death, an_exception_from_the_level_test_ends_the_process) {
    EXPECT_DEATH(
        {
            Throwing_backend backend{true};
            trace_record(backend, 4, small_incident);
        },
        "");
}

TEST(Trace_record_death, an_exception_from_the_write_ends_the_process) {
    EXPECT_DEATH(
        {
            Throwing_backend backend{false};
            trace_record(backend, 4, small_incident);
        },
        "");
}

}  // namespace

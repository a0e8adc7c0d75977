// The method events: the request record's incident has no error code, the four shared emitters
// differ only by event and level, and the failure texts of the response path.
#include "trace/method_events.h"

#include <gtest/gtest.h>

#include <exception>
#include <map>
#include <new>
#include <string>
#include <tuple>
#include <vector>

#include "ruv/com/infrastructure_exception.h"
#include "spy_log_backend.h"
#include "trace/exception_text.h"
#include "trace_samples.h"

namespace {

using namespace ruv::com::log;
using zevo::test::method_trace_info;
using zevo::test::keys_of;
using zevo::test::only_level;
using zevo::test::only_line;
using zevo::test::routine_0648;
using zevo::test::Spy_log_backend;

TEST(Method_call_request_tx, its_incident_has_the_method_but_no_error_code) {
    Spy_log_backend spy;
    trace_request_tx(spy, method_trace_info(routine_0648, 2, 99), std::map<std::string, std::string>{});
    auto const incident = nlohmann::json::parse(only_line(spy))["1_incident"];
    EXPECT_EQ(keys_of(incident), (std::vector<std::string>{"1_id", "2_service_id", "3_instance_id", "4_method_id"}));
    EXPECT_EQ(only_level(spy), 5);
}

TEST(Method_call_response_rx, without_result_has_no_data_key) {
    Spy_log_backend spy;
    trace_response_rx(spy, method_trace_info(routine_0648, 0));
    EXPECT_FALSE(nlohmann::json::parse(only_line(spy)).contains("2_data"));
}

TEST(Method_call_response_invalid_code, code_200_shows_as_error_code_200) {
    Spy_log_backend spy;
    auto const text = exception_text(std::make_exception_ptr(ruv::com::Transport_exception{0x8A}));
    trace_response_invalid_code(spy, method_trace_info(routine_0648, 1, 200), text);
    EXPECT_EQ(only_level(spy), 2);
    auto const record = nlohmann::json::parse(only_line(spy));
    EXPECT_EQ(record["1_incident"]["1_id"], "Method_call_response_invalid_code");
    EXPECT_EQ(record["1_incident"]["5_error_code"], 200);
    EXPECT_EQ(record["2_data"].dump(), R"({"1_string":"Exception: Transport exception"})");
}

TEST(Method_call_request_err, code_255_shows_as_error_code_255_with_the_service_not_available_text) {
    Spy_log_backend spy;
    auto const text = exception_text(std::make_exception_ptr(ruv::com::Service_not_available_exception{}));
    trace_request_err(spy, method_trace_info(routine_0648, 1, 255), text);
    EXPECT_EQ(only_level(spy), 2);
    auto const record = nlohmann::json::parse(only_line(spy));
    EXPECT_EQ(record["1_incident"]["1_id"], "Method_call_request_err");
    EXPECT_EQ(record["1_incident"]["5_error_code"], 255);
    EXPECT_EQ(record["2_data"]["1_string"], "Exception: Service not available exception");
}

TEST(Method_call_deserializer_exception, a_short_response_shows_error_code_0_and_the_bare_reader_message) {
    Spy_log_backend spy;
    std::out_of_range const error{"Read beyond the end of the data buffer"};
    trace_deserializer_exception(spy, method_trace_info(routine_0648, 1, 0), error.what());
    EXPECT_EQ(only_level(spy), 2);
    auto const record = nlohmann::json::parse(only_line(spy));
    EXPECT_EQ(record["1_incident"]["1_id"], "Method_call_deserializer_exception");
    EXPECT_EQ(record["1_incident"]["5_error_code"], 0);
    EXPECT_EQ(record["2_data"]["1_string"], "Read beyond the end of the data buffer");
}

TEST(Method_call_deserializer_exception, a_null_text_loses_the_record_and_returns) {
    Spy_log_backend spy;
    trace_deserializer_exception(spy, method_trace_info(routine_0648, 1), nullptr);
    EXPECT_EQ(only_level(spy), 2);
    EXPECT_EQ(only_line(spy), "");
}

TEST(Shared_method_emitters, differ_only_by_event_and_level) {
    struct Expected_event {
        void (*emit)(Log_backend&, ruv::com::cpp_binding::Method_trace_info const&, std::string const&);
        char const* id;
        int level;
    };
    void (*const response_rx)(Log_backend&, ruv::com::cpp_binding::Method_trace_info const&, std::string const&) =
        &trace_response_rx;
    for (auto const& expected : {Expected_event{response_rx, "Method_call_response_rx", 5},
                                 Expected_event{&trace_request_err, "Method_call_request_err", 2},
                                 Expected_event{&trace_response_invalid_code, "Method_call_response_invalid_code", 2}}) {
        Spy_log_backend spy;
        expected.emit(spy, method_trace_info("svc", 1, 7, "inst"), "text");
        EXPECT_EQ(only_level(spy), expected.level) << expected.id;
        EXPECT_EQ(only_line(spy),
                  std::string{R"({"1_incident":{"1_id":")"} + expected.id +
                      R"(","2_service_id":{"1_id":"Service_id","string":"svc"},"3_instance_id":{"1_id":"Instance_id","2_string":"inst"},"4_method_id":1,"5_error_code":7},"2_data":{"1_string":"text"}})")
            << expected.id;
    }
}

TEST(Method_call_response_rx, invalid_utf8_in_a_text_is_still_written_as_the_library_message) {
    Spy_log_backend spy;
    trace_response_rx(spy, method_trace_info(routine_0648, 1, 2), std::string{"Exception: \xE2\x82"});
    EXPECT_EQ(only_level(spy), 5);
    EXPECT_EQ(only_line(spy), "[json.exception.type_error.316] incomplete UTF-8 string; last byte: 0x82");
}

/// An Output whose fields cannot be traced: building its record fails like memory running out.
struct Untraceable_output {
    std::uint8_t field_1 = 0;
    std::tuple<std::uint8_t const&> fields() const { throw std::bad_alloc(); }
};

TEST(Method_call_response_rx, a_result_that_cannot_be_traced_logs_an_empty_text_and_returns) {
    Spy_log_backend spy;
    trace_response_rx(spy, method_trace_info(routine_0648, 1), Untraceable_output{});
    EXPECT_EQ(only_level(spy), 5);
    EXPECT_EQ(only_line(spy), "");
}

}  // namespace

// Trace records through the platform's Ara_log_backend into a recording sink: a record that
// fails to render is written as the library's message at the record's level, and a record that
// could not be built writes nothing.
#include "ruv/com/log/ara_log_backend.h"

#include <gtest/gtest.h>

#include <map>
#include <new>
#include <string>

#include "tests/platform/recording_sink.h"
#include "trace/method_events.h"
#include "trace/trace_record.h"
#include "trace_samples.h"

namespace {

using ara::log::Logger;
using ara::log::LogLevel;
using ruv::com::log::Ara_log_backend;
using zevo::test::Recording_sink;

TEST(Trace_through_ara_log, an_invalid_utf8_map_value_is_written_as_the_library_message_at_debug) {
    Recording_sink sink;
    Logger const logger{"ZEVO", "ACOM", LogLevel::kVerbose, sink};
    Ara_log_backend backend{logger};
    std::map<std::string, std::string> const meta_info{{"sid", "31"}, {"tester", "0E\x80"}};
    ruv::com::log::trace_request_tx(backend, zevo::test::method_trace_info(zevo::test::routine_0648, 1), meta_info);
    auto const lines = sink.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].level, LogLevel::kDebug);
    EXPECT_EQ(lines[0].text, "[json.exception.type_error.316] invalid UTF-8 byte at index 2: 0x80");
}

TEST(Trace_through_ara_log, an_incomplete_utf8_map_value_is_written_as_the_library_message) {
    Recording_sink sink;
    Logger const logger{"ZEVO", "ACOM", LogLevel::kVerbose, sink};
    Ara_log_backend backend{logger};
    std::map<std::string, std::string> const meta_info{{"tester", "\xC3"}};
    ruv::com::log::trace_request_tx(backend, zevo::test::method_trace_info(zevo::test::routine_0648, 1), meta_info);
    auto const lines = sink.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].level, LogLevel::kDebug);
    EXPECT_EQ(lines[0].text, "[json.exception.type_error.316] incomplete UTF-8 string; last byte: 0xC3");
}

TEST(Trace_through_ara_log, a_record_that_could_not_be_built_writes_nothing_at_any_level) {
    Recording_sink sink;
    Logger const logger{"ZEVO", "ACOM", LogLevel::kVerbose, sink};
    Ara_log_backend backend{logger};
    for (unsigned char level = 1; level <= 6; ++level) {
        ruv::com::log::trace_record(backend, level, []() -> nlohmann::json { throw std::bad_alloc(); });
    }
    ruv::com::log::trace_deserializer_exception(backend, zevo::test::method_trace_info("svc", 1), nullptr);
    EXPECT_TRUE(sink.lines().empty());
}

TEST(Trace_through_ara_log, a_record_is_one_line_with_the_rendered_text) {
    Recording_sink sink;
    Logger const logger{"ZEVO", "ACOM", LogLevel::kDebug, sink};
    Ara_log_backend backend{logger};
    ruv::com::log::trace_response_rx(backend, zevo::test::method_trace_info(zevo::test::routine_0648, 2));
    auto const lines = sink.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].level, LogLevel::kDebug);
    EXPECT_EQ(lines[0].text,
              R"({"1_incident":{"1_id":"Method_call_response_rx","2_service_id":{"1_id":"Service_id","string":"talm::services::diag::r_0648::RoutineService_ZevoDebug"},"3_instance_id":{"1_id":"Instance_id","2_string":"1"},"4_method_id":2,"5_error_code":0}})");
}

TEST(Trace_through_ara_log, with_debug_off_a_method_record_reaches_no_sink) {
    Recording_sink sink;
    Logger const logger{"ZEVO", "ACOM", LogLevel::kInfo, sink};
    Ara_log_backend backend{logger};
    ruv::com::log::trace_response_rx(backend, zevo::test::method_trace_info(zevo::test::routine_0648, 2));
    ruv::com::log::trace_request_err(backend, zevo::test::method_trace_info(zevo::test::routine_0648, 2, 0x81),
                                     "Exception: Transport exception");
    auto const lines = sink.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].level, LogLevel::kError);
}

}  // namespace

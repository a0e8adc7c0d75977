// Every one of the eleven events, byte for byte and at its level, for one routine (0x0648) and one
// data identifier (0x2C56), including the three forms of "Method_call_response_rx".
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "bindings/d_2c56/DataIdentifier_ZevoTrainingCounter.h"
#include "bindings/r_0648/RoutineService_ZevoDebug.h"
#include "spy_log_backend.h"
#include "trace/trace_events.h"
#include "trace_samples.h"

namespace {

using namespace ruv::com::log;
using ruv::com::cpp_binding::Service_info;
using zevo::test::data_identifier_2c56;
using zevo::test::found_service;
using zevo::test::method_trace_info;
using zevo::test::routine_0648;
using zevo::test::Spy_log_backend;
using Meta_info = std::map<std::string, std::string>;

struct Golden {
    char const* event;
    unsigned char level;
    std::function<void(Log_backend&)> emit;
    char const* line;
};

void expect_goldens(std::vector<Golden> const& goldens) {
    for (auto const& golden : goldens) {
        Spy_log_backend spy;
        golden.emit(spy);
        EXPECT_EQ(spy.asked_level, golden.level) << golden.event;
        ASSERT_EQ(spy.lines.size(), 1u) << golden.event;
        EXPECT_EQ(spy.lines[0].level, golden.level) << golden.event;
        EXPECT_EQ(spy.lines[0].text, golden.line) << golden.event;
    }
}

TEST(Event_goldens, routine_0648_writes_every_event_byte_for_byte_at_its_level) {
    namespace r_0648 = talm::services::diag::r_0648;
    kel::com::runtime::Instance_id const instance{"1"};
    std::string const service{routine_0648};
    r_0648::RoutineService_ZevoDebug::RequestResults::Output const output{{1, 2, {3}}};
    expect_goldens({
        {"Find_service_start", 4,
         [&](Log_backend& backend) { trace_find_service_start(backend, routine_0648, instance, 7); },
         R"({"1_incident":{"1_id":"Find_service_start","2_service_id":{"1_id":"Service_id","2_char const*":"talm::services::diag::r_0648::RoutineService_ZevoDebug"},"3_instance_id":{"1_id":"Instance_id","2_string":"1"}},"2_data":{"1_string":"7"}})"},
        {"Find_service_stop", 4, [&](Log_backend& backend) { trace_find_service_stop(backend, routine_0648, 7); },
         R"({"1_incident":{"1_id":"Find_service_stop","2_service_id":{"1_id":"Service_id","2_char const*":"talm::services::diag::r_0648::RoutineService_ZevoDebug"}},"2_data":{"1_string":"7"}})"},
        {"Find_service_result", 4,
         [&](Log_backend& backend) {
             trace_find_service_result(backend, service, "1", {found_service(service, "1")});
         },
         R"({"1_incident":{"1_id":"Find_service_result","2_service_id":{"1_id":"Service_id","string":"talm::services::diag::r_0648::RoutineService_ZevoDebug"},"3_instance_id":{"1_id":"Instance_id","2_string":"1"}},"2_data":{"1_vector":[{"1_id":"Service_handle","2_service_id":{"1_id":"Service_id","string":"talm::services::diag::r_0648::RoutineService_ZevoDebug"},"3_instance_id":{"1_id":"Instance_id","2_string":"1"}}]}})"},
        {"Find_service_handler_performance", 3,
         [&](Log_backend& backend) { trace_find_service_handler_performance(backend, service, "1", 731); },
         R"({"1_incident":{"1_id":"Find_service_handler_performance","2_service_id":{"1_id":"Service_id","string":"talm::services::diag::r_0648::RoutineService_ZevoDebug"},"3_instance_id":{"1_id":"Instance_id","2_string":"1"},"4_time":731}})"},
        {"Find_service_handler_exception", 1,
         [&](Log_backend& backend) { trace_find_service_handler_exception(backend, service, "1"); },
         R"({"1_incident":{"1_id":"Find_service_handler_exception","2_service_id":{"1_id":"Service_id","string":"talm::services::diag::r_0648::RoutineService_ZevoDebug"},"3_instance_id":{"1_id":"Instance_id","2_string":"1"}}})"},
        {"Service_proxy_constructed", 4,
         [&](Log_backend& backend) { trace_service_proxy_constructed(backend, Service_info{service, "1"}, 1, 1); },
         R"({"1_incident":{"1_id":"Service_proxy_constructed","2_service_id":{"1_id":"Service_id","string":"talm::services::diag::r_0648::RoutineService_ZevoDebug"},"3_instance_id":{"1_id":"Instance_id","2_string":"1"},"4_struct4bytes":"1","5_utf8simple":"1"}})"},
        {"Method_call_request_tx", 5,
         [&](Log_backend& backend) {
             trace_request_tx(backend, method_trace_info(service, 2), Meta_info{{"sid", "31"}}, std::uint8_t{3},
                              std::vector<std::uint8_t>{16, 32});
         },
         R"({"1_incident":{"1_id":"Method_call_request_tx","2_service_id":{"1_id":"Service_id","string":"talm::services::diag::r_0648::RoutineService_ZevoDebug"},"3_instance_id":{"1_id":"Instance_id","2_string":"1"},"4_method_id":2},"2_data":{"1_map":{"sid":"31"},"2_uint8":3,"3_vector":[16,32]}})"},
        {"Method_call_response_rx without result", 5,
         [&](Log_backend& backend) { trace_response_rx(backend, method_trace_info(service, 2)); },
         R"({"1_incident":{"1_id":"Method_call_response_rx","2_service_id":{"1_id":"Service_id","string":"talm::services::diag::r_0648::RoutineService_ZevoDebug"},"3_instance_id":{"1_id":"Instance_id","2_string":"1"},"4_method_id":2,"5_error_code":0}})"},
        {"Method_call_response_rx with result", 5,
         [&](Log_backend& backend) { trace_response_rx(backend, method_trace_info(service, 1), output); },
         R"({"1_incident":{"1_id":"Method_call_response_rx","2_service_id":{"1_id":"Service_id","string":"talm::services::diag::r_0648::RoutineService_ZevoDebug"},"3_instance_id":{"1_id":"Instance_id","2_string":"1"},"4_method_id":1,"5_error_code":0},"2_data":{"1_generated_type":{"1_uint8":1,"2_uint8":2,"3_vector":[3]}}})"},
        {"Method_call_response_rx with application error", 5,
         [&](Log_backend& backend) {
             trace_response_rx(backend, method_trace_info(service, 2, 2),
                               "Exception: RoutineService_ZevoDebug::UDSServiceFailed::2");
         },
         R"({"1_incident":{"1_id":"Method_call_response_rx","2_service_id":{"1_id":"Service_id","string":"talm::services::diag::r_0648::RoutineService_ZevoDebug"},"3_instance_id":{"1_id":"Instance_id","2_string":"1"},"4_method_id":2,"5_error_code":2},"2_data":{"1_string":"Exception: RoutineService_ZevoDebug::UDSServiceFailed::2"}})"},
        {"Method_call_request_err", 2,
         [&](Log_backend& backend) {
             trace_request_err(backend, method_trace_info(service, 2, 0x81), "Exception: Transport exception");
         },
         R"({"1_incident":{"1_id":"Method_call_request_err","2_service_id":{"1_id":"Service_id","string":"talm::services::diag::r_0648::RoutineService_ZevoDebug"},"3_instance_id":{"1_id":"Instance_id","2_string":"1"},"4_method_id":2,"5_error_code":129},"2_data":{"1_string":"Exception: Transport exception"}})"},
        {"Method_call_response_invalid_code", 2,
         [&](Log_backend& backend) {
             trace_response_invalid_code(backend, method_trace_info(service, 0, 200), "Exception: Transport exception");
         },
         R"({"1_incident":{"1_id":"Method_call_response_invalid_code","2_service_id":{"1_id":"Service_id","string":"talm::services::diag::r_0648::RoutineService_ZevoDebug"},"3_instance_id":{"1_id":"Instance_id","2_string":"1"},"4_method_id":0,"5_error_code":200},"2_data":{"1_string":"Exception: Transport exception"}})"},
        {"Method_call_deserializer_exception", 2,
         [&](Log_backend& backend) {
             trace_deserializer_exception(backend, method_trace_info(service, 1), "Read beyond the end of the data buffer");
         },
         R"({"1_incident":{"1_id":"Method_call_deserializer_exception","2_service_id":{"1_id":"Service_id","string":"talm::services::diag::r_0648::RoutineService_ZevoDebug"},"3_instance_id":{"1_id":"Instance_id","2_string":"1"},"4_method_id":1,"5_error_code":0},"2_data":{"1_string":"Read beyond the end of the data buffer"}})"},
    });
}

TEST(Event_goldens, data_identifier_2c56_writes_every_event_byte_for_byte_at_its_level) {
    namespace d_2c56 = talm::services::diag::d_2c56;
    kel::com::runtime::Instance_id const instance{"1"};
    std::string const service{data_identifier_2c56};
    d_2c56::DataIdentifier_ZevoTrainingCounter::Read::Output const output{255, 65535};
    expect_goldens({
        {"Find_service_start", 4,
         [&](Log_backend& backend) { trace_find_service_start(backend, data_identifier_2c56, instance, 0); },
         R"({"1_incident":{"1_id":"Find_service_start","2_service_id":{"1_id":"Service_id","2_char const*":"talm::services::diag::d_2c56::DataIdentifier_ZevoTrainingCounter"},"3_instance_id":{"1_id":"Instance_id","2_string":"1"}},"2_data":{"1_string":"0"}})"},
        {"Find_service_stop", 4,
         [&](Log_backend& backend) { trace_find_service_stop(backend, data_identifier_2c56, 4294967295u); },
         R"({"1_incident":{"1_id":"Find_service_stop","2_service_id":{"1_id":"Service_id","2_char const*":"talm::services::diag::d_2c56::DataIdentifier_ZevoTrainingCounter"}},"2_data":{"1_string":"4294967295"}})"},
        {"Find_service_result", 4,
         [&](Log_backend& backend) {
             trace_find_service_result(backend, service, "1", {found_service(service, "1")});
         },
         R"({"1_incident":{"1_id":"Find_service_result","2_service_id":{"1_id":"Service_id","string":"talm::services::diag::d_2c56::DataIdentifier_ZevoTrainingCounter"},"3_instance_id":{"1_id":"Instance_id","2_string":"1"}},"2_data":{"1_vector":[{"1_id":"Service_handle","2_service_id":{"1_id":"Service_id","string":"talm::services::diag::d_2c56::DataIdentifier_ZevoTrainingCounter"},"3_instance_id":{"1_id":"Instance_id","2_string":"1"}}]}})"},
        {"Find_service_handler_performance", 3,
         [&](Log_backend& backend) { trace_find_service_handler_performance(backend, service, "1", 501); },
         R"({"1_incident":{"1_id":"Find_service_handler_performance","2_service_id":{"1_id":"Service_id","string":"talm::services::diag::d_2c56::DataIdentifier_ZevoTrainingCounter"},"3_instance_id":{"1_id":"Instance_id","2_string":"1"},"4_time":501}})"},
        {"Find_service_handler_exception", 1,
         [&](Log_backend& backend) { trace_find_service_handler_exception(backend, service, "1"); },
         R"({"1_incident":{"1_id":"Find_service_handler_exception","2_service_id":{"1_id":"Service_id","string":"talm::services::diag::d_2c56::DataIdentifier_ZevoTrainingCounter"},"3_instance_id":{"1_id":"Instance_id","2_string":"1"}}})"},
        {"Service_proxy_constructed", 4,
         [&](Log_backend& backend) { trace_service_proxy_constructed(backend, Service_info{service, "1"}, 1, 1); },
         R"({"1_incident":{"1_id":"Service_proxy_constructed","2_service_id":{"1_id":"Service_id","string":"talm::services::diag::d_2c56::DataIdentifier_ZevoTrainingCounter"},"3_instance_id":{"1_id":"Instance_id","2_string":"1"},"4_struct4bytes":"1","5_utf8simple":"1"}})"},
        {"Method_call_request_tx", 5,
         [&](Log_backend& backend) { trace_request_tx(backend, method_trace_info(service, 1), Meta_info{{"sid", "22"}}); },
         R"({"1_incident":{"1_id":"Method_call_request_tx","2_service_id":{"1_id":"Service_id","string":"talm::services::diag::d_2c56::DataIdentifier_ZevoTrainingCounter"},"3_instance_id":{"1_id":"Instance_id","2_string":"1"},"4_method_id":1},"2_data":{"1_map":{"sid":"22"}}})"},
        {"Method_call_response_rx without result", 5,
         [&](Log_backend& backend) { trace_response_rx(backend, method_trace_info(service, 0)); },
         R"({"1_incident":{"1_id":"Method_call_response_rx","2_service_id":{"1_id":"Service_id","string":"talm::services::diag::d_2c56::DataIdentifier_ZevoTrainingCounter"},"3_instance_id":{"1_id":"Instance_id","2_string":"1"},"4_method_id":0,"5_error_code":0}})"},
        {"Method_call_response_rx with result", 5,
         [&](Log_backend& backend) { trace_response_rx(backend, method_trace_info(service, 1), output); },
         R"({"1_incident":{"1_id":"Method_call_response_rx","2_service_id":{"1_id":"Service_id","string":"talm::services::diag::d_2c56::DataIdentifier_ZevoTrainingCounter"},"3_instance_id":{"1_id":"Instance_id","2_string":"1"},"4_method_id":1,"5_error_code":0},"2_data":{"1_generated_type":{"1_uint8":255,"2_uint16":65535}}})"},
        {"Method_call_response_rx with application error", 5,
         [&](Log_backend& backend) {
             trace_response_rx(backend, method_trace_info(service, 1, 2),
                               "Exception: DataIdentifier_ZevoTrainingCounter::UDSServiceFailed::2");
         },
         R"({"1_incident":{"1_id":"Method_call_response_rx","2_service_id":{"1_id":"Service_id","string":"talm::services::diag::d_2c56::DataIdentifier_ZevoTrainingCounter"},"3_instance_id":{"1_id":"Instance_id","2_string":"1"},"4_method_id":1,"5_error_code":2},"2_data":{"1_string":"Exception: DataIdentifier_ZevoTrainingCounter::UDSServiceFailed::2"}})"},
        {"Method_call_request_err", 2,
         [&](Log_backend& backend) {
             trace_request_err(backend, method_trace_info(service, 1, 255), "Exception: Service not available exception");
         },
         R"({"1_incident":{"1_id":"Method_call_request_err","2_service_id":{"1_id":"Service_id","string":"talm::services::diag::d_2c56::DataIdentifier_ZevoTrainingCounter"},"3_instance_id":{"1_id":"Instance_id","2_string":"1"},"4_method_id":1,"5_error_code":255},"2_data":{"1_string":"Exception: Service not available exception"}})"},
        {"Method_call_response_invalid_code", 2,
         [&](Log_backend& backend) {
             trace_response_invalid_code(backend, method_trace_info(service, 1, 3), "Exception: Transport exception");
         },
         R"({"1_incident":{"1_id":"Method_call_response_invalid_code","2_service_id":{"1_id":"Service_id","string":"talm::services::diag::d_2c56::DataIdentifier_ZevoTrainingCounter"},"3_instance_id":{"1_id":"Instance_id","2_string":"1"},"4_method_id":1,"5_error_code":3},"2_data":{"1_string":"Exception: Transport exception"}})"},
        {"Method_call_deserializer_exception", 2,
         [&](Log_backend& backend) {
             trace_deserializer_exception(backend, method_trace_info(service, 1), "Deserialization detected std::size_t overflow.");
         },
         R"({"1_incident":{"1_id":"Method_call_deserializer_exception","2_service_id":{"1_id":"Service_id","string":"talm::services::diag::d_2c56::DataIdentifier_ZevoTrainingCounter"},"3_instance_id":{"1_id":"Instance_id","2_string":"1"},"4_method_id":1,"5_error_code":0},"2_data":{"1_string":"Deserialization detected std::size_t overflow."}})"},
    });
}

TEST(Event_goldens, the_two_example_lines_of_a_search_start_and_a_successful_call) {
    Spy_log_backend search;
    trace_find_service_start(search, routine_0648, kel::com::runtime::Instance_id{"1"}, 7);
    EXPECT_EQ(
        zevo::test::only_line(search),
        R"({"1_incident":{"1_id":"Find_service_start","2_service_id":{"1_id":"Service_id","2_char const*":"talm::services::diag::r_0648::RoutineService_ZevoDebug"},"3_instance_id":{"1_id":"Instance_id","2_string":"1"}},"2_data":{"1_string":"7"}})");

    Spy_log_backend call;
    trace_response_rx(call, method_trace_info(routine_0648, 2));
    EXPECT_EQ(
        zevo::test::only_line(call),
        R"({"1_incident":{"1_id":"Method_call_response_rx","2_service_id":{"1_id":"Service_id","string":"talm::services::diag::r_0648::RoutineService_ZevoDebug"},"3_instance_id":{"1_id":"Instance_id","2_string":"1"},"4_method_id":2,"5_error_code":0}})");
}

}  // namespace

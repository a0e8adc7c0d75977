#pragma once
// The lines of "Method_call_request_tx" and "Method_call_response_rx" as the tests expect them:
// the incident spelled out around the service name, method and code, then "2_data". Test data.

#include <string>

namespace zevo::test {

inline std::string request_line(std::string const& service, unsigned method_id, std::string const& data) {
    return R"({"1_incident":{"1_id":"Method_call_request_tx","2_service_id":{"1_id":"Service_id","string":")" +
           service + R"("},"3_instance_id":{"1_id":"Instance_id","2_string":"1"},"4_method_id":)" +
           std::to_string(method_id) + R"(},"2_data":)" + data + "}";
}

inline std::string result_line(std::string const& service, std::string const& data) {
    return R"({"1_incident":{"1_id":"Method_call_response_rx","2_service_id":{"1_id":"Service_id","string":")" +
           service +
           R"("},"3_instance_id":{"1_id":"Instance_id","2_string":"1"},"4_method_id":1,"5_error_code":0},"2_data":)" +
           data + "}";
}

}  // namespace zevo::test

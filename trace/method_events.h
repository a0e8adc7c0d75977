#pragma once
// The trace events of a method call: the request going out (on the job's thread) and the outcome
// of its response (on a runtime thread). All write at their fixed level through trace_record and
// throw nothing.

#include <cstdint>
#include <string>
#include <type_traits>

#include <nlohmann/json.hpp>

#include "ruv/com/log/log_backend.h"
#include "trace/method_trace_info.h"
#include "trace/trace_event.h"
#include "trace/trace_record.h"
#include "trace/value_names.h"

namespace ruv::com::log {

/// The incident of "Method_call_request_tx": service, instance and "4_method_id"; the error code
/// has no place on the request side.
nlohmann::json method_request_incident(cpp_binding::Method_trace_info const& info);

/// The incident of every response-side event: service, instance, "4_method_id", "5_error_code".
nlohmann::json method_response_incident(Trace_event const& event, cpp_binding::Method_trace_info const& info);

/// "Method_call_request_tx", level 5: the call's arguments in signature order under "2_data"
/// ("1_map", then "2_uint8", "3_vector" and so on).
template <class... Arguments>
void trace_request_tx(Log_backend& backend, cpp_binding::Method_trace_info const& info,
                      Arguments const&... arguments) noexcept {
    trace_record(
        backend, trace_event::method_call_request_tx.level, [&info] { return method_request_incident(info); },
        [&](std::uint32_t& index, nlohmann::json& data) { add_values(index, data, arguments...); });
}

/// "Method_call_response_rx", level 5, of a method without result: no "2_data".
void trace_response_rx(Log_backend& backend, cpp_binding::Method_trace_info const& info) noexcept;

/// "Method_call_response_rx", level 5, of a method with result: the Output's fields under
/// "1_generated_type".
template <class Output, std::enable_if_t<is_generated_record_v<Output>, int> = 0>
void trace_response_rx(Log_backend& backend, cpp_binding::Method_trace_info const& info,
                       Output const& output) noexcept {
    auto const& event = trace_event::method_call_response_rx;
    trace_record(
        backend, event.level, [&] { return method_response_incident(event, info); },
        [&output](std::uint32_t& index, nlohmann::json& data) { add_value(index, data, std::string{}, output); });
}

/// "Method_call_response_rx", level 5, of an application error: its text as "1_string".
void trace_response_rx(Log_backend& backend, cpp_binding::Method_trace_info const& info,
                       std::string const& text) noexcept;

/// "Method_call_request_err", level 2: the transport did not deliver; the exception's text.
void trace_request_err(Log_backend& backend, cpp_binding::Method_trace_info const& info,
                       std::string const& text) noexcept;

/// "Method_call_response_invalid_code", level 2: a return code that means nothing here.
void trace_response_invalid_code(Log_backend& backend, cpp_binding::Method_trace_info const& info,
                                 std::string const& text) noexcept;

/// "Method_call_deserializer_exception", level 2: the bare what() of what went wrong while the
/// response was taken apart. A null `what` loses the record.
void trace_deserializer_exception(Log_backend& backend, cpp_binding::Method_trace_info const& info,
                                  char const* what) noexcept;

}  // namespace ruv::com::log

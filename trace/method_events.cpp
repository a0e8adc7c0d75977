#include "trace/method_events.h"

#include "trace/sub_records.h"

namespace ruv::com::log {
namespace {

/// The four response-side events with a text: one routine, differing in event and level only.
template <class Text>
void trace_method_text(Log_backend& backend, Trace_event const& event, cpp_binding::Method_trace_info const& info,
                       Text const& text) noexcept {
    trace_record(
        backend, event.level, [&] { return method_response_incident(event, info); },
        [&text](std::uint32_t& index, nlohmann::json& data) { add_value(index, data, std::string{}, text); });
}

}  // namespace

nlohmann::json method_request_incident(cpp_binding::Method_trace_info const& info) {
    return {{"1_id", trace_event::method_call_request_tx.id},
            {"2_service_id", service_id_record(info.info.service)},
            {"3_instance_id", instance_id_record(info.info.instance)},
            {"4_method_id", info.method_id}};
}

nlohmann::json method_response_incident(Trace_event const& event, cpp_binding::Method_trace_info const& info) {
    return {{"1_id", event.id},
            {"2_service_id", service_id_record(info.info.service)},
            {"3_instance_id", instance_id_record(info.info.instance)},
            {"4_method_id", info.method_id},
            {"5_error_code", info.error_code}};
}

void trace_response_rx(Log_backend& backend, cpp_binding::Method_trace_info const& info) noexcept {
    auto const& event = trace_event::method_call_response_rx;
    trace_record(backend, event.level, [&] { return method_response_incident(event, info); });
}

void trace_response_rx(Log_backend& backend, cpp_binding::Method_trace_info const& info,
                       std::string const& text) noexcept {
    trace_method_text(backend, trace_event::method_call_response_rx, info, text);
}

void trace_request_err(Log_backend& backend, cpp_binding::Method_trace_info const& info,
                       std::string const& text) noexcept {
    trace_method_text(backend, trace_event::method_call_request_err, info, text);
}

void trace_response_invalid_code(Log_backend& backend, cpp_binding::Method_trace_info const& info,
                                 std::string const& text) noexcept {
    trace_method_text(backend, trace_event::method_call_response_invalid_code, info, text);
}

void trace_deserializer_exception(Log_backend& backend, cpp_binding::Method_trace_info const& info,
                                  char const* what) noexcept {
    trace_method_text(backend, trace_event::method_call_deserializer_exception, info, what);
}

}  // namespace ruv::com::log

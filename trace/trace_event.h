#pragma once
// The trace vocabulary: each event's name, written as "1_id" of its incident, and the log level
// it is written at (1 fatal, 2 error, 3 warning, 4 info, 5 debug). Constants only.

namespace ruv::com::log {

struct Trace_event {
    char const* id;
    unsigned char level;
};

namespace trace_event {

inline constexpr Trace_event find_service_start{"Find_service_start", 4};
inline constexpr Trace_event find_service_stop{"Find_service_stop", 4};
inline constexpr Trace_event find_service_result{"Find_service_result", 4};
inline constexpr Trace_event find_service_handler_performance{"Find_service_handler_performance", 3};
inline constexpr Trace_event find_service_handler_exception{"Find_service_handler_exception", 1};
inline constexpr Trace_event service_proxy_constructed{"Service_proxy_constructed", 4};
inline constexpr Trace_event method_call_request_tx{"Method_call_request_tx", 5};
inline constexpr Trace_event method_call_response_rx{"Method_call_response_rx", 5};
inline constexpr Trace_event method_call_request_err{"Method_call_request_err", 2};
inline constexpr Trace_event method_call_response_invalid_code{"Method_call_response_invalid_code", 2};
inline constexpr Trace_event method_call_deserializer_exception{"Method_call_deserializer_exception", 2};

}  // namespace trace_event
}  // namespace ruv::com::log

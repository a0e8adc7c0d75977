#pragma once
// Classification of every return code but 0 of a method call: the method's application error,
// a transport failure, a service that went away, or a code that means nothing here. Runs on a
// runtime thread inside a response handler; traces the outcome, then completes the promise.
// Only an exception that does not derive from std::exception leaves it; running out of memory
// while the payload is copied, before anything is guarded, ends the process.

#include <cstdint>
#include <exception>
#include <string>
#include <vector>

#include "kel/com/runtime/serialized_payload.h"
#include "ruv/com/cpp_binding/service_info.h"
#include "ruv/com/infrastructure_exception.h"
#include "ruv/com/log/generic_logger.h"
#include "trace/exception_text.h"
#include "trace/method_events.h"
#include "trace/method_trace_info.h"

namespace ruv::com::cpp_binding::proxy::detail {

/// Return codes of the runtime that the response path tells apart.
namespace return_code {
inline constexpr unsigned char connection_broken = 0x81;
inline constexpr unsigned char not_sent = 0x82;
inline constexpr unsigned char timed_out = 0x86;
inline constexpr unsigned char invalid = 0x8A;
inline constexpr unsigned char service_not_available = 0xFF;
}  // namespace return_code

/// The bytes from `begin` to `end`, copied. Deliberately outside every guard and noexcept:
/// running out of memory here ends the process rather than throw into the runtime's thread.
inline std::vector<unsigned char> payload_bytes(const kel::com::runtime::Serialized_payload& payload) noexcept {
    if (payload.begin == nullptr || payload.end == nullptr) {
        return {};
    }
    return std::vector<unsigned char>(payload.begin, payload.end);
}

/// A malformed answer, or a promise that could not take the outcome: traced with the bare
/// what(), and the caller gets a Transport_exception of code 0x8A.
template <class Method, class Promise_ptr>
void deliver_deserializer_exception(log::Generic_logger& logger, const Service_info& info, unsigned char code,
                                    const Promise_ptr& promise, const std::exception& error) {
    const Method_trace_info trace_info{info, Method::method_id, code};
    log::trace_deserializer_exception(*logger.backend, trace_info, error.what());
    promise->set_exception(std::make_exception_ptr(Transport_exception(return_code::invalid)));
}

template <class Method, class Promise_ptr, class Payload>
void handle_error(log::Generic_logger& logger, const Service_info& info, unsigned char code, Promise_ptr promise,
                  Payload payload) {
    const std::vector<unsigned char> bytes = payload_bytes(payload);
    try {
        std::exception_ptr error = Method::GetApplicationErrorExceptionPtr(code, bytes);
        void (*emit)(log::Log_backend&, const Method_trace_info&, const std::string&) noexcept =
            &log::trace_response_rx;
        if (!error) {
            // The order of the tests is the classification's: 0x86 first, above it only 0xFF,
            // below it 0x81 and 0x82.
            if (code == return_code::timed_out) {
                error = std::make_exception_ptr(Transport_exception(code));
                emit = &log::trace_request_err;
            } else if (code > return_code::timed_out && code == return_code::service_not_available) {
                error = std::make_exception_ptr(Service_not_available_exception());
                emit = &log::trace_request_err;
            } else if (code < return_code::timed_out &&
                       static_cast<unsigned char>(code - return_code::connection_broken) <= 1) {
                error = std::make_exception_ptr(Transport_exception(code));
                emit = &log::trace_request_err;
            } else {
                error = std::make_exception_ptr(Transport_exception(return_code::invalid));
                emit = &log::trace_response_invalid_code;
            }
        }
        {
            const Method_trace_info trace_info{info, Method::method_id, code};
            const std::string text = log::exception_text(error);
            emit(*logger.backend, trace_info, text);
        }
        promise->set_exception(error);
    } catch (const std::exception& failure) {
        deliver_deserializer_exception<Method>(logger, info, code, promise, failure);
    }
}

}  // namespace ruv::com::cpp_binding::proxy::detail

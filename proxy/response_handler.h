#pragma once
// The response handler that a method call hands to the port: it turns the runtime's return code
// and payload into exactly one completion of the call's promise, traced before it completes.
// Called once, on a runtime thread; it touches neither the proxy nor the method object, so it
// is safe after both are gone. Holds its own reference to the promise, which keeps the call alive.

#include <memory>
#include <utility>
#include <vector>

#include "kel/com/runtime/serialized_payload.h"
#include "proxy/handle_error.h"
#include "proxy/promise.h"
#include "ruv/com/cpp_binding/service_info.h"
#include "ruv/com/log/generic_logger.h"
#include "someip/method_payload.h"
#include "trace/method_events.h"
#include "trace/method_trace_info.h"

namespace ruv::com::cpp_binding::proxy::detail {

/// Handler routine of a method without result (Start, Cancel): the payload of a success is never
/// looked at.
template <class Method>
void handle_response(log::Generic_logger& logger, const std::shared_ptr<kel::com::Promise<void>>& promise,
                     const Service_info& info, unsigned char code, kel::com::runtime::Serialized_payload payload) {
    if (code != 0) {
        handle_error<Method>(logger, info, code, promise, std::move(payload));
        return;
    }
    {
        const Method_trace_info trace_info{info, Method::method_id, 0};
        log::trace_response_rx(*logger.backend, trace_info);
    }
    promise->set_value();
}

/// Handler routine of a method with result (Read, RequestResults): the Output is read from a
/// private copy of the bytes; a malformed payload becomes a Transport_exception of code 0x8A.
template <class Method, class Output>
void handle_response(log::Generic_logger& logger, const std::shared_ptr<kel::com::Promise<Output>>& promise,
                     const Service_info& info, unsigned char code, kel::com::runtime::Serialized_payload payload) {
    if (code != 0) {
        handle_error<Method>(logger, info, code, promise, std::move(payload));
        return;
    }
    const std::vector<unsigned char> bytes = payload_bytes(payload);
    try {
        Output output{};
        someip::serialization::deserialize_output(bytes, output);
        {
            const Method_trace_info trace_info{info, Method::method_id, 0};
            log::trace_response_rx(*logger.backend, trace_info, output);
        }
        promise->set_value(std::move(output));
    } catch (const std::exception& failure) {
        deliver_deserializer_exception<Method>(logger, info, 0, promise, failure);
    }
}

/// The closure of a call's response handler, members in this order: the port's logger, the
/// call's promise, a copy of the port's Service_info.
template <class Method, class R>
struct Response_closure {
    log::Generic_logger& logger;
    std::shared_ptr<kel::com::Promise<R>> promise;
    Service_info info;

    void operator()(unsigned char code, kel::com::runtime::Serialized_payload payload) const {
        if constexpr (std::is_void_v<R>) {
            handle_response<Method>(logger, promise, info, code, std::move(payload));
        } else {
            handle_response<Method, R>(logger, promise, info, code, std::move(payload));
        }
    }
};

}  // namespace ruv::com::cpp_binding::proxy::detail

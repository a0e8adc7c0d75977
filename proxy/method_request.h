#pragma once
// The request path of Method_impl::operator(): refuses at once when the service is not
// available, traces the call, serialises the arguments into a shared payload, hands payload and
// response handler to the port and returns the call's future without waiting. Runs on the
// job's thread, on several at once for one proxy. Throws Service_not_available_exception
// (nothing made, nothing traced), the serialiser's exceptions and std::bad_alloc.

#include <atomic>
#include <memory>
#include <utility>

#include "kel/com/runtime/serialized_payload.h"
#include "proxy/method_impl.h"
#include "proxy/response_handler.h"
#include "ruv/com/cpp_binding/shared_payload.h"
#include "ruv/com/infrastructure_exception.h"
#include "ruv/com/runtime/service_record.h"
#include "someip/method_payload.h"
#include "trace/method_events.h"
#include "trace/method_trace_info.h"

namespace ruv::com::cpp_binding::proxy {

/// The value of the service state that lets a call through.
inline constexpr std::uint8_t service_available = 2;

template <class Tag, class R, class... Args>
kel::com::Future<R> Method_impl<Tag, false, R(Args...)>::operator()(Args... args) const {
    const Service_info info = port_->info;
    if (port_->service->state.load(std::memory_order_acquire) != service_available) {
        throw Service_not_available_exception();
    }
    log::Generic_logger& logger = *port_->logger;
    {
        const Method_trace_info trace_info{info, Tag::method_id, 0};
        log::trace_request_tx(*logger.backend, trace_info, args...);
    }
    auto promise = std::make_shared<kel::com::Promise<R>>();
    kel::com::Future<R> future = promise->get_future();

    std::shared_ptr<std::vector<std::uint8_t>> buffer = get_shared_payload(0);
    someip::serialization::serialize_arguments(*buffer, args...);
    kel::com::runtime::Serialized_payload payload;
    payload.header_word = 0;
    payload.buffer = buffer;
    payload.begin = buffer->data();
    payload.end = buffer->data() + buffer->size();

    auto call = port_->call_method(Tag::method_id, std::move(payload),
                                   detail::Response_closure<Tag, R>{logger, promise, info});
    this->add_cleanup(std::move(promise), std::move(call));
    return future;
}

}  // namespace ruv::com::cpp_binding::proxy

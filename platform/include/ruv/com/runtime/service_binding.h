#pragma once
// The one type-erased face of a binding (local, someip) that carries the calls of one service:
// bytes in, return code and bytes out, never the method's types. call runs on the caller's
// thread and returns at once; the handler runs later on a runtime thread, or is destroyed.

#include <cstdint>
#include <functional>
#include <memory>

#include "kel/com/runtime/method_call.h"
#include "kel/com/runtime/serialized_payload.h"

namespace ruv::com::runtime {

class Service_binding {
public:
    /// Called once with the return code (ruv/com/runtime/return_code.h) and the response.
    using Response_handler = std::function<void(unsigned char, kel::com::runtime::Serialized_payload)>;

    virtual ~Service_binding();

    /// Sends one request. Thread-safe. The handler is called exactly once on a runtime thread,
    /// never on the calling thread, or destroyed uncalled there when the call is dropped. Throws
    /// std::bad_alloc; a call refused for any other reason is answered through the handler.
    virtual std::shared_ptr<kel::com::runtime::Method_call> call(
        std::uint16_t method_id, kel::com::runtime::Serialized_payload request,
        Response_handler handler) = 0;

protected:
    Service_binding() = default;
    Service_binding(const Service_binding&) = default;
    Service_binding& operator=(const Service_binding&) = default;
};

}  // namespace ruv::com::runtime

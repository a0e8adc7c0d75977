#pragma once
// The client port of one found service, made by a proxy (on a discovery strand) and owned by it.
// Port_link carries the service's identity and the logger; Rport adds the runtime's service
// record and call_method, the first slot behind the destructor pair. call_method may run on
// several threads at once; it returns at once and the handler runs later on a runtime thread,
// or is destroyed uncalled. The field and slot orders are a binary contract.

#include <cstdint>
#include <functional>
#include <memory>

#include "kel/com/interface.h"
#include "kel/com/runtime/method_call.h"
#include "kel/com/runtime/serialized_payload.h"
#include "kel/com/runtime/service_handle.h"
#include "proxy/future.h"
#include "ruv/com/connector/service_interface_description.h"
#include "ruv/com/cpp_binding/service_info.h"
#include "ruv/com/log/generic_logger.h"
#include "ruv/com/runtime/service_record.h"

namespace ruv::com::cpp_binding {

class Port_link : private kel::com::Interface {
public:
    ~Port_link() override;

    Service_info info;            ///< service id (interface name) and instance id, from the handle
    log::Generic_logger* logger;  ///< not owned; the platform's logger outlives every port

protected:
    Port_link(Service_info service_info, log::Generic_logger* port_logger);
    Port_link(const Port_link&) = default;
    Port_link& operator=(const Port_link&) = default;
};

namespace proxy {

class Rport : public Port_link {
public:
    using Response_handler = runtime::Service_binding::Response_handler;

    /// Attaches to the service behind `handle`: info from the handle's two texts, logger from
    /// ara::com::logger(), service from the handle's runtime record. Throws std::invalid_argument
    /// with the text "Rport: the service handle does not come from this runtime" for a handle
    /// without a runtime record, std::bad_alloc.
    Rport(const kel::com::runtime::Service_handle& handle,
          const connector::Service_interface_description& description);
    /// Releases `service` first, then the instance text, then the service text.
    ~Rport() override;
    Rport(const Rport&) = delete;
    Rport& operator=(const Rport&) = delete;

    /// Sends the request through the service's binding and returns at once a ready future that
    /// holds the runtime's record of the call. The handler is called once on a runtime thread
    /// with the return code and the response, or destroyed uncalled. Does not look at the
    /// service state: a withdrawn service answers 0xFF. Throws std::bad_alloc.
    virtual kel::com::Future<std::shared_ptr<kel::com::runtime::Method_call>> call_method(
        std::uint16_t method_id, kel::com::runtime::Serialized_payload payload,
        Response_handler handler);

    /// Never null; shared with the binding and every other port of the service.
    std::shared_ptr<runtime::Service_record> service;

protected:
    /// For ports of other bindings and test doubles: the texts and the record as given, the
    /// logger from ara::com::logger(). `record` must not be null. Throws std::bad_alloc.
    Rport(Service_info service_info, std::shared_ptr<runtime::Service_record> record);
};

}  // namespace proxy
}  // namespace ruv::com::cpp_binding

#pragma once
// The client port of one found service, made by a proxy and owned by it. Port_link carries the
// service's identity and the logger; Rport adds the runtime's service record and call_method,
// the first slot behind the destructor pair. call_method returns at once; the handler runs
// later on a runtime thread, or is destroyed uncalled.

#include <cstdint>
#include <functional>
#include <memory>

#include "kel/com/interface.h"
#include "proxy/future.h"
#include "ruv/com/cpp_binding/service_info.h"

namespace kel::com::runtime {
class Method_call;
class Service_handle;
struct Serialized_payload;
}  // namespace kel::com::runtime

namespace ruv::com::log {
class Generic_logger;
}  // namespace ruv::com::log

namespace ruv::com::connector {
struct Service_interface_description;
}  // namespace ruv::com::connector

namespace ruv::com::runtime {
class Service_record;
}  // namespace ruv::com::runtime

namespace ruv::com::cpp_binding {

class Port_link : private kel::com::Interface {
public:
    ~Port_link() override;

    Service_info info;
    log::Generic_logger* logger;  ///< not owned; the platform's logger outlives every port

protected:
    Port_link(Service_info service_info, log::Generic_logger* port_logger);
};

namespace proxy {

class Rport : public Port_link {
public:
    using Response_handler =
        std::function<void(unsigned char, kel::com::runtime::Serialized_payload)>;

    Rport(const kel::com::runtime::Service_handle& handle,
          const connector::Service_interface_description& description);
    ~Rport() override;

    virtual kel::com::Future<std::shared_ptr<kel::com::runtime::Method_call>> call_method(
        std::uint16_t method_id, kel::com::runtime::Serialized_payload payload,
        Response_handler handler);

    std::shared_ptr<runtime::Service_record> service;
};

}  // namespace proxy
}  // namespace ruv::com::cpp_binding

#include "ruv/com/cpp_binding/proxy/rport.h"

#include <stdexcept>
#include <utility>

#include "ara/com/logger.h"
#include "proxy/promise.h"
#include "ruv/com/runtime/service_entry.h"

namespace ruv::com::cpp_binding {

Port_link::Port_link(Service_info service_info, log::Generic_logger* port_logger)
    : info(std::move(service_info)), logger(port_logger) {}

// Members go in reverse order: logger, then info (instance text, then service text).
Port_link::~Port_link() = default;

namespace proxy {

namespace {

const runtime::Service_entry& entry_of(const kel::com::runtime::Service_handle& handle) {
    const runtime::Service_entry* const entry = runtime::Service_entry::of(handle);
    if (entry == nullptr || entry->service() == nullptr) {
        throw std::invalid_argument("Rport: the service handle does not come from this runtime");
    }
    return *entry;
}

Service_info info_of(const runtime::Service_entry& entry) {
    return Service_info{entry.service_id(), entry.instance_id()};
}

}  // namespace

// The description tells a remote binding how many methods to expect; the service record already
// knows its binding, so attaching needs nothing from it here.
Rport::Rport(const kel::com::runtime::Service_handle& handle,
             const connector::Service_interface_description& /*description*/)
    : Rport(info_of(entry_of(handle)), entry_of(handle).service()) {}

Rport::Rport(Service_info service_info, std::shared_ptr<runtime::Service_record> record)
    : Port_link(std::move(service_info), &ara::com::logger()), service(std::move(record)) {}

// `service` is Rport's own member and goes before Port_link's strings.
Rport::~Rport() = default;

kel::com::Future<std::shared_ptr<kel::com::runtime::Method_call>> Rport::call_method(
    std::uint16_t method_id, kel::com::runtime::Serialized_payload payload,
    Response_handler handler) {
    kel::com::Promise<std::shared_ptr<kel::com::runtime::Method_call>> accepted;
    auto future = accepted.get_future();
    accepted.set_value(service->binding->call(method_id, std::move(payload), std::move(handler)));
    return future;
}

}  // namespace proxy
}  // namespace ruv::com::cpp_binding

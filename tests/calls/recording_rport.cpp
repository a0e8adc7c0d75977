#include "recording_rport.h"

#include <memory>
#include <stdexcept>

#include "kel/com/runtime/service_handle.h"
#include "ruv/com/cpp_binding/proxy/rport.h"
#include "ruv/com/runtime/service_entry.h"

namespace zevo::test::calls {

std::vector<ruv::com::connector::Service_interface_description>& recorded_descriptions() {
    static std::vector<ruv::com::connector::Service_interface_description> descriptions;
    return descriptions;
}

ruv::com::log::Generic_logger*& port_logger() {
    static ruv::com::log::Generic_logger* logger = nullptr;
    return logger;
}

}  // namespace zevo::test::calls

namespace ruv::com::cpp_binding::proxy {

namespace {

const runtime::Service_entry& entry_of(const kel::com::runtime::Service_handle& handle) {
    const runtime::Service_entry* const entry = runtime::Service_entry::of(handle);
    if (entry == nullptr || entry->service() == nullptr) {
        throw std::invalid_argument("Rport: the service handle does not come from this runtime");
    }
    return *entry;
}

}  // namespace

Rport::Rport(const kel::com::runtime::Service_handle& handle,
             const connector::Service_interface_description& description)
    : Rport(Service_info{entry_of(handle).service_id(), entry_of(handle).instance_id()}, entry_of(handle).service()) {
    zevo::test::calls::recorded_descriptions().push_back(description);
    if (log::Generic_logger* const chosen = zevo::test::calls::port_logger()) {
        logger = chosen;
    }
}

}  // namespace ruv::com::cpp_binding::proxy

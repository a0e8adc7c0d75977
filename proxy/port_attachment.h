#pragma once
// Builds the port of a new proxy from a found service: the Rport with a fresh description of the
// interface, then the "Service_proxy_constructed" trace. Runs on the discovery strand's thread;
// throws what the Rport's constructor throws (the port is then not made) and std::bad_alloc.

#include <cstdint>
#include <memory>

#include "kel/com/runtime/service_handle.h"
#include "ruv/com/connector/service_interface_description.h"
#include "ruv/com/cpp_binding/proxy/rport.h"
#include "ruv/com/cpp_binding/service_info.h"
#include "ruv/com/log/generic_logger.h"
#include "trace/proxy_events.h"

namespace ruv::com::cpp_binding::proxy {

/// The record handed to the construction trace: the port's identity and two flag bytes, both 1.
struct Proxy_construction_record {
    Service_info info;
    std::uint8_t struct4bytes;
    std::uint8_t utf8simple;
};

/// A new port on `handle` for an interface of `method_count` methods; owned by the caller.
inline Rport* attach_port(const kel::com::runtime::Service_handle& handle, std::uint8_t method_count) {
    const connector::Service_interface_description description{0, 0, method_count, 0};
    auto port = std::make_unique<Rport>(handle, description);
    {
        const Proxy_construction_record record{port->info, 1, 1};
        log::trace_service_proxy_constructed(*port->logger->backend, record.info, record.struct4bytes,
                                             record.utf8simple);
    }
    return port.release();
}

}  // namespace ruv::com::cpp_binding::proxy

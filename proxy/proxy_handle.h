#pragma once
// One found service as a discovery handler sees it: a copy of the runtime's Service_handle,
// sharing the same runtime object (a copy costs one reference). A value type; copies may go to
// any thread.

#include <utility>

#include "kel/com/runtime/service_handle.h"

namespace ruv::com::cpp_binding::proxy {

class Proxy_handle {
public:
    explicit Proxy_handle(kel::com::runtime::Service_handle handle) : handle_(std::move(handle)) {}

    const kel::com::runtime::Service_handle& service_handle() const noexcept { return handle_; }

private:
    kel::com::runtime::Service_handle handle_;
};

}  // namespace ruv::com::cpp_binding::proxy

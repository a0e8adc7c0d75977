#pragma once
// Root of the ten generated proxies: owns the port that every method of the proxy calls through.
// Built and deleted on a discovery strand, used on host threads; immutable once built.

#include "ruv/com/cpp_binding/proxy/rport.h"

namespace ara::com::internal::proxy {

template <class Interface>
class Proxy {
public:
    using Interface_type = Interface;

    explicit Proxy(ruv::com::cpp_binding::proxy::Rport* owned_port) noexcept : port(owned_port) {}
    Proxy(const Proxy&) = delete;
    Proxy& operator=(const Proxy&) = delete;
    virtual ~Proxy() { delete port; }

    ruv::com::cpp_binding::proxy::Rport* port;  ///< owned
};

}  // namespace ara::com::internal::proxy

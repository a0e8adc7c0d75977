#pragma once
// The half of every service extension that holds the connection to its remote service: the
// current proxy (null while no service is known) and the running search. Not polymorphic.
// proxy_ is written by discovery on a pool thread and read by jobs on host threads.

#include "proxy/find_service_handle.h"

namespace ruv::dm::foundation::extension {

template <class Proxy>
class Extension_service_callback {
public:
    Extension_service_callback() noexcept = default;
    Extension_service_callback(const Extension_service_callback&) = delete;
    Extension_service_callback& operator=(const Extension_service_callback&) = delete;

    /// Drops the search's references (strand, then subscription), then deletes the proxy.
    /// Does not stop the search and waits for nothing.
    ~Extension_service_callback() {
        delete find_service_handle_;
        delete proxy_;
    }

protected:
    Proxy* proxy_ = nullptr;  ///< owned; the attached service, null while none is known
    ruv::com::cpp_binding::proxy::Find_service_handle* find_service_handle_ = nullptr;  ///< owned
};

}  // namespace ruv::dm::foundation::extension

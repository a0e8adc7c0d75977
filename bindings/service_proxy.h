#pragma once
// The shapes of the ten generated proxies: a data identifier's proxy has the methods Cancel and
// Read, a routine's Cancel, RequestResults and Start, as members in the order of their method
// identifiers, each owning its Method_impl. Built whole or not at all, on a discovery strand from
// a found service; immutable afterwards and called from host threads.

#include "proxy/method.h"
#include "proxy/method_request.h"
#include "proxy/port_attachment.h"
#include "proxy/proxy.h"
#include "proxy/proxy_impl.h"

namespace talm::services::diag {

using ruv::com::cpp_binding::proxy::Rport;

/// Methods of a data identifier's interface (Cancel, Read) and of a routine's (Cancel,
/// RequestResults, Start), as the description of the interface tells the runtime.
inline constexpr std::uint8_t data_identifier_method_count = 2;
inline constexpr std::uint8_t routine_method_count = 3;

template <class Interface>
class Data_identifier_proxy : public ara::com::internal::proxy::Proxy<Interface> {
public:
    using Handle_type = typename ruv::com::cpp_binding::proxy::Proxy_impl<Interface>::Handle_type;

    /// Attaches a new port to the found service, then builds the methods on it.
    explicit Data_identifier_proxy(Handle_type handle)
        : Data_identifier_proxy(
              ruv::com::cpp_binding::proxy::attach_port(handle.service_handle(), data_identifier_method_count)) {}

    /// Owns `port` from here on, also when building a method object fails.
    explicit Data_identifier_proxy(Rport* owned_port)
        : ara::com::internal::proxy::Proxy<Interface>(owned_port),
          Cancel(new typename decltype(Cancel)::Impl(owned_port)),
          Read(new typename decltype(Read)::Impl(owned_port)) {}

    ara::com::internal::proxy::Method_of<typename Interface::Cancel> Cancel;
    ara::com::internal::proxy::Method_of<typename Interface::Read> Read;
};

template <class Interface>
class Routine_proxy : public ara::com::internal::proxy::Proxy<Interface> {
public:
    using Handle_type = typename ruv::com::cpp_binding::proxy::Proxy_impl<Interface>::Handle_type;

    /// Attaches a new port to the found service, then builds the methods on it.
    explicit Routine_proxy(Handle_type handle)
        : Routine_proxy(ruv::com::cpp_binding::proxy::attach_port(handle.service_handle(), routine_method_count)) {}

    /// Owns `port` from here on, also when building a method object fails.
    explicit Routine_proxy(Rport* owned_port)
        : ara::com::internal::proxy::Proxy<Interface>(owned_port),
          Cancel(new typename decltype(Cancel)::Impl(owned_port)),
          RequestResults(new typename decltype(RequestResults)::Impl(owned_port)),
          Start(new typename decltype(Start)::Impl(owned_port)) {}

    ara::com::internal::proxy::Method_of<typename Interface::Cancel> Cancel;
    ara::com::internal::proxy::Method_of<typename Interface::RequestResults> RequestResults;
    ara::com::internal::proxy::Method_of<typename Interface::Start> Start;
};

}  // namespace talm::services::diag

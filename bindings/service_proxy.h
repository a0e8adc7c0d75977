#pragma once
// The shapes of the ten generated proxies: a data identifier's proxy has the methods Cancel and
// Read, a routine's Cancel, RequestResults and Start, as members in the order of their method
// identifiers, each owning its Method_impl. Built whole or not at all; immutable afterwards.

#include "proxy/method.h"
#include "proxy/proxy.h"

namespace talm::services::diag {

using ruv::com::cpp_binding::proxy::Rport;

template <class Interface>
class Data_identifier_proxy : public ara::com::internal::proxy::Proxy<Interface> {
public:
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

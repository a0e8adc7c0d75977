#pragma once
// The request path of Method_impl::operator(): what a job's call on a proxy method does before
// the answer arrives. A call that cannot be sent is refused synchronously with
// Service_not_available_exception, and the caller gets no future.
//
// Serialising the arguments and handing them to the port come with the payload writer and the
// platform's bindings; until then every call is refused as an unavailable service refuses it,
// so that no call is ever left without an answer.

#include "proxy/method_impl.h"
#include "ruv/com/infrastructure_exception.h"

namespace ruv::com::cpp_binding::proxy {

template <class Tag, class R, class... Args>
kel::com::Future<R> Method_impl<Tag, false, R(Args...)>::operator()(Args... /*args*/) const {
    throw Service_not_available_exception();
}

}  // namespace ruv::com::cpp_binding::proxy

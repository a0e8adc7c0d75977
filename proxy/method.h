#pragma once
// One method member of a generated proxy: owns its Method_impl, which callers reach through
// `impl`. The member is immutable after construction.

#include "proxy/method_impl.h"

namespace ara::com::internal::proxy {

template <class Tag, class Signature>
class Method {
public:
    using Impl = ruv::com::cpp_binding::proxy::Method_impl<Tag, false, Signature>;

    explicit Method(Impl* owned_impl) noexcept : impl(owned_impl) {}
    Method(const Method&) = delete;
    Method& operator=(const Method&) = delete;
    virtual ~Method() { delete impl; }

    Impl* impl;  ///< owned
};

}  // namespace ara::com::internal::proxy

namespace ara::com::internal::proxy {

/// The member type of a generated proxy for the method class `Tag` of its interface.
template <class Tag>
using Method_of = Method<Tag, typename Tag::Signature>;

}  // namespace ara::com::internal::proxy

#pragma once
// The service finder of this platform: discovery over the process's local provider registry.
// Made once by Component_singleton; its operations are thread-safe.

#include <memory>

#include "kel/com/runtime/service_finder.h"

namespace ruv::com::runtime::detail {

/// A finder that asks Provider_registry::process() and watches it. Throws std::bad_alloc.
std::shared_ptr<kel::com::runtime::Service_finder> make_local_service_finder();

}  // namespace ruv::com::runtime::detail

#pragma once
// A service finder over two others: the process's local providers and the SOME/IP binding's SD.
// Each subscriber is told the services both know, local ones first, whenever either changes,
// one list at a time; the last list it is told is the one that stands after the last change.
// Thread-safe, as the two it joins are.

#include <memory>

#include "kel/com/runtime/service_finder.h"

namespace ruv::com::runtime::detail {

/// Neither may be null. Throws std::bad_alloc.
std::shared_ptr<kel::com::runtime::Service_finder> make_combined_service_finder(
    std::shared_ptr<kel::com::runtime::Service_finder> first, std::shared_ptr<kel::com::runtime::Service_finder> second);

}  // namespace ruv::com::runtime::detail

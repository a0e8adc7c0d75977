#pragma once
// The proxy of the service interface RoutineService_ZevoGetIdentityHash, as the jobs of its routine extension hold it.

#include "bindings/r_c00c/RoutineService_ZevoGetIdentityHash.h"
#include "bindings/service_proxy.h"

namespace talm::services::diag::r_c00c::proxy {

class RoutineService_ZevoGetIdentityHashProxy : public Routine_proxy<RoutineService_ZevoGetIdentityHash> {
public:
    using Routine_proxy::Routine_proxy;
};

}  // namespace talm::services::diag::r_c00c::proxy

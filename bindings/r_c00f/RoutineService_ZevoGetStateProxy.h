#pragma once
// The proxy of the service interface RoutineService_ZevoGetState, as the jobs of its routine extension hold it.

#include "bindings/r_c00f/RoutineService_ZevoGetState.h"
#include "bindings/service_proxy.h"

namespace talm::services::diag::r_c00f::proxy {

class RoutineService_ZevoGetStateProxy : public Routine_proxy<RoutineService_ZevoGetState> {
public:
    using Routine_proxy::Routine_proxy;
};

}  // namespace talm::services::diag::r_c00f::proxy

#pragma once
// The proxy of the service interface RoutineService_ZevoGetPssHash, as the jobs of its routine extension hold it.

#include "bindings/r_c00d/RoutineService_ZevoGetPssHash.h"
#include "bindings/service_proxy.h"

namespace talm::services::diag::r_c00d::proxy {

class RoutineService_ZevoGetPssHashProxy : public Routine_proxy<RoutineService_ZevoGetPssHash> {
public:
    using Routine_proxy::Routine_proxy;
};

}  // namespace talm::services::diag::r_c00d::proxy

#pragma once
// The proxy of the service interface RoutineService_ZevoDebug, as the jobs of its routine extension hold it.

#include "bindings/r_0648/RoutineService_ZevoDebug.h"
#include "bindings/service_proxy.h"

namespace talm::services::diag::r_0648::proxy {

class RoutineService_ZevoDebugProxy : public Routine_proxy<RoutineService_ZevoDebug> {
public:
    using Routine_proxy::Routine_proxy;
};

}  // namespace talm::services::diag::r_0648::proxy

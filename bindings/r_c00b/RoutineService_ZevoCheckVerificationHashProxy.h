#pragma once
// The proxy of the service interface RoutineService_ZevoCheckVerificationHash, as the jobs of its routine extension hold it.

#include "bindings/r_c00b/RoutineService_ZevoCheckVerificationHash.h"
#include "bindings/service_proxy.h"

namespace talm::services::diag::r_c00b::proxy {

class RoutineService_ZevoCheckVerificationHashProxy : public Routine_proxy<RoutineService_ZevoCheckVerificationHash> {
public:
    using Routine_proxy::Routine_proxy;
};

}  // namespace talm::services::diag::r_c00b::proxy

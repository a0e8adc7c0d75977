#pragma once
// The extension that serves the UDS routine 0xC00B through the service RoutineService_ZevoCheckVerificationHash.

#include "bindings/r_c00b/RoutineService_ZevoCheckVerificationHashProxy.h"
#include "bindings/service_extension.h"

namespace talm::services::diag::r_c00b {

ZEVO_ROUTINE_EXTENSION(RoutineService_ZevoCheckVerificationHash, 0xC00B)

}  // namespace talm::services::diag::r_c00b

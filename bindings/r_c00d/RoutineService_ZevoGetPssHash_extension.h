#pragma once
// The extension that serves the UDS routine 0xC00D through the service RoutineService_ZevoGetPssHash.

#include "bindings/r_c00d/RoutineService_ZevoGetPssHashProxy.h"
#include "bindings/service_extension.h"

namespace talm::services::diag::r_c00d {

ZEVO_ROUTINE_EXTENSION(RoutineService_ZevoGetPssHash, 0xC00D)

}  // namespace talm::services::diag::r_c00d

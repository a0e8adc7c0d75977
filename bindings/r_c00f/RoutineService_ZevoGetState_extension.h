#pragma once
// The extension that serves the UDS routine 0xC00F through the service RoutineService_ZevoGetState.

#include "bindings/r_c00f/RoutineService_ZevoGetStateProxy.h"
#include "bindings/service_extension.h"

namespace talm::services::diag::r_c00f {

ZEVO_ROUTINE_EXTENSION(RoutineService_ZevoGetState, 0xC00F)

}  // namespace talm::services::diag::r_c00f

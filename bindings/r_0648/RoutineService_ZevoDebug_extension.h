#pragma once
// The extension that serves the UDS routine 0x0648 through the service RoutineService_ZevoDebug.

#include "bindings/r_0648/RoutineService_ZevoDebugProxy.h"
#include "bindings/service_extension.h"

namespace talm::services::diag::r_0648 {

ZEVO_ROUTINE_EXTENSION(RoutineService_ZevoDebug, 0x0648)

}  // namespace talm::services::diag::r_0648

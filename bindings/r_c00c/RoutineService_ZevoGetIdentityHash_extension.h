#pragma once
// The extension that serves the UDS routine 0xC00C through the service RoutineService_ZevoGetIdentityHash.

#include "bindings/r_c00c/RoutineService_ZevoGetIdentityHashProxy.h"
#include "bindings/service_extension.h"

namespace talm::services::diag::r_c00c {

ZEVO_ROUTINE_EXTENSION(RoutineService_ZevoGetIdentityHash, 0xC00C)

}  // namespace talm::services::diag::r_c00c

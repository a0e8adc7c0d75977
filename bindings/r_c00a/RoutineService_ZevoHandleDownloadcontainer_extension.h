#pragma once
// The extension that serves the UDS routine 0xC00A through the service RoutineService_ZevoHandleDownloadcontainer.

#include "bindings/r_c00a/RoutineService_ZevoHandleDownloadcontainerProxy.h"
#include "bindings/service_extension.h"

namespace talm::services::diag::r_c00a {

ZEVO_ROUTINE_EXTENSION(RoutineService_ZevoHandleDownloadcontainer, 0xC00A)

}  // namespace talm::services::diag::r_c00a

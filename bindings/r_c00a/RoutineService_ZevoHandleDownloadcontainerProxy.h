#pragma once
// The proxy of the service interface RoutineService_ZevoHandleDownloadcontainer, as the jobs of its routine extension hold it.

#include "bindings/r_c00a/RoutineService_ZevoHandleDownloadcontainer.h"
#include "bindings/service_proxy.h"

namespace talm::services::diag::r_c00a::proxy {

class RoutineService_ZevoHandleDownloadcontainerProxy : public Routine_proxy<RoutineService_ZevoHandleDownloadcontainer> {
public:
    using Routine_proxy::Routine_proxy;
};

}  // namespace talm::services::diag::r_c00a::proxy

#pragma once
// The proxy of talm::services::diag::r_c00a::RoutineService_ZevoHandleDownloadcontainer, as the jobs of the routine 0xC00A hold it.
// Built and deleted on the discovery strand, called on host threads.

#include "proxy/proxy.h"

namespace talm::services::diag::r_c00a {

class RoutineService_ZevoHandleDownloadcontainer;

namespace proxy {

class RoutineService_ZevoHandleDownloadcontainerProxy : public ara::com::internal::proxy::Proxy<RoutineService_ZevoHandleDownloadcontainer> {
public:
    using Proxy::Proxy;
};

}  // namespace proxy
}  // namespace talm::services::diag::r_c00a

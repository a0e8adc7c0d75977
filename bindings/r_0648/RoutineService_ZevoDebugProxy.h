#pragma once
// The proxy of talm::services::diag::r_0648::RoutineService_ZevoDebug, as the jobs of the routine 0x0648 hold it.
// Built and deleted on the discovery strand, called on host threads.

#include "proxy/proxy.h"

namespace talm::services::diag::r_0648 {

class RoutineService_ZevoDebug;

namespace proxy {

class RoutineService_ZevoDebugProxy : public ara::com::internal::proxy::Proxy<RoutineService_ZevoDebug> {
public:
    using Proxy::Proxy;
};

}  // namespace proxy
}  // namespace talm::services::diag::r_0648

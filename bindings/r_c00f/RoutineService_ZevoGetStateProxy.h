#pragma once
// The proxy of talm::services::diag::r_c00f::RoutineService_ZevoGetState, as the jobs of the routine 0xC00F hold it.
// Built and deleted on the discovery strand, called on host threads.

#include "proxy/proxy.h"

namespace talm::services::diag::r_c00f {

class RoutineService_ZevoGetState;

namespace proxy {

class RoutineService_ZevoGetStateProxy : public ara::com::internal::proxy::Proxy<RoutineService_ZevoGetState> {
public:
    using Proxy::Proxy;
};

}  // namespace proxy
}  // namespace talm::services::diag::r_c00f

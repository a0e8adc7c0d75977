#pragma once
// The proxy of talm::services::diag::r_c00d::RoutineService_ZevoGetPssHash, as the jobs of the routine 0xC00D hold it.
// Built and deleted on the discovery strand, called on host threads.

#include "proxy/proxy.h"

namespace talm::services::diag::r_c00d {

class RoutineService_ZevoGetPssHash;

namespace proxy {

class RoutineService_ZevoGetPssHashProxy : public ara::com::internal::proxy::Proxy<RoutineService_ZevoGetPssHash> {
public:
    using Proxy::Proxy;
};

}  // namespace proxy
}  // namespace talm::services::diag::r_c00d

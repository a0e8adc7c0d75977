#pragma once
// The proxy of talm::services::diag::r_c00c::RoutineService_ZevoGetIdentityHash, as the jobs of the routine 0xC00C hold it.
// Built and deleted on the discovery strand, called on host threads.

#include "proxy/proxy.h"

namespace talm::services::diag::r_c00c {

class RoutineService_ZevoGetIdentityHash;

namespace proxy {

class RoutineService_ZevoGetIdentityHashProxy : public ara::com::internal::proxy::Proxy<RoutineService_ZevoGetIdentityHash> {
public:
    using Proxy::Proxy;
};

}  // namespace proxy
}  // namespace talm::services::diag::r_c00c

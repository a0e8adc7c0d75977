#pragma once
// The proxy of talm::services::diag::r_c00b::RoutineService_ZevoCheckVerificationHash, as the jobs of the routine 0xC00B hold it.
// Built and deleted on the discovery strand, called on host threads.

#include "proxy/proxy.h"

namespace talm::services::diag::r_c00b {

class RoutineService_ZevoCheckVerificationHash;

namespace proxy {

class RoutineService_ZevoCheckVerificationHashProxy : public ara::com::internal::proxy::Proxy<RoutineService_ZevoCheckVerificationHash> {
public:
    using Proxy::Proxy;
};

}  // namespace proxy
}  // namespace talm::services::diag::r_c00b

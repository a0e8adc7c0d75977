#pragma once
// The proxy of talm::services::diag::d_2c55::DataIdentifier_ZevoZevovin, as the jobs of the data identifier 0x2C55 hold it.
// Built and deleted on the discovery strand, called on host threads.

#include "proxy/proxy.h"

namespace talm::services::diag::d_2c55 {

class DataIdentifier_ZevoZevovin;

namespace proxy {

class DataIdentifier_ZevoZevovinProxy : public ara::com::internal::proxy::Proxy<DataIdentifier_ZevoZevovin> {
public:
    using Proxy::Proxy;
};

}  // namespace proxy
}  // namespace talm::services::diag::d_2c55

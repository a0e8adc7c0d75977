#pragma once
// The proxy of talm::services::diag::d_2c60::DataIdentifier_ZevoKeyList, as the jobs of the data identifier 0x2C60 hold it.
// Built and deleted on the discovery strand, called on host threads.

#include "proxy/proxy.h"

namespace talm::services::diag::d_2c60 {

class DataIdentifier_ZevoKeyList;

namespace proxy {

class DataIdentifier_ZevoKeyListProxy : public ara::com::internal::proxy::Proxy<DataIdentifier_ZevoKeyList> {
public:
    using Proxy::Proxy;
};

}  // namespace proxy
}  // namespace talm::services::diag::d_2c60

#pragma once
// The proxy of talm::services::diag::d_2c57::DataIdentifier_ZevoMissingKeyHistory, as the jobs of the data identifier 0x2C57 hold it.
// Built and deleted on the discovery strand, called on host threads.

#include "proxy/proxy.h"

namespace talm::services::diag::d_2c57 {

class DataIdentifier_ZevoMissingKeyHistory;

namespace proxy {

class DataIdentifier_ZevoMissingKeyHistoryProxy : public ara::com::internal::proxy::Proxy<DataIdentifier_ZevoMissingKeyHistory> {
public:
    using Proxy::Proxy;
};

}  // namespace proxy
}  // namespace talm::services::diag::d_2c57

#pragma once
// The proxy of talm::services::diag::d_2c56::DataIdentifier_ZevoTrainingCounter, as the jobs of the data identifier 0x2C56 hold it.
// Built and deleted on the discovery strand, called on host threads.

#include "proxy/proxy.h"

namespace talm::services::diag::d_2c56 {

class DataIdentifier_ZevoTrainingCounter;

namespace proxy {

class DataIdentifier_ZevoTrainingCounterProxy : public ara::com::internal::proxy::Proxy<DataIdentifier_ZevoTrainingCounter> {
public:
    using Proxy::Proxy;
};

}  // namespace proxy
}  // namespace talm::services::diag::d_2c56

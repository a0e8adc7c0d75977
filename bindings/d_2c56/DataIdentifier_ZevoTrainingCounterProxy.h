#pragma once
// The proxy of the service interface DataIdentifier_ZevoTrainingCounter, as the jobs of its data identifier extension hold it.

#include "bindings/d_2c56/DataIdentifier_ZevoTrainingCounter.h"
#include "bindings/service_proxy.h"

namespace talm::services::diag::d_2c56::proxy {

class DataIdentifier_ZevoTrainingCounterProxy : public Data_identifier_proxy<DataIdentifier_ZevoTrainingCounter> {
public:
    using Data_identifier_proxy::Data_identifier_proxy;
};

}  // namespace talm::services::diag::d_2c56::proxy

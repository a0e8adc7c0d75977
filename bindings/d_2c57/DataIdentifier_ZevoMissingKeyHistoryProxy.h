#pragma once
// The proxy of the service interface DataIdentifier_ZevoMissingKeyHistory, as the jobs of its data identifier extension hold it.

#include "bindings/d_2c57/DataIdentifier_ZevoMissingKeyHistory.h"
#include "bindings/service_proxy.h"

namespace talm::services::diag::d_2c57::proxy {

class DataIdentifier_ZevoMissingKeyHistoryProxy : public Data_identifier_proxy<DataIdentifier_ZevoMissingKeyHistory> {
public:
    using Data_identifier_proxy::Data_identifier_proxy;
};

}  // namespace talm::services::diag::d_2c57::proxy

#pragma once
// The proxy of the service interface DataIdentifier_ZevoZevovin, as the jobs of its data identifier extension hold it.

#include "bindings/d_2c55/DataIdentifier_ZevoZevovin.h"
#include "bindings/service_proxy.h"

namespace talm::services::diag::d_2c55::proxy {

class DataIdentifier_ZevoZevovinProxy : public Data_identifier_proxy<DataIdentifier_ZevoZevovin> {
public:
    using Data_identifier_proxy::Data_identifier_proxy;
};

}  // namespace talm::services::diag::d_2c55::proxy

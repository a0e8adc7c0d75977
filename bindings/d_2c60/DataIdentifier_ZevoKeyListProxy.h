#pragma once
// The proxy of the service interface DataIdentifier_ZevoKeyList, as the jobs of its data identifier extension hold it.

#include "bindings/d_2c60/DataIdentifier_ZevoKeyList.h"
#include "bindings/service_proxy.h"

namespace talm::services::diag::d_2c60::proxy {

class DataIdentifier_ZevoKeyListProxy : public Data_identifier_proxy<DataIdentifier_ZevoKeyList> {
public:
    using Data_identifier_proxy::Data_identifier_proxy;
};

}  // namespace talm::services::diag::d_2c60::proxy

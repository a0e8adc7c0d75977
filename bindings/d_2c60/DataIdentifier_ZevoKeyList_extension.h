#pragma once
// The extension that serves the UDS data identifier 0x2C60 through the service DataIdentifier_ZevoKeyList.

#include "bindings/d_2c60/DataIdentifier_ZevoKeyListProxy.h"
#include "bindings/service_extension.h"

namespace talm::services::diag::d_2c60 {

ZEVO_DATA_IDENTIFIER_EXTENSION(DataIdentifier_ZevoKeyList, 0x2C60)

}  // namespace talm::services::diag::d_2c60

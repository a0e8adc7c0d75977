#pragma once
// The extension that serves the UDS data identifier 0x2C55 through the service DataIdentifier_ZevoZevovin.

#include "bindings/d_2c55/DataIdentifier_ZevoZevovinProxy.h"
#include "bindings/service_extension.h"

namespace talm::services::diag::d_2c55 {

ZEVO_DATA_IDENTIFIER_EXTENSION(DataIdentifier_ZevoZevovin, 0x2C55)

}  // namespace talm::services::diag::d_2c55

#pragma once
// The extension that serves the UDS data identifier 0x2C57 through the service DataIdentifier_ZevoMissingKeyHistory.

#include "bindings/d_2c57/DataIdentifier_ZevoMissingKeyHistoryProxy.h"
#include "bindings/service_extension.h"

namespace talm::services::diag::d_2c57 {

ZEVO_DATA_IDENTIFIER_EXTENSION(DataIdentifier_ZevoMissingKeyHistory, 0x2C57)

}  // namespace talm::services::diag::d_2c57

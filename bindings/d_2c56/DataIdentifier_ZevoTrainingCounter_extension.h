#pragma once
// The extension that serves the UDS data identifier 0x2C56 through the service DataIdentifier_ZevoTrainingCounter.

#include "bindings/d_2c56/DataIdentifier_ZevoTrainingCounterProxy.h"
#include "bindings/service_extension.h"

namespace talm::services::diag::d_2c56 {

ZEVO_DATA_IDENTIFIER_EXTENSION(DataIdentifier_ZevoTrainingCounter, 0x2C56)

}  // namespace talm::services::diag::d_2c56

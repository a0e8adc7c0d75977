// Key functions of the ten extension classes: their virtual tables and destructors live here.

#include "bindings/d_2c55/DataIdentifier_ZevoZevovin_extension.h"
#include "bindings/d_2c56/DataIdentifier_ZevoTrainingCounter_extension.h"
#include "bindings/d_2c57/DataIdentifier_ZevoMissingKeyHistory_extension.h"
#include "bindings/d_2c60/DataIdentifier_ZevoKeyList_extension.h"
#include "bindings/r_0648/RoutineService_ZevoDebug_extension.h"
#include "bindings/r_c00a/RoutineService_ZevoHandleDownloadcontainer_extension.h"
#include "bindings/r_c00b/RoutineService_ZevoCheckVerificationHash_extension.h"
#include "bindings/r_c00c/RoutineService_ZevoGetIdentityHash_extension.h"
#include "bindings/r_c00d/RoutineService_ZevoGetPssHash_extension.h"
#include "bindings/r_c00f/RoutineService_ZevoGetState_extension.h"

namespace talm::services::diag::d_2c55 { ZEVO_DEFINE_SERVICE_EXTENSION(DataIdentifier_ZevoZevovin) }
namespace talm::services::diag::d_2c56 { ZEVO_DEFINE_SERVICE_EXTENSION(DataIdentifier_ZevoTrainingCounter) }
namespace talm::services::diag::d_2c57 { ZEVO_DEFINE_SERVICE_EXTENSION(DataIdentifier_ZevoMissingKeyHistory) }
namespace talm::services::diag::d_2c60 { ZEVO_DEFINE_SERVICE_EXTENSION(DataIdentifier_ZevoKeyList) }
namespace talm::services::diag::r_0648 { ZEVO_DEFINE_SERVICE_EXTENSION(RoutineService_ZevoDebug) }
namespace talm::services::diag::r_c00a { ZEVO_DEFINE_SERVICE_EXTENSION(RoutineService_ZevoHandleDownloadcontainer) }
namespace talm::services::diag::r_c00b { ZEVO_DEFINE_SERVICE_EXTENSION(RoutineService_ZevoCheckVerificationHash) }
namespace talm::services::diag::r_c00c { ZEVO_DEFINE_SERVICE_EXTENSION(RoutineService_ZevoGetIdentityHash) }
namespace talm::services::diag::r_c00d { ZEVO_DEFINE_SERVICE_EXTENSION(RoutineService_ZevoGetPssHash) }
namespace talm::services::diag::r_c00f { ZEVO_DEFINE_SERVICE_EXTENSION(RoutineService_ZevoGetState) }

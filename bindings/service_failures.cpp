// The application errors of the ten service interfaces: their key functions, so that their
// virtual tables and type information live once, in the plug-in.

#include "bindings/d_2c55/DataIdentifier_ZevoZevovin.h"
#include "bindings/d_2c56/DataIdentifier_ZevoTrainingCounter.h"
#include "bindings/d_2c57/DataIdentifier_ZevoMissingKeyHistory.h"
#include "bindings/d_2c60/DataIdentifier_ZevoKeyList.h"
#include "bindings/r_0648/RoutineService_ZevoDebug.h"
#include "bindings/r_c00a/RoutineService_ZevoHandleDownloadcontainer.h"
#include "bindings/r_c00b/RoutineService_ZevoCheckVerificationHash.h"
#include "bindings/r_c00c/RoutineService_ZevoGetIdentityHash.h"
#include "bindings/r_c00d/RoutineService_ZevoGetPssHash.h"
#include "bindings/r_c00f/RoutineService_ZevoGetState.h"

namespace talm::services::diag::d_2c55 { ZEVO_DEFINE_DATA_IDENTIFIER_SERVICE_FAILED(DataIdentifier_ZevoZevovin) }
namespace talm::services::diag::d_2c56 { ZEVO_DEFINE_DATA_IDENTIFIER_SERVICE_FAILED(DataIdentifier_ZevoTrainingCounter) }
namespace talm::services::diag::d_2c57 { ZEVO_DEFINE_DATA_IDENTIFIER_SERVICE_FAILED(DataIdentifier_ZevoMissingKeyHistory) }
namespace talm::services::diag::d_2c60 { ZEVO_DEFINE_DATA_IDENTIFIER_SERVICE_FAILED(DataIdentifier_ZevoKeyList) }
namespace talm::services::diag::r_0648 { ZEVO_DEFINE_ROUTINE_SERVICE_FAILED(RoutineService_ZevoDebug) }
namespace talm::services::diag::r_c00a { ZEVO_DEFINE_ROUTINE_SERVICE_FAILED(RoutineService_ZevoHandleDownloadcontainer) }
namespace talm::services::diag::r_c00b { ZEVO_DEFINE_ROUTINE_SERVICE_FAILED(RoutineService_ZevoCheckVerificationHash) }
namespace talm::services::diag::r_c00c { ZEVO_DEFINE_ROUTINE_SERVICE_FAILED(RoutineService_ZevoGetIdentityHash) }
namespace talm::services::diag::r_c00d { ZEVO_DEFINE_ROUTINE_SERVICE_FAILED(RoutineService_ZevoGetPssHash) }
namespace talm::services::diag::r_c00f { ZEVO_DEFINE_ROUTINE_SERVICE_FAILED(RoutineService_ZevoGetState) }

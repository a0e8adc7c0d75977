#pragma once
// The ten extension classes the plug-in serves, as two type lists (data identifiers, routines),
// and the dispatch from a UDS identifier to a new object of the matching class.

#include <cstdint>

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
#include "extension/extension.h"

namespace ruv::dm::foundation::extension {

template <class... Classes>
struct Extension_list {
    /// A new default-constructed object of the class whose identifier equals `identifier`
    /// exactly, as its Extension root; null when none does. Throws only what `new` throws.
    static Extension* construct(std::uint16_t identifier) {
        Extension* made = nullptr;
        static_cast<void>(((identifier == Classes::identifier ? (made = new Classes(), true) : false) || ...));
        return made;
    }
};

using Served_data_identifiers = Extension_list<talm::services::diag::d_2c55::DataIdentifier_ZevoZevovin_extension,
                                               talm::services::diag::d_2c56::DataIdentifier_ZevoTrainingCounter_extension,
                                               talm::services::diag::d_2c57::DataIdentifier_ZevoMissingKeyHistory_extension,
                                               talm::services::diag::d_2c60::DataIdentifier_ZevoKeyList_extension>;

using Served_routines = Extension_list<talm::services::diag::r_0648::RoutineService_ZevoDebug_extension,
                                       talm::services::diag::r_c00a::RoutineService_ZevoHandleDownloadcontainer_extension,
                                       talm::services::diag::r_c00b::RoutineService_ZevoCheckVerificationHash_extension,
                                       talm::services::diag::r_c00c::RoutineService_ZevoGetIdentityHash_extension,
                                       talm::services::diag::r_c00d::RoutineService_ZevoGetPssHash_extension,
                                       talm::services::diag::r_c00f::RoutineService_ZevoGetState_extension>;

}  // namespace ruv::dm::foundation::extension

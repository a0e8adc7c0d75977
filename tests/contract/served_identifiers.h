#pragma once
// What the host is promised about the identifiers: each table in its stored order (neither
// sorted nor the order of dispatch) and the class each identifier makes, by qualified name.

#include <array>
#include <cstdint>

namespace contract_probe {

struct Served_identifier {
    std::uint16_t identifier;
    const char* class_name;
};

inline constexpr std::array<Served_identifier, 4> data_identifiers{{
    {0x2C60, "talm::services::diag::d_2c60::DataIdentifier_ZevoKeyList_extension"},
    {0x2C57, "talm::services::diag::d_2c57::DataIdentifier_ZevoMissingKeyHistory_extension"},
    {0x2C56, "talm::services::diag::d_2c56::DataIdentifier_ZevoTrainingCounter_extension"},
    {0x2C55, "talm::services::diag::d_2c55::DataIdentifier_ZevoZevovin_extension"},
}};

inline constexpr std::array<Served_identifier, 6> routines{{
    {0xC00B, "talm::services::diag::r_c00b::RoutineService_ZevoCheckVerificationHash_extension"},
    {0xC00C, "talm::services::diag::r_c00c::RoutineService_ZevoGetIdentityHash_extension"},
    {0xC00D, "talm::services::diag::r_c00d::RoutineService_ZevoGetPssHash_extension"},
    {0xC00F, "talm::services::diag::r_c00f::RoutineService_ZevoGetState_extension"},
    {0xC00A, "talm::services::diag::r_c00a::RoutineService_ZevoHandleDownloadcontainer_extension"},
    {0x0648, "talm::services::diag::r_0648::RoutineService_ZevoDebug_extension"},
}};

inline constexpr const char* extension_root = "ruv::dm::foundation::extension::Extension";
inline constexpr const char* data_identifier_face = "ruv::dm::foundation::extension::Extension_data_identifier";
inline constexpr const char* routine_face = "ruv::dm::foundation::extension::Extension_routine_control";

}  // namespace contract_probe

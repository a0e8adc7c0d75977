#pragma once
// The service interface talm::services::diag::r_c00d::RoutineService_ZevoGetPssHash, as its clients see it: Start takes one byte.
// Member names of the records are ours; their order and types are the interface's.

#include <array>
#include <cstdint>
#include <tuple>
#include <vector>

#include "bindings/service_interface.h"

namespace talm::services::diag::r_c00d {

class RoutineService_ZevoGetPssHash {
public:
    static constexpr const char* name = "talm::services::diag::r_c00d::RoutineService_ZevoGetPssHash";

    ZEVO_ROUTINE_SERVICE_FAILED

    struct Cancel : Cancel_method {};

    struct RequestResults : Output_method<UDSServiceFailed> {
        struct Output {
            std::array<std::uint8_t, 1> field_1;
            std::array<std::uint8_t, 1> field_2;
            std::array<std::uint8_t, 16> field_3;
            auto fields() { return std::tie(field_1, field_2, field_3); }
            auto fields() const { return std::tie(field_1, field_2, field_3); }
        };
        using Signature = Output(const Meta_info&);
    };

    struct Start : Start_method<RequestResults, std::uint8_t> {};
};

}  // namespace talm::services::diag::r_c00d

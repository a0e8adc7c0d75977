#pragma once
// The service interface talm::services::diag::r_c00f::RoutineService_ZevoGetState, as its clients see it: Start takes one byte.
// Member names of the records are ours; their order and types are the interface's.

#include <array>
#include <cstdint>
#include <tuple>
#include <vector>

#include "bindings/service_interface.h"

namespace talm::services::diag::r_c00f {

class RoutineService_ZevoGetState {
public:
    static constexpr const char* name = "talm::services::diag::r_c00f::RoutineService_ZevoGetState";

    ZEVO_ROUTINE_SERVICE_FAILED

    struct Cancel : Cancel_method {};

    struct RequestResults : Output_method<UDSServiceFailed> {
        struct Output {
            std::uint8_t field_1;
            std::uint8_t field_2;
            std::uint8_t field_3;
            std::uint8_t field_4;
            std::uint8_t field_5;
            std::uint8_t field_6;
            std::uint8_t field_7;
            std::uint16_t field_8;
            std::uint8_t field_9;
            std::uint8_t field_10;
            auto fields() { return std::tie(field_1, field_2, field_3, field_4, field_5, field_6, field_7, field_8, field_9, field_10); }
            auto fields() const { return std::tie(field_1, field_2, field_3, field_4, field_5, field_6, field_7, field_8, field_9, field_10); }
        };
        using Signature = Output(const Meta_info&);
    };

    struct Start : Start_method<RequestResults, std::uint8_t> {};
};

}  // namespace talm::services::diag::r_c00f

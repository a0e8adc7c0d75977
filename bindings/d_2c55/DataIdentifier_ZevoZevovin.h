#pragma once
// The service interface talm::services::diag::d_2c55::DataIdentifier_ZevoZevovin, as its clients see it: Read gives one byte and a 17-byte record.
// Member names of the records are ours; their order and types are the interface's.

#include <array>
#include <cstdint>
#include <tuple>
#include <vector>

#include "bindings/service_interface.h"

namespace talm::services::diag::d_2c55 {

class DataIdentifier_ZevoZevovin {
public:
    static constexpr const char* name = "talm::services::diag::d_2c55::DataIdentifier_ZevoZevovin";

    ZEVO_DATA_IDENTIFIER_SERVICE_FAILED

    struct Cancel : Cancel_method {};

    struct Read : Output_method<UDSServiceFailed> {
        struct Output {
            std::array<std::uint8_t, 1> field_1;
            std::array<std::uint8_t, 17> field_2;
            auto fields() { return std::tie(field_1, field_2); }
            auto fields() const { return std::tie(field_1, field_2); }
        };
        using Signature = Output(const Meta_info&);
    };
};

}  // namespace talm::services::diag::d_2c55

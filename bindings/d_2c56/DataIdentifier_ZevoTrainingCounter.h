#pragma once
// The service interface talm::services::diag::d_2c56::DataIdentifier_ZevoTrainingCounter, as its clients see it: Read gives a byte and a 16-bit counter.
// Member names of the records are ours; their order and types are the interface's.

#include <array>
#include <cstdint>
#include <tuple>
#include <vector>

#include "bindings/service_interface.h"

namespace talm::services::diag::d_2c56 {

class DataIdentifier_ZevoTrainingCounter {
public:
    static constexpr const char* name = "talm::services::diag::d_2c56::DataIdentifier_ZevoTrainingCounter";

    ZEVO_DATA_IDENTIFIER_SERVICE_FAILED

    struct Cancel : Cancel_method {};

    struct Read : Output_method<UDSServiceFailed> {
        struct Output {
            std::uint8_t field_1;
            std::uint16_t field_2;
            auto fields() { return std::tie(field_1, field_2); }
            auto fields() const { return std::tie(field_1, field_2); }
        };
        using Signature = Output(const Meta_info&);
    };
};

}  // namespace talm::services::diag::d_2c56

#pragma once
// The service interface talm::services::diag::d_2c60::DataIdentifier_ZevoKeyList, as its clients see it: Read gives two bytes and a byte vector.
// Member names of the records are ours; their order and types are the interface's.

#include <array>
#include <cstdint>
#include <tuple>
#include <vector>

#include "bindings/service_interface.h"

namespace talm::services::diag::d_2c60 {

class DataIdentifier_ZevoKeyList {
public:
    static constexpr const char* name = "talm::services::diag::d_2c60::DataIdentifier_ZevoKeyList";

    ZEVO_DATA_IDENTIFIER_SERVICE_FAILED

    struct Cancel : Cancel_method {};

    struct Read : Output_method<UDSServiceFailed> {
        struct Output {
            std::uint8_t field_1;
            std::uint8_t field_2;
            std::vector<std::uint8_t> field_3;
            auto fields() { return std::tie(field_1, field_2, field_3); }
            auto fields() const { return std::tie(field_1, field_2, field_3); }
        };
        using Signature = Output(const Meta_info&);
    };
};

}  // namespace talm::services::diag::d_2c60

#pragma once
// The service interface talm::services::diag::d_2c57::DataIdentifier_ZevoMissingKeyHistory, as its clients see it: Read gives two bytes and a byte vector.
// Member names of the records are ours; their order and types are the interface's.

#include <array>
#include <cstdint>
#include <tuple>
#include <vector>

#include "bindings/output_records.h"
#include "bindings/service_interface.h"

namespace talm::services::diag::d_2c57 {

class DataIdentifier_ZevoMissingKeyHistory {
public:
    static constexpr const char* name = "talm::services::diag::d_2c57::DataIdentifier_ZevoMissingKeyHistory";

    ZEVO_DATA_IDENTIFIER_SERVICE_FAILED

    struct Cancel : Cancel_method {};

    struct Read : Output_method<UDSServiceFailed> {
        struct Output : Two_bytes_and_vector_record {};
        using Signature = Output(const Meta_info&);
    };
};

}  // namespace talm::services::diag::d_2c57

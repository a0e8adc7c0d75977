#pragma once
// The service interface talm::services::diag::r_c00d::RoutineService_ZevoGetPssHash, as its clients see it: Start takes one byte.
// Member names of the records are ours; their order and types are the interface's.

#include <array>
#include <cstdint>
#include <tuple>
#include <vector>

#include "bindings/output_records.h"
#include "bindings/service_interface.h"

namespace talm::services::diag::r_c00d {

class RoutineService_ZevoGetPssHash {
public:
    static constexpr const char* name = "talm::services::diag::r_c00d::RoutineService_ZevoGetPssHash";

    ZEVO_ROUTINE_SERVICE_FAILED

    struct Cancel : Cancel_method {};

    struct RequestResults : Output_method<UDSServiceFailed> {
        struct Output : Two_bytes_and_hash_record {};
        using Signature = Output(const Meta_info&);
    };

    struct Start : Start_method<RequestResults, std::uint8_t> {};
};

}  // namespace talm::services::diag::r_c00d

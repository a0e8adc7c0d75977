#pragma once
// The service interface talm::services::diag::r_c00c::RoutineService_ZevoGetIdentityHash, as its clients see it: Start takes a 1-byte and a 16-byte array.
// Member names of the records are ours; their order and types are the interface's.

#include <array>
#include <cstdint>
#include <tuple>
#include <vector>

#include "bindings/output_records.h"
#include "bindings/service_interface.h"

namespace talm::services::diag::r_c00c {

class RoutineService_ZevoGetIdentityHash {
public:
    static constexpr const char* name = "talm::services::diag::r_c00c::RoutineService_ZevoGetIdentityHash";

    ZEVO_ROUTINE_SERVICE_FAILED

    struct Cancel : Cancel_method {};

    struct RequestResults : Output_method<UDSServiceFailed> {
        struct Output : Two_bytes_and_hash_record {};
        using Signature = Output(const Meta_info&);
    };

    struct Start : Start_method<RequestResults, const std::array<std::uint8_t, 1>&, const std::array<std::uint8_t, 16>&> {};
};

}  // namespace talm::services::diag::r_c00c

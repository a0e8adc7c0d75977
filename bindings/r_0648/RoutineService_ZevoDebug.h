#pragma once
// The service interface talm::services::diag::r_0648::RoutineService_ZevoDebug, as its clients see it: Start takes a byte and a byte vector.
// Member names of the records are ours; their order and types are the interface's.

#include <array>
#include <cstdint>
#include <tuple>
#include <vector>

#include "bindings/output_records.h"
#include "bindings/service_interface.h"

namespace talm::services::diag::r_0648 {

class RoutineService_ZevoDebug {
public:
    static constexpr const char* name = "talm::services::diag::r_0648::RoutineService_ZevoDebug";

    ZEVO_ROUTINE_SERVICE_FAILED

    struct Cancel : Cancel_method {};

    struct RequestResults : Output_method<UDSServiceFailed> {
        struct Output : Two_bytes_and_vector_record {};
        using Signature = Output(const Meta_info&);
    };

    struct Start : Start_method<RequestResults, std::uint8_t, const std::vector<std::uint8_t>&> {};
};

}  // namespace talm::services::diag::r_0648

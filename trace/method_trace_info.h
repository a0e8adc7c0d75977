#pragma once
// What every trace of a method call says about it: service, method and, on the response side,
// the return code. A value type, made on the request and response threads and read by the method
// emitters; copying it throws what copying its strings throws.

#include <cstdint>

#include "ruv/com/cpp_binding/service_info.h"

namespace ruv::com::cpp_binding {

struct Method_trace_info {
    Service_info info;        ///< a copy of the port's service and instance texts
    std::uint16_t method_id;  ///< 0 Cancel, 1 Read or RequestResults, 2 Start
    std::uint8_t error_code;  ///< the response's return code, 0 for success; unused on the request side
};

}  // namespace ruv::com::cpp_binding

#include "ruv/com/runtime/service_binding.h"

namespace ruv::com::runtime {

// Out of line, so that the virtual table and type information live in this library only.
Service_binding::~Service_binding() = default;

}  // namespace ruv::com::runtime

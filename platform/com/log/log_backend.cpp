#include "ruv/com/log/log_backend.h"

namespace ruv::com::log {

// Out of line, so that the virtual table and type information live in this library only.
Log_backend::~Log_backend() = default;

}  // namespace ruv::com::log

#pragma once
// The communication library's process-wide logger, for the library itself and for the proxies
// and bindings built on it. Made on first call (thread-safe) and valid for the rest of the
// process; its lines carry application id "ZEVO" and context id "ACOM".

#include "ruv/com/log/generic_logger.h"

namespace ara::com {

// Throws std::bad_alloc only, and only on the first call.
ruv::com::log::Generic_logger& logger();

}  // namespace ara::com

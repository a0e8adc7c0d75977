#include "ara/com/logger.h"

#include "ara/log/logger.h"
#include "ruv/com/log/ara_log_backend.h"

namespace ara::com {

ruv::com::log::Generic_logger& logger() {
    // Never deleted: threads of the runtime may still log while static objects are destroyed.
    static ruv::com::log::Generic_logger* const instance = [] {
        auto* const backend =
            new ruv::com::log::Ara_log_backend{ara::log::CreateLogger("ZEVO", "ACOM")};
        return new ruv::com::log::Generic_logger{"ara::com", backend};
    }();
    return *instance;
}

}  // namespace ara::com

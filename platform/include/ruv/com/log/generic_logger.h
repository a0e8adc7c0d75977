#pragma once
// The communication library's logger object, handed around by reference (ara::com::logger()).
// Its layout is a binary contract: code compiled elsewhere reads the second field, the backend
// pointer, directly. Both fields are set once and never change, so any thread may read them.

#include "ruv/com/log/log_backend.h"

namespace ruv::com::log {

class Generic_logger {
public:
    char const* name;      ///< what this logger serves, e.g. "ara::com"; static text, not owned
    Log_backend* backend;  ///< never null; not owned, outlives the logger

    Log_backend& get_backend() const noexcept { return *backend; }
};

}  // namespace ruv::com::log

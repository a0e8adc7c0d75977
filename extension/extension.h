#pragma once
// Root of every object the plug-in hands to the diagnostic manager. The host reaches all
// operations through the virtual table, so the slot order below is a binary contract:
// destructor pair, attach, detach. attach and detach run on a host thread and never throw.

#include <string>

#include "extension/export.h"

namespace ruv::dm::foundation::extension {

class ZEVO_EXPORT Extension {
public:
    Extension() = default;
    Extension(const Extension&) = delete;
    Extension& operator=(const Extension&) = delete;

    virtual ~Extension();                               // slots 0 and 1
    virtual void attach(const std::string& instance) = 0;  // slot 2
    virtual void detach() = 0;                          // slot 3
};

}  // namespace ruv::dm::foundation::extension

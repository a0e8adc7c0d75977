#pragma once
// The extensions of one loaded plug-in: one per identifier of its two tables, in table order,
// each destroyed with the destroy function of its kind. Made, attached, detached and destroyed
// on the main thread; jobs on the objects run on dispatcher workers in between.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "extension/extension_data_identifier.h"
#include "extension/extension_routine_control.h"
#include "host/plugin_library.h"
#include "host/uds_dispatcher.h"

namespace zevo::host {

class Extension_set {
public:
    using Extension_handle = std::unique_ptr<ruv::dm::foundation::extension::Extension, Plugin_entry_points::Destroy>;

    struct Entry {
        std::uint16_t identifier;
        Extension_handle extension;  // destroyed through the plug-in's destroy function
    };

    /// Reads both tables and constructs one extension per identifier. Throws Plugin_error when
    /// the plug-in lists an identifier it will not construct (whatever was made is destroyed).
    /// The plug-in must stay loaded until the set is gone.
    explicit Extension_set(const Plugin_entry_points& entry_points);
    /// Detaches every extension (when attached), then destroys them, the last made first.
    ~Extension_set();
    Extension_set(const Extension_set&) = delete;
    Extension_set& operator=(const Extension_set&) = delete;

    /// attach(instance) on every extension, data identifiers first.
    void attach_all(const std::string& instance);
    /// detach() on every extension; nothing when not attached.
    void detach_all();

    /// Identifiers in the plug-in's table order.
    std::vector<std::uint16_t> data_identifiers() const;
    std::vector<std::uint16_t> routines() const;

    /// The extension made for `did` or `rid`, to call directly. Throws std::invalid_argument when
    /// the plug-in does not serve the identifier as that kind.
    ruv::dm::foundation::extension::Extension_data_identifier& data_identifier(std::uint16_t did) const;
    ruv::dm::foundation::extension::Extension_routine_control& routine(std::uint16_t rid) const;

    /// Registers every extension with `dispatcher`, which must not outlive the set.
    void serve_with(Uds_dispatcher& dispatcher) const;

private:
    std::vector<Entry> data_identifiers_;  // kind: Extension_data_identifier
    std::vector<Entry> routines_;          // kind: Extension_routine_control
    bool attached_ = false;
};

}  // namespace zevo::host

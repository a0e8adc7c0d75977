#pragma once
// Opens the plug-in with dlopen and resolves its six C entry points by name, the way the
// vehicle's diagnostic manager does; the plug-in is never linked. Opened and closed on the main
// thread; the entry points may then be called from any thread.

#include <cstdint>
#include <stdexcept>
#include <string>

#include "extension/extension.h"

namespace zevo::host {

/// The plug-in cannot be used: not loadable, an entry point missing, or an entry point that
/// broke its contract. The message names the path and what failed.
class Plugin_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The plug-in's exported C functions. The host declares these types itself; they must match
/// what the plug-in exports.
struct Plugin_entry_points {
    using Get_info = const std::uint16_t* (*)(std::uint16_t* count);
    using Construct = ruv::dm::foundation::extension::Extension* (*)(std::uint16_t identifier);
    using Destroy = void (*)(ruv::dm::foundation::extension::Extension* extension);

    Get_info get_did_info = nullptr;
    Get_info get_rid_info = nullptr;
    Construct construct_extension_did = nullptr;
    Construct construct_extension_rid = nullptr;
    Destroy destroy_extension_did = nullptr;
    Destroy destroy_extension_rid = nullptr;
};

class Plugin_library {
public:
    /// Opens `path` (RTLD_NOW | RTLD_LOCAL) and resolves all six functions.
    /// Throws Plugin_error with the loader's message when any of it fails.
    explicit Plugin_library(const std::string& path);
    /// dlclose. Every object the plug-in made must be destroyed by then.
    ~Plugin_library();
    Plugin_library(const Plugin_library&) = delete;
    Plugin_library& operator=(const Plugin_library&) = delete;

    const Plugin_entry_points& entry_points() const { return entry_points_; }
    const std::string& path() const { return path_; }

private:
    std::string path_;
    void* handle_ = nullptr;  // from dlopen; owned
    Plugin_entry_points entry_points_;
};

}  // namespace zevo::host

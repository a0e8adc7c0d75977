#include "host/plugin_library.h"

#include <dlfcn.h>

#include <cstring>

namespace zevo::host {
namespace {

std::string loader_message() {
    const char* message = dlerror();
    return message != nullptr ? message : "no message from the loader";
}

/// The address of `name` as a function pointer of type Function. POSIX guarantees that dlsym's
/// object pointer converts to a function pointer; copying the bits says so without a cast that
/// ISO C++ only conditionally supports.
template <class Function>
Function resolve(void* handle, const char* name, const std::string& path) {
    dlerror();  // clear an old message, so that a null result can be told from a failure
    void* address = dlsym(handle, name);
    if (address == nullptr) {
        throw Plugin_error("plug-in " + path + " lacks the entry point " + name + ": " + loader_message());
    }
    static_assert(sizeof(Function) == sizeof(address));
    Function function;
    std::memcpy(&function, &address, sizeof function);
    return function;
}

}  // namespace

Plugin_library::Plugin_library(const std::string& path) : path_(path) {
    handle_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle_ == nullptr) throw Plugin_error("cannot load plug-in " + path + ": " + loader_message());
    try {
        entry_points_.get_did_info = resolve<Plugin_entry_points::Get_info>(handle_, "get_did_info", path_);
        entry_points_.get_rid_info = resolve<Plugin_entry_points::Get_info>(handle_, "get_rid_info", path_);
        entry_points_.construct_extension_did =
            resolve<Plugin_entry_points::Construct>(handle_, "construct_extension_did", path_);
        entry_points_.construct_extension_rid =
            resolve<Plugin_entry_points::Construct>(handle_, "construct_extension_rid", path_);
        entry_points_.destroy_extension_did =
            resolve<Plugin_entry_points::Destroy>(handle_, "destroy_extension_did", path_);
        entry_points_.destroy_extension_rid =
            resolve<Plugin_entry_points::Destroy>(handle_, "destroy_extension_rid", path_);
    } catch (...) {
        dlclose(handle_);
        throw;
    }
}

Plugin_library::~Plugin_library() { dlclose(handle_); }

}  // namespace zevo::host

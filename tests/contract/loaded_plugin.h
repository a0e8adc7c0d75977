#pragma once
// The plug-in as a diagnostic manager built elsewhere sees it: a file opened with dlopen, six
// entry points found by their plain names, and objects that are nothing but pointers. Nothing
// of the plug-in's own headers is included here or anywhere in the probe; the types below are
// the host's own declarations. Used by the probe's tests on the test's thread only.

#include <dlfcn.h>

#include <cstdint>
#include <string>
#include <utility>

// Every call from this program into the plug-in goes through a pointer of the host's own type,
// not the type the plug-in declared (which this program cannot see): the entry points return
// void* where the plug-in returns its Extension*, and virtual slots are called as plain functions
// taking `self`. At the machine level both sides agree, which is the contract under test. Clang's
// -fsanitize=function (one of -fsanitize=undefined) compares the callee's C++ type instead and
// stops at the first entry point called this way. Clang 14 does not instrument member functions,
// so the slot calls pass today, but they are marked too: they are the same kind of call. The check
// is switched off on the few functions that make these calls, and only there.
#if defined(__clang__)
#define ZEVO_PROBE_FOREIGN_CALL __attribute__((no_sanitize("function")))
#else
#define ZEVO_PROBE_FOREIGN_CALL
#endif

namespace contract_probe {

/// The host's declarations of the six entry points.
using Get_info = const std::uint16_t* (*)(std::uint16_t* count);
using Construct = void* (*)(std::uint16_t identifier);
using Destroy = void (*)(void* extension);

/// One dlopen of the built plug-in (RTLD_NOW | RTLD_LOCAL), closed again on destruction.
/// Every object made through it must be gone before it is.
class Loaded_plugin {
public:
    Loaded_plugin() : handle_(dlopen(ZEVO_PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL)) {
        if (handle_ == nullptr) {
            const char* reason = dlerror();
            error_ = reason != nullptr ? reason : "dlopen failed";
            return;
        }
        get_did_info_ = entry<Get_info>("get_did_info");
        get_rid_info_ = entry<Get_info>("get_rid_info");
        construct_did_ = entry<Construct>("construct_extension_did");
        construct_rid_ = entry<Construct>("construct_extension_rid");
        destroy_did_ = entry<Destroy>("destroy_extension_did");
        destroy_rid_ = entry<Destroy>("destroy_extension_rid");
    }

    ~Loaded_plugin() {
        if (handle_ != nullptr) {
            dlclose(handle_);
        }
    }

    Loaded_plugin(const Loaded_plugin&) = delete;
    Loaded_plugin& operator=(const Loaded_plugin&) = delete;

    /// Empty when the file was opened; dlerror's text otherwise.
    const std::string& error() const { return error_; }

    /// dlsym of a plain name; null when it is not there (or the file was not opened).
    void* symbol(const char* name) const { return handle_ != nullptr ? dlsym(handle_, name) : nullptr; }

    /// True when all six entry points were found.
    bool complete() const {
        return get_did_info_ != nullptr && get_rid_info_ != nullptr && construct_did_ != nullptr &&
               construct_rid_ != nullptr && destroy_did_ != nullptr && destroy_rid_ != nullptr;
    }

    ZEVO_PROBE_FOREIGN_CALL const std::uint16_t* get_did_info(std::uint16_t* count) const { return get_did_info_(count); }
    ZEVO_PROBE_FOREIGN_CALL const std::uint16_t* get_rid_info(std::uint16_t* count) const { return get_rid_info_(count); }
    ZEVO_PROBE_FOREIGN_CALL void* construct_did(std::uint16_t identifier) const { return construct_did_(identifier); }
    ZEVO_PROBE_FOREIGN_CALL void* construct_rid(std::uint16_t identifier) const { return construct_rid_(identifier); }
    ZEVO_PROBE_FOREIGN_CALL void destroy_did(void* extension) const { destroy_did_(extension); }
    ZEVO_PROBE_FOREIGN_CALL void destroy_rid(void* extension) const { destroy_rid_(extension); }

    Destroy did_destroyer() const { return destroy_did_; }
    Destroy rid_destroyer() const { return destroy_rid_; }

private:
    // dlsym hands out data pointers; POSIX guarantees that one converts to the function pointer.
    template <class Function>
    Function entry(const char* name) const {
        return reinterpret_cast<Function>(symbol(name));
    }

    void* handle_;
    std::string error_;
    Get_info get_did_info_ = nullptr;
    Get_info get_rid_info_ = nullptr;
    Construct construct_did_ = nullptr;
    Construct construct_rid_ = nullptr;
    Destroy destroy_did_ = nullptr;
    Destroy destroy_rid_ = nullptr;
};

/// Owns one extension object and hands it back to the plug-in's matching destroy function, so a
/// failed assertion does not leak it past the dlclose.
class Owned_extension {
public:
    Owned_extension(void* object, Destroy destroy) noexcept : object_(object), destroy_(destroy) {}
    ~Owned_extension() { reset(); }

    Owned_extension(Owned_extension&& other) noexcept
        : object_(std::exchange(other.object_, nullptr)), destroy_(other.destroy_) {}
    Owned_extension& operator=(Owned_extension&&) = delete;
    Owned_extension(const Owned_extension&) = delete;
    Owned_extension& operator=(const Owned_extension&) = delete;

    void* get() const noexcept { return object_; }

    /// Gives the object up without destroying it; the caller destroys it some other way.
    void* release() noexcept { return std::exchange(object_, nullptr); }

    /// Destroys the object through the plug-in's destroy function.
    ZEVO_PROBE_FOREIGN_CALL void reset() {
        if (object_ != nullptr) {
            destroy_(std::exchange(object_, nullptr));
        }
    }

private:
    void* object_;
    Destroy destroy_;
};

}  // namespace contract_probe

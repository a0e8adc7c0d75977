#pragma once
// How a fuzz target reports a broken property: it names the property on standard error and
// aborts, which libFuzzer records as a crash with its input. Called on the fuzzing thread.

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <initializer_list>
#include <string>
#include <typeinfo>

namespace zevo::fuzz {

[[noreturn]] inline void fail(const std::string& what) {
    std::fprintf(stderr, "property broken: %s\n", what.c_str());
    std::fflush(stderr);
    std::abort();
}

inline void expect(bool holds, const std::string& what) {
    if (!holds) {
        fail(what);
    }
}

/// Whether `error` is exactly an `Error` (not a class derived from it) with one of `texts`.
template <class Error>
bool is_exactly(const std::exception& error, std::initializer_list<const char*> texts) {
    if (typeid(error) != typeid(Error)) {
        return false;
    }
    for (const char* text : texts) {
        if (std::string(error.what()) == text) {
            return true;
        }
    }
    return false;
}

/// For failure messages: the type and text of what was thrown.
inline std::string described(const std::exception& error) {
    return std::string(typeid(error).name()) + ": " + error.what();
}

}  // namespace zevo::fuzz

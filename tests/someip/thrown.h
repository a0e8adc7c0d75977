#pragma once
// What an operation throws, as a value a failed expectation prints: the text of an exception of
// exactly the expected type, or a note of what happened instead.

#include <cxxabi.h>

#include <cstdlib>
#include <exception>
#include <memory>
#include <string>
#include <typeinfo>

namespace zevo::test {

inline std::string demangled(const std::type_info& type) {
    int status = 0;
    const std::unique_ptr<char, void (*)(void*)> name(abi::__cxa_demangle(type.name(), nullptr, nullptr, &status),
                                                      std::free);
    return status == 0 && name ? std::string(name.get()) : std::string(type.name());
}

/// The what() of the `Error`, exactly that type, that `operation` throws.
template <class Error, class Operation>
std::string thrown_text(Operation&& operation) {
    try {
        operation();
    } catch (const std::exception& error) {
        if (typeid(error) != typeid(Error)) {
            return "<a " + demangled(typeid(error)) + " was thrown: " + error.what() + ">";
        }
        return error.what();
    }
    return "<nothing was thrown>";
}

}  // namespace zevo::test

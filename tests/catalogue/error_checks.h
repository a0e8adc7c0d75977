#pragma once
// Small helpers for tests that look at what an operation throws or hands back as an
// exception_ptr. Each returns a value that a failed expectation prints, rather than stopping.

#include <cxxabi.h>

#include <cstdlib>
#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <typeinfo>

namespace zevo::test {

/// The readable name of a type, for failure messages.
inline std::string type_name(const std::type_info& type) {
    int status = 0;
    const std::unique_ptr<char, void (*)(void*)> name(abi::__cxa_demangle(type.name(), nullptr, nullptr, &status),
                                                      std::free);
    return status == 0 && name ? std::string(name.get()) : std::string(type.name());
}

/// The text of the std::out_of_range (exactly that type) that `operation` throws, or a note
/// saying what happened instead.
template <class Operation>
std::string out_of_range_text(Operation&& operation) {
    try {
        operation();
    } catch (const std::out_of_range& error) {
        if (typeid(error) != typeid(std::out_of_range)) {
            return "<a " + type_name(typeid(error)) + " was thrown>";
        }
        return error.what();
    } catch (const std::exception& error) {
        return "<a " + type_name(typeid(error)) + " was thrown: " + error.what() + ">";
    }
    return "<nothing was thrown>";
}

/// The exception behind `pointer` if it is exactly an `Error`; empty for anything else,
/// a null pointer included.
template <class Error>
std::optional<Error> caught_as(const std::exception_ptr& pointer) {
    if (!pointer) {
        return std::nullopt;
    }
    try {
        std::rethrow_exception(pointer);
    } catch (const Error& error) {
        if (typeid(error) == typeid(Error)) {
            return error;
        }
    } catch (...) {
    }
    return std::nullopt;
}

/// The dynamic type of the exception behind a non-null `pointer`, for failure messages.
inline std::string exception_type(const std::exception_ptr& pointer) {
    if (!pointer) {
        return "<null>";
    }
    try {
        std::rethrow_exception(pointer);
    } catch (const std::exception& error) {
        return type_name(typeid(error));
    } catch (...) {
    }
    return "<not a std::exception>";
}

}  // namespace zevo::test

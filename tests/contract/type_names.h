#pragma once
// Reading class names and bases out of the run-time type information that the plug-in's
// objects carry, with the C++ runtime's own demangler: the only way a host without the plug-in's
// headers can tell which class an identifier made.

#include <cxxabi.h>

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <typeinfo>

namespace contract_probe {

/// The demangled form of an Itanium-mangled name; nullopt when it does not demangle.
inline std::optional<std::string> demangle(const char* mangled) {
    int status = 0;
    const std::unique_ptr<char, void (*)(void*)> text{abi::__cxa_demangle(mangled, nullptr, nullptr, &status),
                                                      std::free};
    if (status != 0 || text == nullptr) {
        return std::nullopt;
    }
    return std::string{text.get()};
}

/// The qualified name of a class, from its type_info.
inline std::string class_name(const std::type_info& type) {
    return demangle(type.name()).value_or(std::string{"<undemangled> "} + type.name());
}

struct Direct_base {
    const std::type_info* type;
    std::ptrdiff_t offset;  ///< of the base sub-object inside the derived one
    bool is_public;
};

/// The first direct base of a class as its type information lists it (declaration order);
/// nullopt for a class without bases.
inline std::optional<Direct_base> first_direct_base(const std::type_info& type) {
    if (const auto* single = dynamic_cast<const abi::__si_class_type_info*>(&type)) {
        return Direct_base{single->__base_type, 0, true};
    }
    if (const auto* multiple = dynamic_cast<const abi::__vmi_class_type_info*>(&type)) {
        if (multiple->__base_count == 0) {
            return std::nullopt;
        }
        const abi::__base_class_type_info& first = multiple->__base_info[0];
        return Direct_base{first.__base_type, first.__offset(), first.__is_public_p()};
    }
    return std::nullopt;
}

/// Number of direct bases a class lists.
inline unsigned direct_base_count(const std::type_info& type) {
    if (dynamic_cast<const abi::__si_class_type_info*>(&type) != nullptr) {
        return 1;
    }
    if (const auto* multiple = dynamic_cast<const abi::__vmi_class_type_info*>(&type)) {
        return multiple->__base_count;
    }
    return 0;
}

}  // namespace contract_probe

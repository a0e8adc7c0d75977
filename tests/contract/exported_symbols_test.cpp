// What the plug-in offers the dynamic linker, read from the file itself: the six entry points
// under their plain names, the extension classes, the SONAME, and nothing else. A leaked
// instantiation of the standard library or of a platform template would let the host's own
// copies bind to the plug-in's (or the reverse) and must not happen.

#include <elf.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "elf_dynamic_table.h"
#include "served_identifiers.h"
#include "type_names.h"

namespace contract_probe {
namespace {

constexpr std::array<std::string_view, 6> entry_point_names{
    "get_did_info", "get_rid_info", "construct_extension_did", "construct_extension_rid",
    "destroy_extension_did", "destroy_extension_rid"};

bool is_exported(const Dynamic_symbol& symbol) {
    const bool visible_binding =
        symbol.binding == STB_GLOBAL || symbol.binding == STB_WEAK || symbol.binding == STB_GNU_UNIQUE;
    const bool visible = symbol.visibility == STV_DEFAULT || symbol.visibility == STV_PROTECTED;
    return symbol.defined && visible_binding && visible;
}

bool starts_with(std::string_view text, std::string_view prefix) {
    return text.substr(0, prefix.size()) == prefix;
}

bool is_digit(char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; }

/// Skips an Itanium <call-offset> number (an optional 'n', digits) and its closing '_'.
bool skip_offset_number(std::string_view& rest) {
    if (starts_with(rest, "n")) {
        rest.remove_prefix(1);
    }
    const auto digits = std::find_if_not(rest.begin(), rest.end(), is_digit) - rest.begin();
    if (digits == 0 || static_cast<std::size_t>(digits) >= rest.size() || rest[static_cast<std::size_t>(digits)] != '_') {
        return false;
    }
    rest.remove_prefix(static_cast<std::size_t>(digits) + 1);
    return true;
}

/// The leading components of the qualified name a mangled symbol designates, such as
/// {ruv, dm, foundation, extension, Extension} for a member of that class or for its vtable;
/// {std} for anything in std; {} for what has no qualified name (operator new, for one).
/// The mangled form is judged rather than the demangled text, where a function template shows
/// its return type first and every signature lists parameter types such as std::map.
std::vector<std::string> leading_components(std::string_view mangled) {
    if (!starts_with(mangled, "_Z")) {
        return {};
    }
    std::string_view rest = mangled.substr(2);
    // Special names that designate something of an entity: vtable, VTT, typeinfo, its name,
    // guard variable, thread-local wrappers; thunks carry call offsets before the entity.
    for (const std::string_view special : {"TV", "TT", "TI", "TS", "GV", "TH", "TW"}) {
        if (starts_with(rest, special)) {
            rest.remove_prefix(2);
            break;
        }
    }
    if (starts_with(rest, "Th")) {
        rest.remove_prefix(2);
        if (!skip_offset_number(rest)) {
            return {};
        }
    } else if (starts_with(rest, "Tv")) {
        rest.remove_prefix(2);
        if (!skip_offset_number(rest) || !skip_offset_number(rest)) {
            return {};
        }
    }
    const bool nested = starts_with(rest, "N");
    if (nested) {
        rest.remove_prefix(1);
        while (!rest.empty() && (rest.front() == 'r' || rest.front() == 'V' || rest.front() == 'K')) {
            rest.remove_prefix(1);
        }
        if (!rest.empty() && (rest.front() == 'R' || rest.front() == 'O')) {
            rest.remove_prefix(1);
        }
    }
    if (rest.size() >= 2 && rest.front() == 'S' && std::string_view{"tabsiod"}.find(rest[1]) != std::string_view::npos) {
        return {"std"};
    }
    std::vector<std::string> components;
    while (!rest.empty() && is_digit(rest.front())) {
        std::size_t length = 0;
        while (!rest.empty() && is_digit(rest.front())) {
            length = length * 10 + static_cast<std::size_t>(rest.front() - '0');
            rest.remove_prefix(1);
        }
        if (length > rest.size()) {
            return {};
        }
        components.emplace_back(rest.substr(0, length));
        rest.remove_prefix(length);
        if (!nested) {
            break;
        }
    }
    return components;
}

bool in_namespace(const std::vector<std::string>& components, const std::vector<std::string>& space) {
    return components.size() > space.size() && std::equal(space.begin(), space.end(), components.begin());
}

bool in_extension_namespaces(std::string_view mangled) {
    const auto components = leading_components(mangled);
    return in_namespace(components, {"ruv", "dm", "foundation", "extension"}) ||
           in_namespace(components, {"talm", "services", "diag"});
}

class contract_dynamic_symbols : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_NO_THROW(table = read_dynamic_table(ZEVO_PLUGIN_PATH));
        for (const auto& symbol : table.symbols) {
            if (is_exported(symbol)) {
                exported.push_back(symbol);
            }
        }
    }

    Dynamic_table table;
    std::vector<Dynamic_symbol> exported;
};

TEST_F(contract_dynamic_symbols, soname_is_exactly_libzevo_dm_extension_so_1_28_0) {
    EXPECT_EQ(table.soname, "libzevo_dm_extension.so.1.28.0");
}

TEST_F(contract_dynamic_symbols, six_entry_points_are_exported_as_global_default_visibility_functions) {
    for (const std::string_view name : entry_point_names) {
        const auto count = std::count_if(table.symbols.begin(), table.symbols.end(),
                                         [&](const Dynamic_symbol& symbol) { return symbol.name == name; });
        EXPECT_EQ(count, 1) << name;
        const auto found = std::find_if(table.symbols.begin(), table.symbols.end(),
                                        [&](const Dynamic_symbol& symbol) { return symbol.name == name; });
        if (found == table.symbols.end()) {
            continue;
        }
        EXPECT_TRUE(found->defined) << name;
        EXPECT_EQ(found->binding, STB_GLOBAL) << name;
        EXPECT_EQ(found->type, STT_FUNC) << name;
        EXPECT_EQ(found->visibility, STV_DEFAULT) << name;
    }
}

TEST_F(contract_dynamic_symbols, every_exported_cpp_symbol_demangles) {
    for (const auto& symbol : exported) {
        if (starts_with(symbol.name, "_Z")) {
            EXPECT_TRUE(demangle(symbol.name.c_str()).has_value()) << symbol.name;
        }
    }
}

TEST_F(contract_dynamic_symbols, nothing_outside_the_entry_points_and_the_extension_namespaces_is_exported) {
    std::vector<std::string> leaks;
    for (const auto& symbol : exported) {
        const bool entry_point = std::find(entry_point_names.begin(), entry_point_names.end(), symbol.name) !=
                                 entry_point_names.end();
        if (!entry_point && !in_extension_namespaces(symbol.name)) {
            leaks.push_back(symbol.name + "  [" + demangle(symbol.name.c_str()).value_or("does not demangle") + "]");
        }
    }
    std::string listing;
    for (const auto& leak : leaks) {
        listing += "\n  " + leak;
    }
    EXPECT_TRUE(leaks.empty()) << leaks.size() << " symbol(s) leak out of the plug-in:" << listing;
}

TEST_F(contract_dynamic_symbols, every_extension_class_exports_its_vtable_and_typeinfo) {
    std::vector<std::string> demangled;
    for (const auto& symbol : exported) {
        demangled.push_back(demangle(symbol.name.c_str()).value_or(symbol.name));
    }
    std::vector<std::string> classes{extension_root, data_identifier_face, routine_face};
    for (const auto& served : data_identifiers) {
        classes.emplace_back(served.class_name);
    }
    for (const auto& served : routines) {
        classes.emplace_back(served.class_name);
    }
    for (const auto& name : classes) {
        for (const std::string what : {"vtable for ", "typeinfo for ", "typeinfo name for "}) {
            EXPECT_NE(std::find(demangled.begin(), demangled.end(), what + name), demangled.end()) << what << name;
        }
    }
}

// The judge of namespaces itself, on names the compilers produce.
TEST(contract_mangled_names, qualified_name_prefix_is_judged_not_substrings_of_the_signature) {
    // A member of an extension class whose parameters are std types.
    EXPECT_TRUE(in_extension_namespaces(
        "_ZN3ruv2dm10foundation9extension25Extension_data_identifier4readERKSt3mapINSt7__cxx1112basic_"
        "stringIcSt11char_traitsIcESaIcEEES8_St4lessIS8_ESaISt4pairIKS8_S8_EEERSt6vectorIhSaIhEE"));
    EXPECT_TRUE(in_extension_namespaces("_ZTVN4talm8services4diag6d_2c5636DataIdentifier_ZevoTrainingCounter_extensionE"));
    EXPECT_TRUE(in_extension_namespaces("_ZTSN3ruv2dm10foundation9extension9ExtensionE"));
    EXPECT_TRUE(in_extension_namespaces("_ZThn8_N4talm8services4diag6r_06481XD1Ev"));
    // A standard library instantiation whose template argument is an extension type.
    EXPECT_FALSE(in_extension_namespaces("_ZNSt6vectorIN3ruv2dm10foundation9extension9ExtensionESaIS4_EE9push_backEv"));
    EXPECT_FALSE(in_extension_namespaces("_ZN9__gnu_cxx13new_allocatorIcE8allocateEmPKv"));
    EXPECT_FALSE(in_extension_namespaces("_ZN8nlohmann10basic_jsonD2Ev"));
    EXPECT_FALSE(in_extension_namespaces("_ZN3kel3com6FutureIvED1Ev"));
    EXPECT_FALSE(in_extension_namespaces("_ZN3ara3com6loggerEv"));
    EXPECT_FALSE(in_extension_namespaces("_ZN3ruv3com6StrandD1Ev"));
    EXPECT_FALSE(in_extension_namespaces("_Znwm"));
    EXPECT_FALSE(in_extension_namespaces("_ZSt4cout"));
    EXPECT_FALSE(in_extension_namespaces("_end"));
}

}  // namespace
}  // namespace contract_probe

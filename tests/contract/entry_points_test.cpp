// The six entry points as a host built elsewhere meets them: found by plain name after dlopen,
// called through the host's own declarations. Tables, the dispatch from identifier to class, and
// the making and unmaking of objects.

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "loaded_plugin.h"
#include "raw_extension.h"
#include "served_identifiers.h"
#include "type_names.h"

namespace contract_probe {
namespace {

constexpr std::uint16_t fill_pattern = 0xA5A5;

class contract_entry_points : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(plugin.error(), "") << "dlopen of " << ZEVO_PLUGIN_PATH;
        ASSERT_TRUE(plugin.complete()) << "an entry point is missing";
    }

    Owned_extension did(std::uint16_t identifier) const {
        return Owned_extension{plugin.construct_did(identifier), plugin.did_destroyer()};
    }
    Owned_extension rid(std::uint16_t identifier) const {
        return Owned_extension{plugin.construct_rid(identifier), plugin.rid_destroyer()};
    }

    Loaded_plugin plugin;
};

/// The object is a complete object of `expected_class`, designated at its start, whose first
/// base is `face` at offset 0.
void expect_object_of_class(void* object, const char* expected_class, const char* face) {
    ASSERT_NE(object, nullptr) << expected_class;
    EXPECT_EQ(raw::offset_to_top(object), 0) << expected_class << " is not handed out at its start";
    const std::type_info& type = raw::dynamic_type(object);
    EXPECT_EQ(class_name(type), expected_class);
    const auto base = first_direct_base(type);
    ASSERT_TRUE(base.has_value()) << expected_class << " lists no base";
    EXPECT_EQ(class_name(*base->type), face) << expected_class;
    EXPECT_EQ(base->offset, 0) << expected_class;
    EXPECT_TRUE(base->is_public) << expected_class;
}

TEST_F(contract_entry_points, all_six_entry_points_resolve_by_plain_name) {
    for (const char* name : {"get_did_info", "get_rid_info", "construct_extension_did", "construct_extension_rid",
                             "destroy_extension_did", "destroy_extension_rid"}) {
        EXPECT_NE(plugin.symbol(name), nullptr) << name;
    }
}

TEST_F(contract_entry_points, get_did_info_stores_4_and_returns_2c60_2c57_2c56_2c55_in_that_order) {
    std::uint16_t count = 0;
    const std::uint16_t* table = plugin.get_did_info(&count);
    ASSERT_NE(table, nullptr);
    ASSERT_EQ(count, 4);
    for (std::size_t i = 0; i < data_identifiers.size(); ++i) {
        EXPECT_EQ(table[i], data_identifiers[i].identifier) << "entry " << i;
    }
}

TEST_F(contract_entry_points, get_rid_info_stores_6_and_returns_c00b_c00c_c00d_c00f_c00a_0648_in_that_order) {
    std::uint16_t count = 0;
    const std::uint16_t* table = plugin.get_rid_info(&count);
    ASSERT_NE(table, nullptr);
    ASSERT_EQ(count, 6);
    for (std::size_t i = 0; i < routines.size(); ++i) {
        EXPECT_EQ(table[i], routines[i].identifier) << "entry " << i;
    }
}

TEST_F(contract_entry_points, routine_table_stands_directly_behind_data_identifier_table) {
    std::uint16_t count = 0;
    const std::uint16_t* dids = plugin.get_did_info(&count);
    const std::uint16_t* rids = plugin.get_rid_info(&count);
    EXPECT_EQ(rids, dids + 4);
}

TEST_F(contract_entry_points, table_queries_store_the_count_as_16_bits_and_touch_nothing_beside_it) {
    std::array<std::uint16_t, 4> did_words{fill_pattern, fill_pattern, fill_pattern, fill_pattern};
    plugin.get_did_info(&did_words[1]);
    EXPECT_EQ(did_words, (std::array<std::uint16_t, 4>{fill_pattern, 4, fill_pattern, fill_pattern}));

    std::array<std::uint16_t, 4> rid_words{fill_pattern, fill_pattern, fill_pattern, fill_pattern};
    plugin.get_rid_info(&rid_words[1]);
    EXPECT_EQ(rid_words, (std::array<std::uint16_t, 4>{fill_pattern, 6, fill_pattern, fill_pattern}));
}

TEST_F(contract_entry_points, repeated_table_queries_return_the_same_addresses) {
    std::uint16_t count = 0;
    const std::uint16_t* first_dids = plugin.get_did_info(&count);
    const std::uint16_t* first_rids = plugin.get_rid_info(&count);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(plugin.get_did_info(&count), first_dids);
        EXPECT_EQ(count, 4);
        EXPECT_EQ(plugin.get_rid_info(&count), first_rids);
        EXPECT_EQ(count, 6);
    }
}

TEST_F(contract_entry_points, every_data_identifier_in_the_table_constructs_its_class) {
    for (const auto& served : data_identifiers) {
        SCOPED_TRACE(served.class_name);
        const Owned_extension object = did(served.identifier);
        expect_object_of_class(object.get(), served.class_name, data_identifier_face);
    }
}

TEST_F(contract_entry_points, every_routine_in_the_table_constructs_its_class) {
    for (const auto& served : routines) {
        SCOPED_TRACE(served.class_name);
        const Owned_extension object = rid(served.identifier);
        expect_object_of_class(object.get(), served.class_name, routine_face);
    }
}

TEST_F(contract_entry_points, faces_derive_from_the_extension_root_alone) {
    const Owned_extension data = did(0x2C56);
    const Owned_extension routine = rid(0xC00C);
    ASSERT_NE(data.get(), nullptr);
    ASSERT_NE(routine.get(), nullptr);
    for (void* object : {data.get(), routine.get()}) {
        const auto face = first_direct_base(raw::dynamic_type(object));
        ASSERT_TRUE(face.has_value());
        EXPECT_EQ(direct_base_count(*face->type), 1U) << class_name(*face->type);
        const auto root = first_direct_base(*face->type);
        ASSERT_TRUE(root.has_value());
        EXPECT_EQ(class_name(*root->type), extension_root);
        EXPECT_EQ(root->offset, 0);
        EXPECT_EQ(direct_base_count(*root->type), 0U);
    }
}

TEST_F(contract_entry_points, construct_did_with_2c58_inside_the_range_returns_null) {
    EXPECT_EQ(plugin.construct_did(0x2C58), nullptr);
}

TEST_F(contract_entry_points, construct_rid_with_c00e_inside_the_range_returns_null) {
    EXPECT_EQ(plugin.construct_rid(0xC00E), nullptr);
}

TEST_F(contract_entry_points, construct_did_with_a_routine_identifier_returns_null) {
    for (const auto& served : routines) {
        EXPECT_EQ(plugin.construct_did(served.identifier), nullptr) << served.class_name;
    }
}

TEST_F(contract_entry_points, construct_rid_with_a_data_identifier_returns_null) {
    for (const auto& served : data_identifiers) {
        EXPECT_EQ(plugin.construct_rid(served.identifier), nullptr) << served.class_name;
    }
}

TEST_F(contract_entry_points, construct_with_0_or_ffff_returns_null) {
    for (const std::uint16_t identifier : {std::uint16_t{0x0000}, std::uint16_t{0xFFFF}}) {
        EXPECT_EQ(plugin.construct_did(identifier), nullptr);
        EXPECT_EQ(plugin.construct_rid(identifier), nullptr);
    }
}

#if defined(__x86_64__)

// A host may declare the identifier parameter wider than 16 bits; the plug-in promises that only
// the low 16 bits count. Under the x86-64 System V psABI an integer argument travels in a full
// register (%rdi for the first) whatever its declared width, and the bits above the callee's
// declared width are unspecified: a callee declared with a 16-bit parameter reads %di and must
// not rely on the rest. Calling through a pointer to a function taking 32 bits puts exactly
// such a register in place, with upper bits the callee has to ignore. In C++ terms that call
// through a different function type is undefined, as is every call this probe makes with the
// host's declarations; at the machine level it is the well-defined case above. (Clang is known
// to let its callees assume that 16-bit arguments arrive zero-extended to 32 bits; the plug-in
// must not depend on that, so a failure here is a defect of the plug-in, not of the probe.)
using Wide_construct = void* (*)(std::uint32_t identifier);

ZEVO_PROBE_FOREIGN_CALL void* construct_wide(const Loaded_plugin& plugin, const char* entry, std::uint32_t identifier) {
    return reinterpret_cast<Wide_construct>(plugin.symbol(entry))(identifier);
}

TEST_F(contract_entry_points, construct_counts_only_the_low_16_bits_of_a_wider_argument) {
    const auto plain = did(0x2C56);
    const Owned_extension wide{construct_wide(plugin, "construct_extension_did", 0x12C56), plugin.did_destroyer()};
    ASSERT_NE(plain.get(), nullptr);
    ASSERT_NE(wide.get(), nullptr) << "0x12C56 was not taken as 0x2C56";
    EXPECT_EQ(class_name(raw::dynamic_type(wide.get())), class_name(raw::dynamic_type(plain.get())));
}

TEST_F(contract_entry_points, every_served_identifier_with_upper_bits_set_constructs_its_class) {
    for (const std::uint32_t upper : {0x0001'0000U, 0xABCD'0000U, 0xFFFF'0000U}) {
        for (const auto& served : data_identifiers) {
            SCOPED_TRACE(served.class_name);
            const Owned_extension object{construct_wide(plugin, "construct_extension_did", upper | served.identifier),
                                         plugin.did_destroyer()};
            expect_object_of_class(object.get(), served.class_name, data_identifier_face);
        }
        for (const auto& served : routines) {
            SCOPED_TRACE(served.class_name);
            const Owned_extension object{construct_wide(plugin, "construct_extension_rid", upper | served.identifier),
                                         plugin.rid_destroyer()};
            expect_object_of_class(object.get(), served.class_name, routine_face);
        }
        EXPECT_EQ(construct_wide(plugin, "construct_extension_did", upper | 0x2C58U), nullptr);
        EXPECT_EQ(construct_wide(plugin, "construct_extension_rid", upper | 0xC00EU), nullptr);
    }
}

#endif  // __x86_64__

TEST_F(contract_entry_points, two_constructions_of_c00c_give_two_objects_each_destroyable_alone) {
    Owned_extension first = rid(0xC00C);
    Owned_extension second = rid(0xC00C);
    ASSERT_NE(first.get(), nullptr);
    ASSERT_NE(second.get(), nullptr);
    EXPECT_NE(first.get(), second.get());

    first.reset();

    // The survivor still answers as a routine does before its service is found.
    const Meta_info meta_info{{"sid", "31"}};
    Bytes request{0x01};
    Bytes response;
    EXPECT_EQ(raw::start(second.get(), request, meta_info, response), 0x10);
    EXPECT_EQ(raw::cancel_routine(second.get(), meta_info), 0);
    second.reset();
}

TEST_F(contract_entry_points, destroy_extension_did_accepts_null) { plugin.destroy_did(nullptr); }

TEST_F(contract_entry_points, destroy_extension_rid_accepts_null) { plugin.destroy_rid(nullptr); }

TEST_F(contract_entry_points, destroy_functions_release_objects_of_every_class) {
    for (const auto& served : data_identifiers) {
        void* object = plugin.construct_did(served.identifier);
        ASSERT_NE(object, nullptr) << served.class_name;
        plugin.destroy_did(object);
    }
    for (const auto& served : routines) {
        void* object = plugin.construct_rid(served.identifier);
        ASSERT_NE(object, nullptr) << served.class_name;
        plugin.destroy_rid(object);
    }
}

}  // namespace
}  // namespace contract_probe

// The six entry points as the diagnostic manager uses them: the two identifier tables, the
// dispatch from identifier to extension class, and destruction.

#include "extension/entry_points.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <typeinfo>
#include <vector>

#include "extension/served_extensions.h"

namespace {

using ruv::dm::foundation::extension::Extension;
using ruv::dm::foundation::extension::Extension_data_identifier;
using ruv::dm::foundation::extension::Extension_routine_control;

std::vector<std::uint16_t> table(const std::uint16_t* (*query)(std::uint16_t*)) {
    std::uint16_t count = 0;
    const std::uint16_t* first = query(&count);
    return {first, first + count};
}

TEST(entry_points, did_table_has_four_entries_in_stored_order) {
    EXPECT_EQ(table(get_did_info), (std::vector<std::uint16_t>{0x2C60, 0x2C57, 0x2C56, 0x2C55}));
}

TEST(entry_points, rid_table_has_six_entries_in_stored_order) {
    EXPECT_EQ(table(get_rid_info),
              (std::vector<std::uint16_t>{0xC00B, 0xC00C, 0xC00D, 0xC00F, 0xC00A, 0x0648}));
}

TEST(entry_points, count_is_a_sixteen_bit_store) {
    std::uint16_t counts[3] = {0xAAAA, 0xAAAA, 0xAAAA};
    get_did_info(&counts[1]);
    EXPECT_EQ(counts[0], 0xAAAA);
    EXPECT_EQ(counts[1], 4);
    EXPECT_EQ(counts[2], 0xAAAA);
}

TEST(entry_points, routine_table_stands_directly_behind_data_identifier_table) {
    std::uint16_t did_count = 0;
    std::uint16_t rid_count = 0;
    const std::uint16_t* dids = get_did_info(&did_count);
    const std::uint16_t* rids = get_rid_info(&rid_count);
    EXPECT_EQ(rids, dids + did_count);
    EXPECT_EQ(get_did_info(&did_count), dids) << "tables are returned by address, not copied";
}

TEST(entry_points, every_did_in_the_table_constructs_a_data_identifier_extension) {
    for (std::uint16_t id : table(get_did_info)) {
        Extension* made = construct_extension_did(id);
        ASSERT_NE(made, nullptr) << std::hex << id;
        EXPECT_NE(dynamic_cast<Extension_data_identifier*>(made), nullptr) << std::hex << id;
        destroy_extension_did(made);
    }
}

TEST(entry_points, every_rid_in_the_table_constructs_a_routine_extension) {
    for (std::uint16_t id : table(get_rid_info)) {
        Extension* made = construct_extension_rid(id);
        ASSERT_NE(made, nullptr) << std::hex << id;
        EXPECT_NE(dynamic_cast<Extension_routine_control*>(made), nullptr) << std::hex << id;
        destroy_extension_rid(made);
    }
}

template <class Class>
void expect_constructs(Extension* (*construct)(std::uint16_t), void (*destroy)(Extension*)) {
    Extension* made = construct(Class::identifier);
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(typeid(*made), typeid(Class)) << Class::interface_name;
    EXPECT_EQ(static_cast<void*>(made), static_cast<void*>(dynamic_cast<Class*>(made)))
        << "the Extension root stands at the start of the object";
    destroy(made);
}

TEST(entry_points, each_identifier_makes_the_class_of_its_service) {
    using namespace talm::services::diag;
    expect_constructs<d_2c55::DataIdentifier_ZevoZevovin_extension>(construct_extension_did, destroy_extension_did);
    expect_constructs<d_2c56::DataIdentifier_ZevoTrainingCounter_extension>(construct_extension_did, destroy_extension_did);
    expect_constructs<d_2c57::DataIdentifier_ZevoMissingKeyHistory_extension>(construct_extension_did, destroy_extension_did);
    expect_constructs<d_2c60::DataIdentifier_ZevoKeyList_extension>(construct_extension_did, destroy_extension_did);
    expect_constructs<r_0648::RoutineService_ZevoDebug_extension>(construct_extension_rid, destroy_extension_rid);
    expect_constructs<r_c00a::RoutineService_ZevoHandleDownloadcontainer_extension>(construct_extension_rid, destroy_extension_rid);
    expect_constructs<r_c00b::RoutineService_ZevoCheckVerificationHash_extension>(construct_extension_rid, destroy_extension_rid);
    expect_constructs<r_c00c::RoutineService_ZevoGetIdentityHash_extension>(construct_extension_rid, destroy_extension_rid);
    expect_constructs<r_c00d::RoutineService_ZevoGetPssHash_extension>(construct_extension_rid, destroy_extension_rid);
    expect_constructs<r_c00f::RoutineService_ZevoGetState_extension>(construct_extension_rid, destroy_extension_rid);
}

TEST(entry_points, identifiers_inside_the_numeric_ranges_but_not_served_give_null) {
    EXPECT_EQ(construct_extension_did(0x2C58), nullptr);
    EXPECT_EQ(construct_extension_rid(0xC00E), nullptr);
    EXPECT_EQ(construct_extension_did(0x0000), nullptr);
    EXPECT_EQ(construct_extension_rid(0xFFFF), nullptr);
}

TEST(entry_points, identifier_of_the_other_kind_gives_null) {
    EXPECT_EQ(construct_extension_did(0x0648), nullptr);
    EXPECT_EQ(construct_extension_did(0xC00C), nullptr);
    EXPECT_EQ(construct_extension_rid(0x2C55), nullptr);
    EXPECT_EQ(construct_extension_rid(0x2C60), nullptr);
}

TEST(entry_points, two_constructions_of_one_identifier_give_two_independent_objects) {
    Extension* first = construct_extension_rid(0xC00C);
    Extension* second = construct_extension_rid(0xC00C);
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_NE(first, second);
    destroy_extension_rid(first);
    // The second object is untouched by the first one's destruction and still answers.
    std::vector<std::uint8_t> request;
    std::vector<std::uint8_t> response;
    EXPECT_EQ(dynamic_cast<Extension_routine_control*>(second)->start(request, {}, response), 0x10);
    destroy_extension_rid(second);
}

}  // namespace

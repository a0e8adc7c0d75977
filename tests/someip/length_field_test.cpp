// The record of format choices in force, write_length_field and the wire type rule that ties the
// three length field widths together.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <type_traits>
#include <vector>

#include "someip/length_field.h"
#include "someip/serialization_properties.h"
#include "tests/someip/thrown.h"

namespace {

using ruv::com::byte_order::Byte_order;
using ruv::com::someip::serialization::length_field_size_for_wire_type;
using ruv::com::someip::serialization::Serialization_properties;
using ruv::com::someip::serialization::serialization_properties_in_force;
using ruv::com::someip::serialization::write_length_field;
using zevo::test::thrown_text;
using Bytes = std::vector<std::uint8_t>;

constexpr const char* does_not_fit = "Calculated record length does not fit into configured length field";

Serialization_properties with_order(Byte_order order) {
    Serialization_properties properties = serialization_properties_in_force;
    properties.byte_order = order;
    return properties;
}

Serialization_properties with_widths(std::uint64_t array, std::uint64_t string, std::uint64_t structure) {
    Serialization_properties properties = serialization_properties_in_force;
    properties.array_length_field_size = array;
    properties.string_length_field_size = string;
    properties.struct_length_field_size = structure;
    return properties;
}

TEST(serialization_properties, values_in_force_are_big_endian_with_4_byte_length_fields) {
    constexpr Serialization_properties properties = serialization_properties_in_force;
    EXPECT_EQ(properties.option_word, 0U);
    EXPECT_EQ(properties.byte_order, Byte_order::big_endian);
    EXPECT_EQ(properties.option_flag, 1U);
    EXPECT_EQ(properties.array_length_field_size, 4U);
    EXPECT_EQ(properties.string_length_field_size, 4U);
    EXPECT_EQ(properties.struct_length_field_size, 4U);
}

TEST(serialization_properties, fields_are_declared_in_order_without_padding) {
    static_assert(std::is_trivially_copyable_v<Serialization_properties>);
    static_assert(std::is_same_v<decltype(Serialization_properties::option_word), std::uint64_t>);
    static_assert(std::is_same_v<decltype(Serialization_properties::option_flag), std::uint32_t>);
    static_assert(std::is_same_v<decltype(Serialization_properties::array_length_field_size), std::uint64_t>);
    EXPECT_EQ(offsetof(Serialization_properties, option_word), 0U);
    EXPECT_EQ(offsetof(Serialization_properties, byte_order), 8U);
    EXPECT_EQ(offsetof(Serialization_properties, option_flag), 12U);
    EXPECT_EQ(offsetof(Serialization_properties, array_length_field_size), 16U);
    EXPECT_EQ(offsetof(Serialization_properties, string_length_field_size), 24U);
    EXPECT_EQ(offsetof(Serialization_properties, struct_length_field_size), 32U);
    EXPECT_EQ(sizeof(Serialization_properties), 40U);
}

TEST(write_length_field, size_4_value_258_is_most_significant_first_under_4321) {
    Bytes out;
    write_length_field(4, 258, out, with_order(Byte_order::big_endian));
    EXPECT_EQ(out, (Bytes{0x00, 0x00, 0x01, 0x02}));
}

TEST(write_length_field, size_4_value_258_is_least_significant_first_under_1234) {
    Bytes out;
    write_length_field(4, 258, out, with_order(Byte_order::little_endian));
    EXPECT_EQ(out, (Bytes{0x02, 0x01, 0x00, 0x00}));
}

TEST(write_length_field, any_order_other_than_1234_is_most_significant_first) {
    Bytes out;
    write_length_field(4, 258, out, with_order(static_cast<Byte_order>(0)));
    write_length_field(2, 258, out, with_order(static_cast<Byte_order>(0)));
    EXPECT_EQ(out, (Bytes{0x00, 0x00, 0x01, 0x02, 0x01, 0x02}));
}

TEST(write_length_field, appends_behind_what_is_there) {
    Bytes out{0xEE};
    write_length_field(4, 1, out, serialization_properties_in_force);
    EXPECT_EQ(out, (Bytes{0xEE, 0x00, 0x00, 0x00, 0x01}));
}

TEST(write_length_field, size_1_value_255_appends_0xff) {
    Bytes out;
    write_length_field(1, 255, out, serialization_properties_in_force);
    EXPECT_EQ(out, (Bytes{0xFF}));
}

TEST(write_length_field, size_1_value_256_throws_overflow_and_appends_nothing) {
    Bytes out{0xEE};
    EXPECT_EQ(thrown_text<std::overflow_error>([&] { write_length_field(1, 256, out, serialization_properties_in_force); }),
              does_not_fit);
    EXPECT_EQ(out, (Bytes{0xEE}));
}

TEST(write_length_field, size_2_writes_two_bytes_in_the_properties_order) {
    Bytes out;
    write_length_field(2, 0xFFFF, out, with_order(Byte_order::big_endian));
    write_length_field(2, 258, out, with_order(Byte_order::big_endian));
    write_length_field(2, 258, out, with_order(Byte_order::little_endian));
    EXPECT_EQ(out, (Bytes{0xFF, 0xFF, 0x01, 0x02, 0x02, 0x01}));
}

TEST(write_length_field, size_2_value_65536_throws_overflow_and_appends_nothing) {
    Bytes out;
    EXPECT_EQ(
        thrown_text<std::overflow_error>([&] { write_length_field(2, 65536, out, serialization_properties_in_force); }),
        does_not_fit);
    EXPECT_TRUE(out.empty());
}

TEST(write_length_field, size_4_holds_0xffffffff_and_refuses_0x100000000) {
    Bytes out;
    write_length_field(4, 0xFFFFFFFFU, out, serialization_properties_in_force);
    EXPECT_EQ(out, (Bytes{0xFF, 0xFF, 0xFF, 0xFF}));
    out.clear();
    EXPECT_EQ(thrown_text<std::overflow_error>(
                  [&] { write_length_field(4, 0x100000000U, out, serialization_properties_in_force); }),
              does_not_fit);
    EXPECT_TRUE(out.empty());
}

TEST(write_length_field, size_0_appends_nothing_whatever_the_value) {
    Bytes out{0xEE};
    write_length_field(0, 0, out, serialization_properties_in_force);
    write_length_field(0, 258, out, serialization_properties_in_force);
    write_length_field(0, SIZE_MAX, out, serialization_properties_in_force);
    EXPECT_EQ(out, (Bytes{0xEE}));
}

TEST(write_length_field, sizes_other_than_0_1_2_4_throw_invalid_argument_and_append_nothing) {
    for (const std::size_t size : {3U, 5U, 8U}) {
        Bytes out;
        EXPECT_EQ(thrown_text<std::invalid_argument>(
                      [&] { write_length_field(size, 1, out, serialization_properties_in_force); }),
                  "Invalid value for length field size.")
            << "size " << size;
        EXPECT_TRUE(out.empty());
    }
}

TEST(write_length_field, a_bad_size_is_refused_before_the_value_is_looked_at) {
    Bytes out;
    EXPECT_EQ(thrown_text<std::invalid_argument>(
                  [&] { write_length_field(8, 0x100000000U, out, serialization_properties_in_force); }),
              "Invalid value for length field size.");
}

TEST(length_field_size_for_wire_type, wire_type_4_on_the_values_in_force_is_4) {
    EXPECT_EQ(length_field_size_for_wire_type(4, serialization_properties_in_force), 4U);
}

TEST(length_field_size_for_wire_type, wire_type_4_gives_the_common_width) {
    EXPECT_EQ(length_field_size_for_wire_type(4, with_widths(2, 2, 2)), 2U);
}

TEST(length_field_size_for_wire_type, wire_type_4_with_widths_4_2_4_throws_naming_them) {
    EXPECT_EQ(thrown_text<std::runtime_error>([] { length_field_size_for_wire_type(4, with_widths(4, 2, 4)); }),
              "Violation of COM.PRS_SOMEIP_00215: All length fields must have same size and not be 0 when wire "
              "type 4 is used (4,2,4)");
}

TEST(length_field_size_for_wire_type, wire_type_4_with_widths_0_0_0_throws_naming_them) {
    EXPECT_EQ(thrown_text<std::runtime_error>([] { length_field_size_for_wire_type(4, with_widths(0, 0, 0)); }),
              "Violation of COM.PRS_SOMEIP_00215: All length fields must have same size and not be 0 when wire "
              "type 4 is used (0,0,0)");
}

TEST(length_field_size_for_wire_type, wire_type_4_with_only_the_struct_width_different_throws) {
    EXPECT_EQ(thrown_text<std::runtime_error>([] { length_field_size_for_wire_type(4, with_widths(4, 4, 1)); }),
              "Violation of COM.PRS_SOMEIP_00215: All length fields must have same size and not be 0 when wire "
              "type 4 is used (4,4,1)");
}

TEST(length_field_size_for_wire_type, wire_type_4_prints_widths_in_full_decimal) {
    EXPECT_EQ(thrown_text<std::runtime_error>(
                  [] { length_field_size_for_wire_type(4, with_widths(18446744073709551615U, 4, 4)); }),
              "Violation of COM.PRS_SOMEIP_00215: All length fields must have same size and not be 0 when wire "
              "type 4 is used (18446744073709551615,4,4)");
}

TEST(length_field_size_for_wire_type, wire_types_5_6_7_are_1_2_4_whatever_the_widths) {
    EXPECT_EQ(length_field_size_for_wire_type(5, with_widths(0, 2, 3)), 1U);
    EXPECT_EQ(length_field_size_for_wire_type(6, with_widths(0, 2, 3)), 2U);
    EXPECT_EQ(length_field_size_for_wire_type(7, with_widths(0, 2, 3)), 4U);
}

TEST(length_field_size_for_wire_type, wire_types_3_and_8_and_others_are_0) {
    EXPECT_EQ(length_field_size_for_wire_type(3, serialization_properties_in_force), 0U);
    EXPECT_EQ(length_field_size_for_wire_type(8, serialization_properties_in_force), 0U);
    EXPECT_EQ(length_field_size_for_wire_type(0, with_widths(0, 0, 0)), 0U);
    EXPECT_EQ(length_field_size_for_wire_type(255, serialization_properties_in_force), 0U);
}

}  // namespace

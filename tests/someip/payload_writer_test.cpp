// The payload writer: single bytes through serialize_dispatch, strings, maps from string to
// string, byte vectors and fixed byte arrays, byte for byte, with their checks in order.

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "extension/uds_response_code.h"
#include "someip/payload_writer.h"
#include "someip/serialization_properties.h"
#include "someip/serialize_dispatch.h"
#include "tests/someip/thrown.h"

namespace {

using ruv::com::byte_order::Byte_order;
using ruv::com::someip::serialization::is_basic_non_bool_type_v;
using ruv::com::someip::serialization::Serialization_properties;
using ruv::com::someip::serialization::serialization_properties_in_force;
using ruv::com::someip::serialization::serialize_dispatch;
using ruv::com::someip::serialization::write_byte_array;
using ruv::com::someip::serialization::write_byte_vector;
using ruv::com::someip::serialization::write_string;
using ruv::com::someip::serialization::write_string_map;
using zevo::test::thrown_text;
using Bytes = std::vector<std::uint8_t>;
using Meta_info = std::map<std::string, std::string>;

constexpr const char* string_without_length_field =
    "Dynamic strings must have a length field. Violation of PRS_SOMEIP_00089!";
constexpr const char* vector_without_length_field =
    "Vectors must have a length field that deserializer can also deserialize it. Violation of PRS_SOMEIP_00376 "
    "& PRS_SOMEIP_00107!";

Serialization_properties with_string_width(std::uint64_t width) {
    Serialization_properties properties = serialization_properties_in_force;
    properties.string_length_field_size = width;
    return properties;
}

Serialization_properties with_array_width(std::uint64_t width) {
    Serialization_properties properties = serialization_properties_in_force;
    properties.array_length_field_size = width;
    return properties;
}

// serialize_dispatch

TEST(serialize_dispatch, uint8_writes_one_byte_without_length_field) {
    Bytes out{0xEE};
    serialize_dispatch(out, std::uint8_t{0x5A}, serialization_properties_in_force);
    EXPECT_EQ(out, (Bytes{0xEE, 0x5A}));
}

TEST(serialize_dispatch, response_code_writes_its_one_byte) {
    Bytes out;
    const ruv::dm::types::UDSResponseCodeType code = 0x31;
    serialize_dispatch(out, code, serialization_properties_in_force);
    EXPECT_EQ(out, (Bytes{0x31}));
}

TEST(serialize_dispatch, uint16_is_high_byte_first_under_4321_and_low_byte_first_under_1234) {
    Bytes out;
    serialize_dispatch(out, std::uint16_t{0x1234}, serialization_properties_in_force);
    Serialization_properties little = serialization_properties_in_force;
    little.byte_order = Byte_order::little_endian;
    serialize_dispatch(out, std::uint16_t{0x1234}, little);
    EXPECT_EQ(out, (Bytes{0x12, 0x34, 0x34, 0x12}));
}

TEST(serialize_dispatch, gate_takes_basic_types_other_than_bool) {
    static_assert(is_basic_non_bool_type_v<std::uint8_t>);
    static_assert(is_basic_non_bool_type_v<std::uint16_t>);
    static_assert(is_basic_non_bool_type_v<std::int64_t>);
    static_assert(is_basic_non_bool_type_v<double>);
    static_assert(!is_basic_non_bool_type_v<bool>);
    static_assert(!is_basic_non_bool_type_v<std::string>);
    static_assert(!is_basic_non_bool_type_v<std::array<std::uint8_t, 1>>);
}

// strings

TEST(write_string, is_a_big_endian_length_field_and_the_bytes) {
    Bytes out;
    write_string(out, "abc", serialization_properties_in_force);
    EXPECT_EQ(out, (Bytes{0x00, 0x00, 0x00, 0x03, 0x61, 0x62, 0x63}));
}

TEST(write_string, empty_string_is_a_length_field_of_zero_alone) {
    Bytes out;
    write_string(out, "", serialization_properties_in_force);
    EXPECT_EQ(out, (Bytes{0x00, 0x00, 0x00, 0x00}));
}

TEST(write_string, bytes_0xff_and_zero_are_copied_as_they_stand_and_counted) {
    Bytes out;
    write_string(out, std::string("\xFF\0x", 3), serialization_properties_in_force);
    EXPECT_EQ(out, (Bytes{0x00, 0x00, 0x00, 0x03, 0xFF, 0x00, 0x78}));
}

TEST(write_string, length_field_takes_the_string_width_as_it_stands) {
    Bytes out;
    write_string(out, "ab", with_string_width(2));
    write_string(out, "c", with_string_width(1));
    EXPECT_EQ(out, (Bytes{0x00, 0x02, 0x61, 0x62, 0x01, 0x63}));
}

TEST(write_string, string_width_0_throws_before_anything_is_appended) {
    Bytes out{0xEE};
    EXPECT_EQ(thrown_text<std::invalid_argument>([&] { write_string(out, "abc", with_string_width(0)); }),
              string_without_length_field);
    EXPECT_EQ(out, (Bytes{0xEE}));
}

TEST(write_string, string_too_long_for_its_length_field_throws_overflow_and_appends_nothing) {
    Bytes out;
    EXPECT_EQ(thrown_text<std::overflow_error>([&] { write_string(out, std::string(256, 'x'), with_string_width(1)); }),
              "Calculated record length does not fit into configured length field");
    EXPECT_TRUE(out.empty());
}

TEST(write_string, unsupported_string_width_throws_invalid_argument) {
    Bytes out;
    EXPECT_EQ(thrown_text<std::invalid_argument>([&] { write_string(out, "a", with_string_width(3)); }),
              "Invalid value for length field size.");
    EXPECT_TRUE(out.empty());
}

// maps from string to string

TEST(write_string_map, empty_map_writes_four_zero_bytes) {
    Bytes out;
    write_string_map(out, Meta_info{}, serialization_properties_in_force);
    EXPECT_EQ(out, (Bytes{0x00, 0x00, 0x00, 0x00}));
}

TEST(write_string_map, entry_a_to_b_writes_14_bytes) {
    Bytes out;
    write_string_map(out, Meta_info{{"a", "b"}}, serialization_properties_in_force);
    EXPECT_EQ(out, (Bytes{0x00, 0x00, 0x00, 0x0A, 0x00, 0x00, 0x00, 0x01, 0x61, 0x00, 0x00, 0x00, 0x01, 0x62}));
}

TEST(write_string_map, entry_of_empty_key_and_value_writes_length_8_and_eight_zero_bytes) {
    Bytes out;
    write_string_map(out, Meta_info{{"", ""}}, serialization_properties_in_force);
    EXPECT_EQ(out, (Bytes{0x00, 0x00, 0x00, 0x08, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}));
}

TEST(write_string_map, entries_inserted_b_then_a_appear_a_first) {
    Meta_info map;
    map.emplace("b", "2");
    map.emplace("a", "1");
    Bytes out;
    write_string_map(out, map, serialization_properties_in_force);
    EXPECT_EQ(out, (Bytes{0x00, 0x00, 0x00, 0x14,                          //
                          0x00, 0x00, 0x00, 0x01, 0x61, 0x00, 0x00, 0x00, 0x01, 0x31,  //
                          0x00, 0x00, 0x00, 0x01, 0x62, 0x00, 0x00, 0x00, 0x01, 0x32}));
}

TEST(write_string_map, length_counts_entries_by_the_string_width_and_the_field_stays_4_bytes) {
    Bytes out;
    write_string_map(out, Meta_info{{"ab", "c"}}, with_string_width(2));
    EXPECT_EQ(out, (Bytes{0x00, 0x00, 0x00, 0x07, 0x00, 0x02, 0x61, 0x62, 0x00, 0x01, 0x63}));
}

TEST(write_string_map, leaves_the_callers_map_untouched) {
    const Meta_info map{{"k", "v"}, {"x", ""}};
    const Meta_info copy = map;
    Bytes out;
    write_string_map(out, map, serialization_properties_in_force);
    EXPECT_EQ(map, copy);
}

TEST(write_string_map, string_width_0_writes_the_map_length_then_throws_at_the_first_key) {
    Bytes out;
    EXPECT_EQ(thrown_text<std::invalid_argument>(
                  [&] { write_string_map(out, Meta_info{{"a", "b"}}, with_string_width(0)); }),
              string_without_length_field);
    EXPECT_EQ(out, (Bytes{0x00, 0x00, 0x00, 0x02})) << "the map's own length field has no test for 0";
}

// byte vectors

TEST(write_byte_vector, empty_vector_writes_four_zero_bytes_and_nothing_else) {
    Bytes out;
    write_byte_vector(out, Bytes{}, serialization_properties_in_force);
    EXPECT_EQ(out, (Bytes{0x00, 0x00, 0x00, 0x00}));
}

TEST(write_byte_vector, writes_its_count_then_its_elements_in_order) {
    Bytes out;
    write_byte_vector(out, Bytes{0x01, 0xFF, 0x00}, serialization_properties_in_force);
    EXPECT_EQ(out, (Bytes{0x00, 0x00, 0x00, 0x03, 0x01, 0xFF, 0x00}));
}

TEST(write_byte_vector, array_width_0_throws_after_the_length_field_is_written) {
    Bytes out;
    EXPECT_EQ(thrown_text<std::invalid_argument>([&] { write_byte_vector(out, Bytes{0x07}, with_array_width(0)); }),
              vector_without_length_field);
    EXPECT_EQ(out, (Bytes{0x00, 0x00, 0x00, 0x01}));
}

TEST(write_byte_vector, length_field_is_4_bytes_whatever_the_array_width) {
    Bytes out;
    write_byte_vector(out, Bytes{0x07}, with_array_width(2));
    EXPECT_EQ(out, (Bytes{0x00, 0x00, 0x00, 0x01, 0x07}));
}

// fixed byte arrays

TEST(write_byte_array, array_of_1_writes_its_length_field_and_its_byte_five_bytes_in_all) {
    Bytes out;
    write_byte_array(out, std::array<std::uint8_t, 1>{0x42}, serialization_properties_in_force);
    EXPECT_EQ(out, (Bytes{0x00, 0x00, 0x00, 0x01, 0x42}));
}

TEST(write_byte_array, uint8_of_the_same_value_writes_one_byte) {
    Bytes out;
    serialize_dispatch(out, std::uint8_t{0x42}, serialization_properties_in_force);
    EXPECT_EQ(out, (Bytes{0x42}));
}

TEST(write_byte_array, array_of_16_writes_length_16_and_the_elements_in_order) {
    std::array<std::uint8_t, 16> value{};
    for (std::size_t index = 0; index < value.size(); ++index) {
        value[index] = static_cast<std::uint8_t>(0xA0 + index);
    }
    Bytes out;
    write_byte_array(out, value, serialization_properties_in_force);
    Bytes expected{0x00, 0x00, 0x00, 0x10};
    expected.insert(expected.end(), value.begin(), value.end());
    EXPECT_EQ(out, expected);
}

TEST(write_byte_array, array_width_0_is_not_tested) {
    Bytes out;
    write_byte_array(out, std::array<std::uint8_t, 1>{0x42}, with_array_width(0));
    EXPECT_EQ(out, (Bytes{0x00, 0x00, 0x00, 0x01, 0x42}));
}

TEST(payload_writer, values_follow_each_other_without_gap) {
    Bytes out;
    write_string_map(out, Meta_info{}, serialization_properties_in_force);
    serialize_dispatch(out, std::uint8_t{0x09}, serialization_properties_in_force);
    write_byte_vector(out, Bytes{0x0A}, serialization_properties_in_force);
    EXPECT_EQ(out, (Bytes{0x00, 0x00, 0x00, 0x00, 0x09, 0x00, 0x00, 0x00, 0x01, 0x0A}));
}

}  // namespace

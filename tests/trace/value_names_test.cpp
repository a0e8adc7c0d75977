// Value naming: top-level keys under "2_data" with their running index and pad, the JSON shape of
// each traced type, and the fields of a generated record under "N_generated_type".
#include "trace/value_names.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <tuple>
#include <vector>

namespace {

using namespace ruv::com::log;

TEST(Make_value_key, number_underscore_and_type_name) {
    EXPECT_EQ(make_value_key(1, "", "map"), "1_map");
    EXPECT_EQ(make_value_key(10, "", "uint8"), "10_uint8");
    EXPECT_EQ(make_value_key(std::numeric_limits<std::uint32_t>::max(), "", "vector"), "4294967295_vector");
}

TEST(Make_value_key, a_longer_pad_holds_the_number_right_aligned) {
    EXPECT_EQ(make_value_key(7, "000", "uint8"), "007_uint8");
    EXPECT_EQ(make_value_key(12, "____", "string"), "__12_string");
}

TEST(Make_value_key, a_pad_no_longer_than_the_number_is_not_used) {
    EXPECT_EQ(make_value_key(12, "00", "array"), "12_array");
    EXPECT_EQ(make_value_key(1234, "00", "array"), "1234_array");
}

TEST(Value_type_names, are_the_whole_vocabulary) {
    EXPECT_STREQ(value_type::uint8, "uint8");
    EXPECT_STREQ(value_type::uint16, "uint16");
    EXPECT_STREQ(value_type::string, "string");
    EXPECT_STREQ(value_type::vector, "vector");
    EXPECT_STREQ(value_type::array, "array");
    EXPECT_STREQ(value_type::map, "map");
    EXPECT_STREQ(value_type::generated_type, "generated_type");
}

TEST(Add_value, stores_under_the_running_index_and_counts_it_on) {
    nlohmann::json data;
    std::uint32_t index = 1;
    add_value(index, data, "", std::string{"text"});
    add_value(index, data, "", "literal");
    add_value(index, data, "", std::uint8_t{255});
    EXPECT_EQ(index, 4u);
    EXPECT_EQ(data.dump(), R"({"1_string":"text","2_string":"literal","3_uint8":255})");
}

TEST(Add_value, the_first_value_makes_a_null_data_an_object) {
    nlohmann::json data;
    ASSERT_TRUE(data.is_null());
    std::uint32_t index = 1;
    add_value(index, data, "", std::uint8_t{0});
    EXPECT_TRUE(data.is_object());
}

TEST(Add_value, a_null_text_throws_invalid_argument) {
    nlohmann::json data;
    std::uint32_t index = 1;
    char const* const text = nullptr;
    try {
        add_value(index, data, "", text);
        FAIL() << "nothing thrown";
    } catch (std::invalid_argument const& error) {
        EXPECT_STREQ(error.what(), "traced text is a null pointer");
    }
    EXPECT_EQ(index, 1u);
}

TEST(Add_value, a_byte_of_255_is_an_unsigned_number_without_quotes) {
    nlohmann::json data;
    std::uint32_t index = 1;
    add_value(index, data, "", std::uint8_t{255});
    EXPECT_EQ(data.dump(), R"({"1_uint8":255})");
    EXPECT_TRUE(data["1_uint8"].is_number_unsigned());
}

TEST(Add_value, a_vector_is_one_number_per_byte_in_order) {
    nlohmann::json data;
    std::uint32_t index = 3;
    add_value(index, data, "", std::vector<std::uint8_t>{0, 1, 128, 255});
    EXPECT_EQ(data.dump(), R"({"3_vector":[0,1,128,255]})");
}

TEST(Add_value, an_empty_vector_is_an_empty_array) {
    nlohmann::json data;
    std::uint32_t index = 3;
    add_value(index, data, "", std::vector<std::uint8_t>{});
    EXPECT_EQ(data.dump(), R"({"3_vector":[]})");
}

TEST(Add_value, an_empty_map_is_an_empty_object) {
    nlohmann::json data;
    std::uint32_t index = 1;
    add_value(index, data, "", std::map<std::string, std::string>{});
    EXPECT_EQ(data.dump(), R"({"1_map":{}})");
}

TEST(Add_value, a_map_lists_its_keys_in_byte_order_whatever_the_order_of_insertion) {
    std::map<std::string, std::string> map;
    map.emplace("tester", "0x0E80");
    map.emplace("Sid", "31");
    map.emplace("did", "C00F");
    nlohmann::json data;
    std::uint32_t index = 1;
    add_value(index, data, "", map);
    EXPECT_EQ(data.dump(), R"({"1_map":{"Sid":"31","did":"C00F","tester":"0x0E80"}})");
}

TEST(Add_value, a_one_byte_array_is_an_array_never_a_bare_number) {
    nlohmann::json data;
    std::uint32_t index = 2;
    add_value(index, data, "", std::array<std::uint8_t, 1>{{9}});
    EXPECT_EQ(data.dump(), R"({"2_array":[9]})");
    EXPECT_TRUE(data["2_array"].is_array());
}

TEST(Add_value, arrays_of_16_and_17_bytes_keep_every_byte_and_trailing_zeros) {
    nlohmann::json data;
    std::uint32_t index = 1;
    add_value(index, data, "", std::array<std::uint8_t, 16>{{1, 2, 3}});
    add_value(index, data, "", std::array<std::uint8_t, 17>{{255}});
    EXPECT_EQ(data.dump(),
              R"({"1_array":[1,2,3,0,0,0,0,0,0,0,0,0,0,0,0,0],)"
              R"("2_array":[255,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0]})");
    EXPECT_EQ(data["2_array"].size(), 17u);
}

TEST(Add_values, stores_a_whole_argument_list_in_order) {
    nlohmann::json data;
    std::uint32_t index = 1;
    add_values(index, data, std::map<std::string, std::string>{{"k", "v"}}, std::uint8_t{4},
               std::vector<std::uint8_t>{5, 6}, std::array<std::uint8_t, 1>{{7}});
    EXPECT_EQ(index, 5u);
    EXPECT_EQ(data.dump(), R"({"1_map":{"k":"v"},"2_uint8":4,"3_vector":[5,6],"4_array":[7]})");
}

TEST(Trace_struct, starts_null_at_index_1_and_the_first_field_makes_an_object) {
    Trace_struct traced;
    EXPECT_TRUE(traced.object.is_null());
    EXPECT_EQ(traced.next_index, 1u);
    add_field(traced, std::uint8_t{1});
    EXPECT_TRUE(traced.object.is_object());
    EXPECT_EQ(traced.next_index, 2u);
}

TEST(Add_field, names_each_type_and_numbers_fields_on) {
    Trace_struct traced;
    add_field(traced, std::uint8_t{255});
    add_field(traced, std::uint16_t{65535});
    add_field(traced, std::vector<std::uint8_t>{});
    add_field(traced, std::array<std::uint8_t, 1>{{0}});
    add_field(traced, std::array<std::uint8_t, 16>{});
    add_field(traced, std::array<std::uint8_t, 17>{});
    EXPECT_EQ(traced.next_index, 7u);
    EXPECT_EQ(traced.object.dump(),
              R"({"1_uint8":255,"2_uint16":65535,"3_vector":[],"4_array":[0],)"
              R"("5_array":[0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0],)"
              R"("6_array":[0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0]})");
}

TEST(Add_field, the_field_number_is_64_bits_wide) {
    Trace_struct traced;
    traced.next_index = std::uint64_t{1} << 40;
    add_field(traced, std::uint8_t{3});
    EXPECT_EQ(traced.object.dump(), R"({"1099511627776_uint8":3})");
}

struct Two_fields {
    std::uint8_t first;
    std::uint16_t second;
    auto fields() const { return std::tie(first, second); }
};

TEST(Add_value, a_generated_record_is_an_object_of_its_fields_numbered_from_1_whatever_stands_outside) {
    nlohmann::json data;
    std::uint32_t index = 5;
    add_value(index, data, "", Two_fields{255, 65535});
    EXPECT_EQ(index, 6u);
    EXPECT_EQ(data.dump(), R"({"5_generated_type":{"1_uint8":255,"2_uint16":65535}})");
}

TEST(Is_generated_record, tells_records_with_fields_from_other_values) {
    EXPECT_TRUE(is_generated_record_v<Two_fields>);
    EXPECT_FALSE(is_generated_record_v<std::string>);
    EXPECT_FALSE(is_generated_record_v<std::vector<std::uint8_t>>);
}

}  // namespace

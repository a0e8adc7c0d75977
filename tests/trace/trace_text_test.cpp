// to_trace_text: the compact rendering of a record, and the library's message in place of a
// record whose text is not valid UTF-8.
#include "trace/trace_text.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace {

using ruv::com::log::to_trace_text;

TEST(Trace_text, renders_compactly_without_spaces_or_indentation) {
    nlohmann::json const record = {{"1_incident", {{"1_id", "x"}, {"4_method_id", 2}}},
                                   {"2_data", {{"1_vector", {1, 2}}}}};
    EXPECT_EQ(to_trace_text(record), R"({"1_incident":{"1_id":"x","4_method_id":2},"2_data":{"1_vector":[1,2]}})");
}

TEST(Trace_text, keeps_non_ascii_text_as_it_is) {
    nlohmann::json const record = {{"1_string", "Schl\xC3\xBCssel \xE2\x82\xAC"}};
    EXPECT_EQ(to_trace_text(record), "{\"1_string\":\"Schl\xC3\xBCssel \xE2\x82\xAC\"}");
}

TEST(Trace_text, lists_keys_in_byte_order_whatever_the_order_of_insertion) {
    nlohmann::json record;
    record["2_data"] = 1;
    record["1_incident"] = 2;
    record["10_uint8"] = 3;
    EXPECT_EQ(to_trace_text(record), R"({"10_uint8":3,"1_incident":2,"2_data":1})");
}

TEST(Trace_text, an_invalid_utf8_byte_gives_the_library_message_with_index_and_byte) {
    nlohmann::json const record = {{"1_map", std::map<std::string, std::string>{{"key", "ab\xFF" "cd"}}}};
    EXPECT_EQ(to_trace_text(record), "[json.exception.type_error.316] invalid UTF-8 byte at index 2: 0xFF");
}

TEST(Trace_text, an_invalid_byte_is_printed_as_two_upper_case_hex_digits) {
    nlohmann::json const record = {{"1_string", "\xC3\x28"}};
    EXPECT_EQ(to_trace_text(record), "[json.exception.type_error.316] invalid UTF-8 byte at index 1: 0x28");
}

TEST(Trace_text, a_cut_utf8_sequence_gives_the_incomplete_string_message) {
    nlohmann::json const record = {{"1_map", std::map<std::string, std::string>{{"key", "abc\xE2\x82"}}}};
    EXPECT_EQ(to_trace_text(record), "[json.exception.type_error.316] incomplete UTF-8 string; last byte: 0x82");
}

}  // namespace

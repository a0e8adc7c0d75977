// Hex text of the command line to bytes, and bytes to the printed form.

#include "host/hex_bytes.h"

#include <gtest/gtest.h>

namespace zevo::host {
namespace {

using Bytes = std::vector<std::uint8_t>;

std::string error_of(const std::vector<std::string>& arguments) {
    try {
        parse_hex_bytes(arguments);
    } catch (const Hex_error& error) {
        return error.what();
    }
    return "no error";
}

TEST(host_hex_bytes, separate_arguments_give_one_byte_each) {
    EXPECT_EQ(parse_hex_bytes({"22", "2C", "56"}), (Bytes{0x22, 0x2C, 0x56}));
}

TEST(host_hex_bytes, one_argument_without_spaces_gives_every_pair) {
    EXPECT_EQ(parse_hex_bytes({"222C56"}), (Bytes{0x22, 0x2C, 0x56}));
}

TEST(host_hex_bytes, one_argument_with_spaces_and_tabs_gives_every_byte) {
    EXPECT_EQ(parse_hex_bytes({"22 2C\t56 "}), (Bytes{0x22, 0x2C, 0x56}));
}

TEST(host_hex_bytes, forms_may_be_mixed) {
    EXPECT_EQ(parse_hex_bytes({"3101", "C0 0F", "00"}), (Bytes{0x31, 0x01, 0xC0, 0x0F, 0x00}));
}

TEST(host_hex_bytes, lower_case_digits_are_accepted) {
    EXPECT_EQ(parse_hex_bytes({"2c", "ff", "aB"}), (Bytes{0x2C, 0xFF, 0xAB}));
}

TEST(host_hex_bytes, empty_arguments_among_others_are_ignored) {
    EXPECT_EQ(parse_hex_bytes({"", "22", " "}), (Bytes{0x22}));
}

TEST(host_hex_bytes, non_hex_digit_is_refused_with_the_token_and_the_character) {
    const std::string message = error_of({"22", "2G"});
    EXPECT_NE(message.find("'2G'"), std::string::npos) << message;
    EXPECT_NE(message.find("'G' is not a hex digit"), std::string::npos) << message;
}

TEST(host_hex_bytes, prefix_0x_is_refused) {
    EXPECT_THROW(parse_hex_bytes({"0x22"}), Hex_error);
}

TEST(host_hex_bytes, odd_number_of_digits_is_refused) {
    const std::string message = error_of({"222"});
    EXPECT_NE(message.find("odd number of hex digits"), std::string::npos) << message;
    EXPECT_THROW(parse_hex_bytes({"22", "2"}), Hex_error);
}

TEST(host_hex_bytes, no_bytes_at_all_is_refused) {
    EXPECT_EQ(error_of({}), "no request bytes given");
    EXPECT_EQ(error_of({"  "}), "no request bytes given");
}

TEST(host_hex_bytes, bytes_print_as_upper_case_pairs_separated_by_spaces) {
    EXPECT_EQ(format_hex_bytes({0x7F, 0x22, 0x10}), "7F 22 10");
    EXPECT_EQ(format_hex_bytes({0x00, 0xab, 0xFF}), "00 AB FF");
}

TEST(host_hex_bytes, no_bytes_print_as_empty_text) {
    EXPECT_EQ(format_hex_bytes({}), "");
}

TEST(host_hex_bytes, printed_bytes_parse_back_to_the_same) {
    const Bytes bytes = {0x31, 0x01, 0xC0, 0x0F, 0x00};
    EXPECT_EQ(parse_hex_bytes({format_hex_bytes(bytes)}), bytes);
}

TEST(host_hex_bytes, value_prints_with_the_given_number_of_digits) {
    EXPECT_EQ(format_hex_value(0x2C56, 4), "2C56");
    EXPECT_EQ(format_hex_value(0x0E80, 4), "0E80");
    EXPECT_EQ(format_hex_value(0x22, 2), "22");
    EXPECT_EQ(format_hex_value(0x5, 2), "05");
    EXPECT_EQ(format_hex_value(0x12345, 4), "2345");
}

}  // namespace
}  // namespace zevo::host

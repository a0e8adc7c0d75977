// The request line syntax shared by zevo-tester and zevo-dm send: request, "=>", expected
// answer with "*" wildcards, comments and blank lines, and the errors it names.

#include "host/expectation.h"

#include <gtest/gtest.h>

namespace zevo::host {
namespace {

TEST(expectation, request_without_expectation) {
    auto line = parse_request_line("  22 F1 90  ");
    ASSERT_TRUE(line);
    EXPECT_EQ(line->request, (std::vector<std::uint8_t>{0x22, 0xF1, 0x90}));
    EXPECT_FALSE(line->expected);
}

TEST(expectation, request_with_wildcards) {
    auto line = parse_request_line("22F190 => 62 f1 90 * *");
    ASSERT_TRUE(line && line->expected);
    EXPECT_EQ(line->expected->text(), "62 F1 90 * *");
    const auto matches = [&](std::vector<std::uint8_t> answer) { return line->expected->matches(&answer); };
    EXPECT_TRUE(matches({0x62, 0xF1, 0x90, 0x00, 0xFF}));
    EXPECT_FALSE(matches({0x62, 0xF1, 0x91, 0x00, 0xFF}));
    EXPECT_FALSE(matches({0x62, 0xF1, 0x90, 0x00}));
    EXPECT_FALSE(matches({0x62, 0xF1, 0x90, 0x00, 0xFF, 0x01}));
}

TEST(expectation, blank_lines_and_comments_carry_nothing) {
    EXPECT_FALSE(parse_request_line(""));
    EXPECT_FALSE(parse_request_line("   \t"));
    EXPECT_FALSE(parse_request_line("# read the VIN"));
}

TEST(expectation, errors_name_the_part) {
    EXPECT_THROW(parse_request_line("22 F1 9 => 62"), Expectation_error);
    EXPECT_THROW(parse_request_line("=> 62"), Expectation_error);
    EXPECT_THROW(parse_request_line("22 F1 90 =>"), Expectation_error);
    try {
        parse_request_line("22 F1 90 => 62 ?? 90");
        FAIL() << "no error";
    } catch (const Expectation_error& error) {
        EXPECT_NE(std::string(error.what()).find("expectation"), std::string::npos);
    }
}

}  // namespace
}  // namespace zevo::host

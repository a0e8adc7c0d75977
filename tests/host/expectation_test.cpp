// Requests with expectations as written on the command line: parsing, wildcards, "..." and
// "none", and the errors.

#include "host/expectation.h"

#include <gtest/gtest.h>

namespace zevo::host {
namespace {

using Bytes = std::vector<std::uint8_t>;

std::string error_of(const std::string& text) {
    try {
        parse_scripted_request(text);
    } catch (const Expectation_error& error) {
        return error.what();
    }
    return "no error";
}

TEST(host_expectation, request_and_expectation_split_at_the_arrow) {
    const Scripted_request scripted = parse_scripted_request("22 2C 56 => 62 2C 56 * * *");
    EXPECT_EQ(scripted.request, (Bytes{0x22, 0x2C, 0x56}));
    ASSERT_TRUE(scripted.expected);
    EXPECT_EQ(scripted.expected->text(), "62 2C 56 * * *");
    EXPECT_FALSE(parse_scripted_request("222C56").expected);
}

TEST(host_expectation, a_wildcard_matches_any_one_byte_and_lengths_must_agree) {
    const Expectation expectation = parse_expectation("62 2C 56 * * *");
    const Bytes answer{0x62, 0x2C, 0x56, 0x00, 0x00, 0x02};
    EXPECT_TRUE(expectation.matches(&answer));
    const Bytes shorter{0x62, 0x2C, 0x56, 0x00, 0x00};
    const Bytes longer{0x62, 0x2C, 0x56, 0x00, 0x00, 0x02, 0x03};
    const Bytes other{0x62, 0x2C, 0x57, 0x00, 0x00, 0x02};
    EXPECT_FALSE(expectation.matches(&shorter));
    EXPECT_FALSE(expectation.matches(&longer));
    EXPECT_FALSE(expectation.matches(&other));
    EXPECT_FALSE(expectation.matches(nullptr)) << "no answer is not an answer";
}

TEST(host_expectation, dots_match_any_tail_and_none_only_no_answer) {
    const Expectation tail = parse_expectation("71 01 ...");
    const Bytes bare{0x71, 0x01};
    const Bytes more{0x71, 0x01, 0xC0, 0x0F};
    const Bytes negative{0x7F, 0x31, 0x12};
    EXPECT_TRUE(tail.matches(&bare));
    EXPECT_TRUE(tail.matches(&more));
    EXPECT_FALSE(tail.matches(&negative));
    EXPECT_EQ(tail.text(), "71 01 ...");
    const Expectation none = parse_expectation(" none ");
    EXPECT_TRUE(none.matches(nullptr));
    EXPECT_FALSE(none.matches(&bare));
    EXPECT_EQ(none.text(), "none");
    EXPECT_EQ(parse_expectation("7F31 12").text(), "7F 31 12");
}

TEST(host_expectation, malformed_text_names_the_piece) {
    EXPECT_EQ(error_of("22 2C 56 =>"), "an empty expectation after '=>' (write 'none' for no answer)");
    EXPECT_EQ(error_of("22 2C 56 => 62 ... 2C"), "'...' stands only at the end of an expectation");
    EXPECT_EQ(error_of("22 2C 56 => 62 none"), "'none' stands alone: no answer at all");
    EXPECT_EQ(error_of("22 2C 56 => 6 2"),
              "expectation: '6' has an odd number of hex digits; write every byte as two digits (e.g. 02) "
              "(bytes, '*' for any byte, '...' at the end, or 'none')");
    EXPECT_EQ(error_of("=> 62"), "no request bytes given");
    EXPECT_EQ(error_of("2G => 62"), "'2G' is not hex: 'G' is not a hex digit");
}

}  // namespace
}  // namespace zevo::host

// The session's plain steps as zevo-tester request lines: only steps a tester can run on its own,
// each under its title, and every line read back by the tester's parser as the same request with
// an expectation that takes exactly the expected answer.

#include <gtest/gtest.h>

#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "host/expectation.h"
#include "host/session_request_file.h"

namespace zevo::host {
namespace {

using Kind = sim::Session_step::Kind;

sim::Session_step step(std::string title, Kind kind, std::vector<std::uint8_t> request,
                       std::vector<std::uint8_t> expected) {
    sim::Session_step made;
    made.title = std::move(title);
    made.kind = kind;
    made.request = std::move(request);
    made.expected = std::move(expected);
    return made;
}

const std::vector<sim::Session_step> steps = {
    step("read 0x2C60 key list", Kind::send, {0x22, 0x2C, 0x60}, {0x62, 0x2C, 0x60, 0x08, 0x02}),
    step("held start", Kind::send_and_cancel, {0x31, 0x01, 0x06, 0x48, 0x01}, {0x71, 0x01, 0x06, 0x48}),
    step("read while withdrawn", Kind::withdraw_then_send, {0x22, 0x2C, 0x56}, {0x7F, 0x22, 0x10}),
    step("read offered again", Kind::offer_then_send, {0x22, 0x2C, 0x56}, {0x62, 0x2C, 0x56, 0x00}),
    step("unserved", Kind::send, {0x22, 0x2C, 0x58}, {0x7F, 0x22, 0x31}),
};

TEST(tester_request_file, holds_the_plain_steps_only_each_under_its_title) {
    EXPECT_EQ(tester_request_file(steps),
              "# read 0x2C60 key list\n22 2C 60 => 62 2C 60 08 02\n"
              "# unserved\n22 2C 58 => 7F 22 31\n");
    EXPECT_EQ(tester_request_count(steps), 2u);
}

TEST(tester_request_file, every_line_parses_back_to_its_request_and_exact_expectation) {
    std::istringstream file(tester_request_file(steps));
    std::vector<Scripted_request> parsed;
    for (std::string line; std::getline(file, line);) {
        if (std::optional<Scripted_request> request = parse_request_line(line)) parsed.push_back(*request);
    }
    ASSERT_EQ(parsed.size(), tester_request_count(steps));
    const sim::Session_step* plain[] = {&steps[0], &steps[4]};
    for (std::size_t i = 0; i < parsed.size(); ++i) {
        EXPECT_EQ(parsed[i].request, plain[i]->request);
        ASSERT_TRUE(parsed[i].expected.has_value());
        EXPECT_TRUE(parsed[i].expected->matches(&plain[i]->expected));
        std::vector<std::uint8_t> longer = plain[i]->expected;
        longer.push_back(0x00);
        EXPECT_FALSE(parsed[i].expected->matches(&longer)) << "the expectation must be exact";
    }
}

TEST(tester_request_file, no_plain_step_gives_an_empty_file) {
    const std::vector<sim::Session_step> special(steps.begin() + 1, steps.begin() + 4);
    EXPECT_EQ(tester_request_file(special), "");
    EXPECT_EQ(tester_request_count(special), 0u);
}

}  // namespace
}  // namespace zevo::host

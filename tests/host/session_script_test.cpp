// The scripted session as data: its steps, their order and their expectations.

#include "host/session_script.h"

#include <gtest/gtest.h>

namespace zevo::host {
namespace {

using Bytes = std::vector<std::uint8_t>;

const std::vector<std::uint16_t> dids = {0x2C60, 0x2C57, 0x2C56, 0x2C55};
const std::vector<std::uint16_t> rids = {0xC00B, 0xC00C, 0xC00D, 0xC00F, 0xC00A, 0x0648};

TEST(host_session_script, has_a_read_per_did_two_steps_per_routine_and_two_checks) {
    EXPECT_EQ(make_session_script(dids, rids).size(), 4u + 2u * 6u + 2u);
}

TEST(host_session_script, reads_every_did_in_table_order_first) {
    const std::vector<Session_step> steps = make_session_script(dids, rids);
    for (std::size_t i = 0; i < dids.size(); ++i) {
        const Bytes request = {0x22, static_cast<std::uint8_t>(dids[i] >> 8), static_cast<std::uint8_t>(dids[i])};
        EXPECT_EQ(steps[i].request, request) << i;
    }
    EXPECT_EQ(steps[2].title, "read 0x2C56");
}

TEST(host_session_script, starts_each_routine_with_its_options_then_asks_its_results) {
    const std::vector<Session_step> steps = make_session_script(dids, rids);
    for (std::size_t i = 0; i < rids.size(); ++i) {
        const auto high = static_cast<std::uint8_t>(rids[i] >> 8);
        const auto low = static_cast<std::uint8_t>(rids[i]);
        Bytes start = {0x31, 0x01, high, low};
        const Bytes options = session_start_options(rids[i]);
        start.insert(start.end(), options.begin(), options.end());
        EXPECT_EQ(steps[4 + 2 * i].request, start) << i;
        EXPECT_EQ(steps[4 + 2 * i + 1].request, (Bytes{0x31, 0x03, high, low})) << i;
    }
}

TEST(host_session_script, start_options_have_the_lengths_the_routines_decode) {
    EXPECT_GE(session_start_options(0x0648).size(), 1u);
    EXPECT_GE(session_start_options(0xC00A).size(), 1u);
    EXPECT_EQ(session_start_options(0xC00B).size(), 17u);
    EXPECT_EQ(session_start_options(0xC00C).size(), 17u);
    EXPECT_EQ(session_start_options(0xC00D).size(), 1u);
    EXPECT_EQ(session_start_options(0xC00F).size(), 1u);
    EXPECT_EQ(session_start_options(0x1234), (Bytes{0x00}));
}

TEST(host_session_script, without_services_every_served_step_expects_7f_sid_10) {
    const std::vector<Session_step> steps = make_session_script(dids, rids);
    for (std::size_t i = 0; i < 16; ++i) {
        EXPECT_EQ(steps[i].expected, negative_response(steps[i].request[0], Negative_response_code::general_reject))
            << steps[i].title;
    }
}

TEST(host_session_script, ends_with_an_unserved_did_expecting_0x31_and_a_short_read_expecting_0x13) {
    const std::vector<Session_step> steps = make_session_script(dids, rids);
    ASSERT_GE(steps.size(), 2u);
    EXPECT_EQ(steps[steps.size() - 2].request, (Bytes{0x22, 0x2C, 0x58}));
    EXPECT_EQ(steps[steps.size() - 2].expected.bytes, (Bytes{0x7F, 0x22, 0x31}));
    EXPECT_EQ(steps.back().request, (Bytes{0x22, 0x2C}));
    EXPECT_EQ(steps.back().expected.bytes, (Bytes{0x7F, 0x22, 0x13}));
}

TEST(host_session_script, unserved_did_avoids_every_served_one) {
    EXPECT_EQ(unserved_data_identifier({0x2C58, 0x2C59, 0x2C60}), 0x2C5A);
    EXPECT_EQ(unserved_data_identifier({}), 0x2C58);
}

TEST(host_session_script, served_steps_take_their_expectation_from_the_one_given) {
    std::vector<Bytes> asked;
    const Served_expectation with_services = [&](const Bytes& request) {
        asked.push_back(request);
        return Uds_response{{static_cast<std::uint8_t>(request[0] + 0x40), 0xAA}, false, {}};
    };
    const std::vector<Session_step> steps = make_session_script({0x2C56}, {0xC00F}, with_services);
    ASSERT_EQ(steps.size(), 5u);
    EXPECT_EQ(asked.size(), 3u);
    EXPECT_EQ(steps[0].expected.bytes, (Bytes{0x62, 0xAA}));
    EXPECT_EQ(steps[1].expected.bytes, (Bytes{0x71, 0xAA}));
    EXPECT_EQ(steps[2].expected.bytes, (Bytes{0x71, 0xAA}));
    EXPECT_EQ(steps[3].expected.bytes, (Bytes{0x7F, 0x22, 0x31}));  // decided by the host, not by a service
}

}  // namespace
}  // namespace zevo::host

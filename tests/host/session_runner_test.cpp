// Running the scripted session through a dispatcher with fake extensions: the printed exchange,
// the comparison with the expectations and the report.

#include "host/session_runner.h"

#include <gtest/gtest.h>

#include <sstream>

#include "fake_extensions.h"

namespace zevo::host {
namespace {

using testing::Fake_data_identifier;
using testing::Fake_routine;

class host_session_runner : public ::testing::Test {
protected:
    host_session_runner() {
        training_counter.read_result = 0x10;
        get_state.start_result = 0x10;
        get_state.results_result = 0x10;
        dispatcher.add_data_identifier(0x2C56, training_counter);
        dispatcher.add_routine(0xC00F, get_state);
    }

    Fake_data_identifier training_counter;
    Fake_routine get_state;
    Uds_dispatcher dispatcher{0x0E80};
    std::ostringstream out;
};

TEST_F(host_session_runner, every_step_as_expected_passes_and_prints_each_exchange) {
    const Session_report report = run_session(dispatcher, make_session_script({0x2C56}, {0xC00F}), out);
    EXPECT_TRUE(report.passed());
    EXPECT_EQ(report.steps, 5u);
    EXPECT_EQ(out.str(),
              "-> 22 2C 56\n<- 7F 22 10\n"
              "-> 31 01 C0 0F 00\n<- 7F 31 10\n"
              "-> 31 03 C0 0F\n<- 7F 31 10\n"
              "-> 22 2C 58\n<- 7F 22 31\n"
              "-> 22 2C\n<- 7F 22 13\n"
              "session: all 5 responses as expected\n");
}

TEST_F(host_session_runner, answers_not_as_expected_are_reported_by_step) {
    training_counter.read_result = 0;
    training_counter.record = {0x05};
    const Session_report report = run_session(dispatcher, make_session_script({0x2C56}, {0xC00F}), out);
    EXPECT_FALSE(report.passed());
    ASSERT_EQ(report.mismatches.size(), 1u);
    EXPECT_EQ(report.mismatches[0], "read 0x2C56: sent 22 2C 56, expected 7F 22 10, got 62 2C 56 05");
    EXPECT_NE(out.str().find("session: 1 of 5 responses not as expected:\n  read 0x2C56:"), std::string::npos)
        << out.str();
}

TEST_F(host_session_runner, expected_suppressed_answer_matches_a_suppressed_one) {
    get_state.start_result = 0;
    const std::vector<Session_step> steps = {{"silent start", {0x31, 0x81, 0xC0, 0x0F, 0x00}, suppressed_response()}};
    EXPECT_TRUE(run_session(dispatcher, steps, out).passed());
    EXPECT_EQ(out.str(),
              "-> 31 81 C0 0F 00\n<- (no response: positive response suppressed by the request)\n"
              "session: all 1 responses as expected\n");
}

TEST_F(host_session_runner, a_throwing_job_is_noted_under_its_answer) {
    training_counter.throw_in_job = true;
    const std::vector<Session_step> steps = {
        {"read", {0x22, 0x2C, 0x56}, negative_response(0x22, Negative_response_code::general_reject)}};
    EXPECT_TRUE(run_session(dispatcher, steps, out).passed());
    EXPECT_NE(out.str().find("<- 7F 22 10\n   (the job threw: read broke)\n"), std::string::npos) << out.str();
}

TEST(host_session_runner_describe, suppressed_answer_is_described_not_printed_as_bytes) {
    EXPECT_EQ(describe_response(suppressed_response()), "(no response: positive response suppressed by the request)");
    EXPECT_EQ(describe_response(Uds_response{{0x71, 0x01, 0xC0, 0x0F}, false, {}}), "71 01 C0 0F");
}

}  // namespace
}  // namespace zevo::host

// Running a scripted session through the UDS server with fake extensions and fake simulator
// controls: the printed exchange, the comparison with the expectations, the cancel step, the
// withdraw and offer steps, and the report. The server's clock stands still: no 0x78 comes.

#include "host/session_runner.h"

#include <gtest/gtest.h>

#include <sstream>

#include "fake_extensions.h"
#include "held_fakes.h"
#include "host/uds_server/diagnostic_description.h"
#include "host/uds_server/timer_queue.h"

namespace zevo::host {
namespace {

using testing::Fake_data_identifier;
using testing::Held_data_identifier;
using testing::Held_routine;
using Step = sim::Session_step;
using Kind = sim::Session_step::Kind;
using namespace std::chrono_literals;

Step send_step(std::string title, std::vector<std::uint8_t> request, std::vector<std::uint8_t> expected) {
    Step step;
    step.title = std::move(title);
    step.request = std::move(request);
    step.expected = std::move(expected);
    return step;
}

Step special_step(Kind kind, std::uint16_t identifier, std::string title, std::vector<std::uint8_t> request,
                  std::vector<std::uint8_t> expected) {
    Step step = send_step(std::move(title), std::move(request), std::move(expected));
    step.kind = kind;
    step.identifier = identifier;
    return step;
}

class host_session_runner : public ::testing::Test {
protected:
    host_session_runner() {
        dispatcher.add_data_identifier(0x2C56, training_counter);
        dispatcher.add_data_identifier(0x2C55, throwing_vin);
        dispatcher.add_routine(0xC00A, download_container);
        throwing_vin.throw_in_job = true;
        settings.discovery_timeout = 10s;
        settings.pending_call_timeout = 10s;
        controls.withdraw = [this](std::uint16_t identifier) {
            withdrawn.push_back(identifier);
            training_counter.job.found = false;
        };
        controls.offer = [this](std::uint16_t identifier) {
            offered.push_back(identifier);
            training_counter.job.found = true;
        };
        controls.wait_for_pending_call = [this](std::uint16_t identifier, sim::Method method,
                                                std::chrono::milliseconds timeout) {
            EXPECT_EQ(identifier, 0xC00A);
            EXPECT_EQ(method, sim::Method::start);
            return download_container.job.wait_until_holding(timeout);
        };
    }

    Session_report run(const std::vector<Step>& steps, const Stop_request& stop = {}) {
        return run_session(host, steps, controls, settings, out, stop);
    }

    Held_data_identifier training_counter;
    Fake_data_identifier throwing_vin;
    Held_routine download_container;
    Uds_dispatcher dispatcher{0x0E80};
    Manual_timer_queue timers;
    Uds_server server{dispatcher, default_description(), timers};
    Synchronous_tester tester{server, 0x0E80};
    Session_host host{server, tester, [this](std::uint16_t id) { return dispatcher.has_found_service(id); }};
    Session_controls controls;
    Session_settings settings;
    std::vector<std::uint16_t> withdrawn;
    std::vector<std::uint16_t> offered;
    std::ostringstream out;
};

TEST_F(host_session_runner, every_step_as_expected_passes_and_prints_title_request_and_answer) {
    const Session_report report = run({send_step("read 0x2C56", {0x22, 0x2C, 0x56}, {0x62, 0x2C, 0x56, 0x00, 0x05}),
                                       send_step("unknown DID", {0x22, 0x2C, 0x58}, {0x7F, 0x22, 0x31})});
    EXPECT_TRUE(report.passed());
    EXPECT_EQ(report.steps, 2u);
    EXPECT_EQ(out.str(),
              "# read 0x2C56\n-> 22 2C 56\n<- 62 2C 56 00 05\n"
              "# unknown DID\n-> 22 2C 58\n<- 7F 22 31\n"
              "session: all 2 responses as expected\n");
}

TEST_F(host_session_runner, a_mismatch_prints_the_expected_bytes_and_the_session_goes_on) {
    const Session_report report = run({send_step("read 0x2C56", {0x22, 0x2C, 0x56}, {0x62, 0x2C, 0x56, 0x00, 0x06}),
                                       send_step("unknown DID", {0x22, 0x2C, 0x58}, {0x7F, 0x22, 0x31})});
    EXPECT_FALSE(report.passed());
    EXPECT_EQ(report.steps, 2u);
    ASSERT_EQ(report.mismatches.size(), 1u);
    EXPECT_EQ(report.mismatches[0], "read 0x2C56: sent 22 2C 56, expected 62 2C 56 00 06, got 62 2C 56 00 05");
    EXPECT_EQ(out.str(),
              "# read 0x2C56\n-> 22 2C 56\n<- 62 2C 56 00 05\n   expected 62 2C 56 00 06\n"
              "# unknown DID\n-> 22 2C 58\n<- 7F 22 31\n"
              "session: 1 of 2 steps not as expected:\n"
              "  read 0x2C56: sent 22 2C 56, expected 62 2C 56 00 06, got 62 2C 56 00 05\n");
}

TEST_F(host_session_runner, a_throwing_job_is_noted_under_its_answer) {
    EXPECT_TRUE(run({send_step("read", {0x22, 0x2C, 0x55}, {0x7F, 0x22, 0x10})}).passed());
    EXPECT_NE(out.str().find("<- 7F 22 10\n   (the job threw: read broke)\n"), std::string::npos) << out.str();
}

TEST_F(host_session_runner, send_and_cancel_cancels_the_job_once_the_service_holds_the_call) {
    download_container.job.hold = true;
    Step step = special_step(Kind::send_and_cancel, 0xC00A, "cancel a slow start", {0x31, 0x01, 0xC0, 0x0A, 0x01},
                             {0x71, 0x01, 0xC0, 0x0A});
    step.method = sim::Method::start;
    const Session_report report = run({step});
    EXPECT_TRUE(report.passed()) << out.str();
    EXPECT_EQ(download_container.job.cancels(), 1);
    EXPECT_EQ(out.str(),
              "# cancel a slow start\n-> 31 01 C0 0A 01\n"
              "   the service holds the Start call: cancelling the job\n"
              "<- (cancelled)\n"
              "session: all 1 responses as expected\n");
}

TEST_F(host_session_runner, send_and_cancel_without_a_held_call_is_a_mismatch_and_still_ends) {
    settings.pending_call_timeout = 1ms;
    Step step = special_step(Kind::send_and_cancel, 0xC00A, "cancel a slow start", {0x31, 0x01, 0xC0, 0x0A, 0x01},
                             {0x71, 0x01, 0xC0, 0x0A});
    step.method = sim::Method::start;
    const Session_report report = run({step});  // the job answers at once: nothing holds it
    EXPECT_FALSE(report.passed());
    // Whether the cancel still catches the running job depends on timing; when it does not,
    // the positive answer is a second mismatch, since the host meant to cancel.
    ASSERT_GE(report.mismatches.size(), 1u);
    ASSERT_LE(report.mismatches.size(), 2u);
    EXPECT_EQ(report.mismatches[0], "cancel a slow start: the service did not hold the call within 1 ms");
    if (report.mismatches.size() == 2) {
        EXPECT_EQ(report.mismatches[1],
                  "cancel a slow start: sent 31 01 C0 0A 01, expected (cancelled), got 71 01 C0 0A");
    }
    EXPECT_NE(out.str().find("   the service did not hold a Start call within 1 ms: cancelling the job anyway\n"),
              std::string::npos)
        << out.str();
}

TEST_F(host_session_runner, withdraw_then_send_waits_until_the_extension_has_lost_its_service) {
    const Session_report report = run({special_step(Kind::withdraw_then_send, 0x2C56, "read without service",
                                                    {0x22, 0x2C, 0x56}, {0x7F, 0x22, 0x10})});
    EXPECT_TRUE(report.passed()) << out.str();
    EXPECT_EQ(withdrawn, (std::vector<std::uint16_t>{0x2C56}));
    EXPECT_EQ(out.str().rfind("# read without service\n   withdrew 0x2C56\n   its extension lost the service after ", 0),
              0u)
        << out.str();
    EXPECT_NE(out.str().find(" ms\n-> 22 2C 56\n<- 7F 22 10\n"), std::string::npos) << out.str();
}

TEST_F(host_session_runner, offer_then_send_waits_until_the_extension_has_found_its_service) {
    training_counter.job.found = false;
    const Session_report report = run({special_step(Kind::offer_then_send, 0x2C56, "read after offer",
                                                    {0x22, 0x2C, 0x56}, {0x62, 0x2C, 0x56, 0x00, 0x05})});
    EXPECT_TRUE(report.passed()) << out.str();
    EXPECT_EQ(offered, (std::vector<std::uint16_t>{0x2C56}));
    EXPECT_NE(out.str().find("   offered 0x2C56\n   its extension found the service after "), std::string::npos)
        << out.str();
}

TEST_F(host_session_runner, an_extension_that_never_loses_its_service_is_a_mismatch) {
    settings.discovery_timeout = 2ms;
    controls.withdraw = [](std::uint16_t) {};
    const Session_report report = run({special_step(Kind::withdraw_then_send, 0x2C56, "read without service",
                                                    {0x22, 0x2C, 0x56}, {0x7F, 0x22, 0x10})});
    EXPECT_FALSE(report.passed());
    ASSERT_EQ(report.mismatches.size(), 2u) << "the wait and the answer";
    EXPECT_EQ(report.mismatches[0], "read without service: the extension of 0x2C56 had not lost its service within 2 ms");
    EXPECT_NE(out.str().find("   its extension had not lost the service after "), std::string::npos) << out.str();
    EXPECT_NE(out.str().find("session: 1 of 1 steps not as expected:\n"), std::string::npos) << out.str();
}

TEST_F(host_session_runner, stop_request_ends_the_session_between_steps) {
    int asked = 0;
    const Session_report report = run({send_step("read 0x2C56", {0x22, 0x2C, 0x56}, {0x62, 0x2C, 0x56, 0x00, 0x05}),
                                       send_step("unknown DID", {0x22, 0x2C, 0x58}, {0x7F, 0x22, 0x31})},
                                      [&] { return ++asked > 1; });
    EXPECT_TRUE(report.interrupted);
    EXPECT_FALSE(report.passed());
    EXPECT_EQ(report.steps, 1u);
    EXPECT_NE(out.str().find("session: interrupted after 1 of 2 steps\n"), std::string::npos) << out.str();
}

TEST_F(host_session_runner, a_suppressed_answer_is_printed_as_such_never_as_bytes) {
    const Session_report report = run({send_step("start, suppressed", {0x31, 0x81, 0xC0, 0x0A, 0x01}, {})});
    EXPECT_FALSE(report.passed());
    EXPECT_NE(out.str().find("<- (no response: suppressed)\n   expected \n"), std::string::npos) << out.str();
}

}  // namespace
}  // namespace zevo::host

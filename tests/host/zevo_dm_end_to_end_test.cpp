// Runs the built zevo-dm as a tester would, with the plug-in built in this tree and the embedded
// simulator: what it prints and how it exits for a send, the scripted session, each kind of
// fault a scenario file injects, Ctrl-C during a held job, and bad options and scenario files.

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "host/hex_bytes.h"
#include "sim/session_plan.h"
#include "zevo_dm_process.h"

namespace zevo::host {
namespace {

using testing::Run_result;
using testing::run_zevo_dm;
using testing::Zevo_dm_process;
using namespace std::chrono_literals;

/// P2 for the tests that compare whole outputs: a loaded machine may take longer than the default
/// 50 ms for a plain read, and then 7F 22 78 would stand before the answer.
const char* const slow_machine_p2 = "5000";

/// The final answer line of the last request that `out` shows: the text of its last "<- " line.
std::string last_answer(const std::string& out) {
    const std::size_t arrow = out.rfind("<- ");
    if (arrow == std::string::npos) return "(no answer line in: " + out + ")";
    const std::size_t end = out.find('\n', arrow);
    return out.substr(arrow + 3, end == std::string::npos ? std::string::npos : end - arrow - 3);
}

/// Writes scenario files into a directory of its own, removed at the end.
class host_zevo_dm : public ::testing::Test {
protected:
    host_zevo_dm() {
        char pattern[] = "/tmp/zevo_dm_e2e_XXXXXX";
        if (mkdtemp(pattern) == nullptr) ADD_FAILURE() << "mkdtemp failed";
        directory_ = pattern;
    }
    ~host_zevo_dm() override {
        for (const std::string& file : files_) std::remove(file.c_str());
        rmdir(directory_.c_str());
    }

    std::string scenario_file(const std::string& json) {
        const std::string path = directory_ + "/scenario_" + std::to_string(files_.size()) + ".json";
        std::ofstream(path) << json;
        files_.push_back(path);
        return path;
    }

    /// The answer to `request` from a simulator running `faults` (a JSON array).
    Run_result send_with_faults(const std::string& faults, const std::vector<std::string>& request,
                                const std::vector<std::string>& options = {}) {
        std::vector<std::string> arguments = {"--scenario", scenario_file(R"({"faults": )" + faults + "}")};
        arguments.insert(arguments.end(), options.begin(), options.end());
        arguments.push_back("send");
        arguments.insert(arguments.end(), request.begin(), request.end());
        return run_zevo_dm(arguments);
    }

private:
    std::string directory_;
    std::vector<std::string> files_;
};

// ---- send against the embedded simulator

TEST_F(host_zevo_dm, send_22_2c_56_prints_the_training_counter_record) {
    const Run_result run = run_zevo_dm({"--p2", slow_machine_p2, "send", "22", "2C", "56"});
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_EQ(run.out.rfind("-> 22 2C 56\n<- 62 2C 56 ", 0), 0u) << run.out;
    EXPECT_EQ(run.out.back(), '\n');
    EXPECT_EQ(run.err, "");
}

TEST_F(host_zevo_dm, send_takes_the_request_as_one_argument) {
    const std::string separate = run_zevo_dm({"--p2", slow_machine_p2, "send", "22", "2C", "60"}).out;
    EXPECT_EQ(run_zevo_dm({"--p2", slow_machine_p2, "send", "222C60"}).out, separate);
    EXPECT_EQ(run_zevo_dm({"--p2", slow_machine_p2, "send", "22 2C 60"}).out, separate);
}

TEST_F(host_zevo_dm, send_of_an_unserved_did_prints_7f_22_31) {
    EXPECT_EQ(last_answer(run_zevo_dm({"send", "22", "2C", "58"}).out), "7F 22 31");
}

TEST_F(host_zevo_dm, send_of_a_start_too_short_for_its_routine_prints_7f_31_13) {
    EXPECT_EQ(last_answer(run_zevo_dm({"send", "31", "01", "C0", "0B", "01"}).out), "7F 31 13");
}

TEST_F(host_zevo_dm, send_with_explicit_plugin_and_instance_serves_that_instance) {
    const Run_result run = run_zevo_dm({"--p2", slow_machine_p2, "--plugin", ZEVO_TEST_PLUGIN_PATH, "--instance", "Instance_2", "send", "22", "2C", "56"});
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_EQ(run.out.rfind("-> 22 2C 56\n<- 62 2C 56 ", 0), 0u) << run.out;
}

TEST_F(host_zevo_dm, without_simulator_and_without_waiting_every_served_identifier_answers_0x10) {
    const Run_result run = run_zevo_dm({"--no-simulator", "--discovery-timeout", "0", "send", "22", "2C", "56"});
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_EQ(last_answer(run.out), "7F 22 10");
}

TEST_F(host_zevo_dm, services_not_found_within_the_discovery_timeout_exit_3_naming_them) {
    const Run_result run = run_zevo_dm({"--no-simulator", "--discovery-timeout", "100", "send", "22", "2C", "56"});
    EXPECT_EQ(run.exit_code, 3);
    EXPECT_EQ(run.out, "");
    EXPECT_NE(run.err.find("zevo-dm: no service found within 100 ms for 0x2C60, 0x2C57, 0x2C56, 0x2C55, 0xC00B, "
                           "0xC00C, 0xC00D, 0xC00F, 0xC00A, 0x0648 (instance \"1\", --no-simulator: nothing in this "
                           "process offers them)"),
              std::string::npos)
        << run.err;
}

// ---- the UDS server behind send: the description, response pending, several requests

TEST_F(host_zevo_dm, send_of_several_requests_with_expectations_met_exits_0) {
    const Run_result run = run_zevo_dm({"--p2", slow_machine_p2, "send", "2E 2C 55 01 02 => 7F 2E 31", "31 02 C0 0F => 7F 31 12",
                                        "22 2C 56 => 62 2C 56 * * *", "31 81 C0 0F 00 => none", "10 03 => 50 03 ..."});
    EXPECT_EQ(run.exit_code, 0) << run.out << run.err;
    EXPECT_EQ(run.out,
              "-> 2E 2C 55 01 02\n<- 7F 2E 31\n"
              "-> 31 02 C0 0F\n<- 7F 31 12\n"
              "-> 22 2C 56\n<- 62 2C 56 00 00 02\n"
              "-> 31 81 C0 0F 00\n<- (no response: suppressed)\n"
              "-> 10 03\n<- 50 03 13 88 01 F4\n");  // P2 of 5000 ms in the timing record
}

TEST_F(host_zevo_dm, send_with_an_unexpected_answer_says_what_was_expected_goes_on_and_exits_1) {
    const Run_result run = run_zevo_dm({"--p2", slow_machine_p2, "send", "22 2C 56 => 62 2C 57 ...", "22 2C 60 => 62 2C 60 ..."});
    EXPECT_EQ(run.exit_code, 1) << run.out << run.err;
    EXPECT_EQ(run.out.rfind("-> 22 2C 56\n<- 62 2C 56 00 00 02\n   expected 62 2C 57 ...\n-> 22 2C 60\n<- 62 2C 60 ", 0),
              0u)
        << run.out;
    EXPECT_EQ(run.out.find("expected 62 2C 60"), std::string::npos) << run.out;
}

TEST_F(host_zevo_dm, a_slow_service_gives_7f_78_before_its_answer) {
    const Run_result run =
        send_with_faults(R"([{"identifier": "0x2C56", "method": "read", "delay_ms": 800}])", {"22 2C 56 => 62 2C 56 ..."});
    EXPECT_EQ(run.exit_code, 0) << run.out << run.err;
    EXPECT_EQ(run.out, "-> 22 2C 56\n<- 7F 22 78\n<- 62 2C 56 00 00 02\n");
}

TEST_F(host_zevo_dm, a_description_that_allows_a_write_lets_it_reach_the_plugin) {
    const std::string description = scenario_file(R"({"data_identifiers": [{"id": "0x2C55", "read": ["default"],
                                                      "write": ["extended"], "write_length": 2}]})");
    const Run_result run = run_zevo_dm({"--description", description, "send", "2E 2C 55 01 02 => 7F 2E 31",
                                        "10 03 => 50 03 ...", "2E 2C 55 01 => 7F 2E 13", "2E 2C 55 01 02 => 6E 2C 55",
                                        "22 2C 56 => 7F 22 31"});
    EXPECT_EQ(run.exit_code, 0) << run.out << run.err;
}

TEST_F(host_zevo_dm, description_file_with_a_bad_value_exits_2_naming_its_json_path) {
    const std::string description =
        scenario_file(R"({"routines": [{"id": "0xC00F", "sessions": ["programming"], "sub_functions": []}]})");
    const Run_result run = run_zevo_dm({"--description", description, "send", "22", "2C", "56"});
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_EQ(run.err, "zevo-dm: description " + description +
                           ": $.routines[0].sessions[0]: expected \"default\" or \"extended\"\n");
    EXPECT_EQ(run.out, "");
}

// ---- the scripted session

TEST_F(host_zevo_dm, session_prints_every_step_with_the_expected_answer_and_exits_0) {
    const std::vector<sim::Session_step> steps = sim::default_session();
    const Run_result run = run_zevo_dm({"session"});
    EXPECT_EQ(run.exit_code, 0) << run.out << run.err;
    std::size_t position = 0;
    for (const sim::Session_step& step : steps) {
        const std::string exchange = "-> " + format_hex_bytes(step.request) + "\n";
        const std::string title = "# " + step.title + "\n";
        position = run.out.find(title, position);
        ASSERT_NE(position, std::string::npos) << "step '" << step.title << "' missing or out of order\n" << run.out;
        const std::size_t sent = run.out.find(exchange, position);
        ASSERT_NE(sent, std::string::npos) << step.title << "\n" << run.out;
        // The answers follow the request: any 7F 31 78 of a held call, then the final one; the
        // host cancels the job of a cancel step, which so has no answer.
        std::size_t end = sent + exchange.size();
        std::string final_answer;
        while (run.out.compare(end, 3, "<- ") == 0 || run.out.compare(end, 3, "   ") == 0) {
            const std::size_t line_end = run.out.find('\n', end);
            if (run.out.compare(end, 3, "<- ") == 0) final_answer = run.out.substr(end + 3, line_end - end - 3);
            end = line_end + 1;
        }
        const bool cancelled = step.kind == sim::Session_step::Kind::send_and_cancel;
        EXPECT_EQ(final_answer, cancelled ? "(cancelled)" : format_hex_bytes(step.expected)) << step.title;
        position = end;
    }
    EXPECT_NE(run.out.find("session: all " + std::to_string(steps.size()) + " responses as expected\n"),
              std::string::npos)
        << run.out;
    EXPECT_EQ(run.err, "");
}

TEST_F(host_zevo_dm, session_covers_cancel_withdraw_and_offer_steps) {
    const std::vector<sim::Session_step> steps = sim::default_session();
    const auto has = [&](sim::Session_step::Kind kind) {
        for (const auto& step : steps) {
            if (step.kind == kind) return true;
        }
        return false;
    };
    EXPECT_TRUE(has(sim::Session_step::Kind::send_and_cancel));
    EXPECT_TRUE(has(sim::Session_step::Kind::withdraw_then_send));
    EXPECT_TRUE(has(sim::Session_step::Kind::offer_then_send));
    const Run_result run = run_zevo_dm({"session"});
    EXPECT_NE(run.out.find(": cancelling the job\n"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("   its extension lost the service after "), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("   its extension found the service after "), std::string::npos) << run.out;
}

TEST_F(host_zevo_dm, session_with_an_answer_changed_by_a_scenario_shows_the_expected_bytes_and_exits_1) {
    // An application error on every read of the training counter, which the session reads.
    const Run_result run = run_zevo_dm({"--scenario",
                                        scenario_file(R"({"faults": [{"identifier": "0x2C56", "method": "read",
                                                          "application_error": [34]}]})"),
                                        "session"});
    EXPECT_EQ(run.exit_code, 1) << run.out << run.err;
    EXPECT_NE(run.out.find("-> 22 2C 56\n<- 7F 22 22\n   expected 62 2C 56 "), std::string::npos) << run.out;
    EXPECT_NE(run.out.find(" steps not as expected:\n"), std::string::npos) << run.out;
}

// ---- faults of a scenario file, through send

TEST_F(host_zevo_dm, delayed_answer_is_still_the_correct_one) {
    const std::string normal = run_zevo_dm({"send", "22", "2C", "56"}).out;
    const Run_result run =
        send_with_faults(R"([{"identifier": "0x2C56", "method": "read", "delay_ms": 300}])", {"22", "2C", "56"});
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_EQ(last_answer(run.out), last_answer(normal));
}

TEST_F(host_zevo_dm, application_error_of_a_read_becomes_its_code) {
    const Run_result run = send_with_faults(R"([{"identifier": "0x2C56", "method": "read", "application_error": [34]}])",
                                            {"22", "2C", "56"});
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_EQ(last_answer(run.out), "7F 22 22");
}

TEST_F(host_zevo_dm, application_error_of_a_start_gives_its_second_code_and_of_results_its_first) {
    const std::string error = R"([{"identifier": "0xC00F", "method": "start", "application_error": [36, 49]},
                                 {"identifier": "0xC00F", "method": "request_results", "application_error": [36, 49]}])";
    EXPECT_EQ(last_answer(send_with_faults(error, {"31", "01", "C0", "0F", "00"}).out), "7F 31 31");
    EXPECT_EQ(last_answer(send_with_faults(error, {"31", "03", "C0", "0F"}).out), "7F 31 24");
}

TEST_F(host_zevo_dm, other_return_code_becomes_0x10) {
    EXPECT_EQ(last_answer(send_with_faults(R"([{"identifier": "0x2C56", "method": "read", "return_code": 5}])", {"22", "2C", "56"}).out), "7F 22 10");
}

TEST_F(host_zevo_dm, short_payload_becomes_0x10) {
    EXPECT_EQ(last_answer(send_with_faults(R"([{"identifier": "0x2C60", "method": "read", "short_payload": true}])", {"22", "2C", "60"}).out), "7F 22 10");
}

TEST_F(host_zevo_dm, malformed_payload_becomes_0x10) {
    EXPECT_EQ(last_answer(send_with_faults(R"([{"identifier": "0x2C60", "method": "read", "malformed_payload": true}])",
                               {"22", "2C", "60"}).out), "7F 22 10");
}

TEST_F(host_zevo_dm, no_answer_becomes_0x10_after_the_request_timeout) {
    const Run_result run = send_with_faults(R"([{"identifier": "0x2C56", "method": "read", "no_answer": true}])",
                                            {"22", "2C", "56"}, {"--request-timeout", "200"});
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_EQ(last_answer(run.out), "7F 22 10");
}

TEST_F(host_zevo_dm, dropped_call_becomes_0x10) {
    EXPECT_EQ(last_answer(send_with_faults(R"([{"identifier": "0x2C56", "method": "read", "drop": true}])", {"22", "2C", "56"}).out), "7F 22 10");
}

TEST_F(host_zevo_dm, service_withdrawn_at_the_call_becomes_0x10) {
    EXPECT_EQ(last_answer(send_with_faults(R"([{"identifier": "0x2C56", "method": "read", "withdraw_ms": 50}])", {"22", "2C", "56"}).out), "7F 22 10");
}

// ---- interruption

/// The trace line of the Read call (method 1) of 0x2C56 leaving for the service.
const std::vector<std::string> read_sent = {"\"Method_call_request_tx\"", "d_2c56", "\"4_method_id\":1}"};

TEST_F(host_zevo_dm, sigint_during_a_held_job_cancels_it_and_exits_130) {
    Zevo_dm_process process({"--scenario",
                             scenario_file(R"({"faults": [{"identifier": "0x2C56", "method": "read",
                                               "hold_until_cancel": true}]})"),
                             "--log-level", "5", "send", "22", "2C", "56"});
    ASSERT_TRUE(process.wait_for_error_line(read_sent, 30s)) << "the read never left";
    process.send_signal(SIGINT);
    const Run_result run = process.finish(10s);
    EXPECT_EQ(run.exit_code, 130) << run.err;
    // The job the host cancelled is no positive answer: the request shows as cancelled.
    EXPECT_EQ(run.out.rfind("-> 22 2C 56\n", 0), 0u) << run.out;
    EXPECT_EQ(last_answer(run.out), "(cancelled)") << run.out;
    EXPECT_EQ(run.out.find("<- 62"), std::string::npos) << run.out;
    EXPECT_NE(run.err.find("zevo-dm: interrupted by SIGINT; the running job, if any, was cancelled\n"),
              std::string::npos)
        << run.err;
    // The extension's cancel told the service: a Cancel call (method 0) after the read.
    const std::size_t read = run.err.find("\"4_method_id\":1}");
    EXPECT_NE(run.err.find("\"1_id\":\"Method_call_request_tx\",\"2_service_id\":{\"1_id\":\"Service_id\",\"string\":"
                           "\"talm::services::diag::d_2c56::DataIdentifier_ZevoTrainingCounter\"},\"3_instance_id\":"
                           "{\"1_id\":\"Instance_id\",\"2_string\":\"1\"},\"4_method_id\":0}",
                           read),
              std::string::npos)
        << run.err;
}

TEST_F(host_zevo_dm, sigterm_during_a_held_job_exits_143) {
    Zevo_dm_process process({"--scenario",
                             scenario_file(R"({"faults": [{"identifier": "0x2C56", "method": "read",
                                               "hold_until_cancel": true}]})"),
                             "--log-level", "5", "send", "22", "2C", "56"});
    ASSERT_TRUE(process.wait_for_error_line(read_sent, 30s)) << "the read never left";
    process.send_signal(SIGTERM);
    const Run_result run = process.finish(10s);
    EXPECT_EQ(run.exit_code, 143) << run.err;
    EXPECT_NE(run.err.find("zevo-dm: interrupted by SIGTERM"), std::string::npos) << run.err;
    EXPECT_EQ(last_answer(run.out), "(cancelled)") << run.out;
}

// ---- logging

TEST_F(host_zevo_dm, log_level_5_shows_the_trace_of_each_call) {
    const Run_result run = run_zevo_dm({"--p2", slow_machine_p2, "--log-level", "5", "send", "22", "2C", "56"});
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_EQ(run.out.rfind("-> 22 2C 56\n<- 62 2C 56 ", 0), 0u) << run.out;
    for (const char* event : {"Find_service_start", "Method_call_request_tx", "Method_call_response_rx"}) {
        EXPECT_NE(run.err.find(event), std::string::npos) << event << "\n" << run.err;
    }
    EXPECT_NE(run.err.find(" ZEVO ACOM log debug "), std::string::npos) << run.err;
}

TEST_F(host_zevo_dm, log_level_0_shows_nothing) {
    const Run_result run = run_zevo_dm({"--log-level", "0", "send", "22", "2C", "56"});
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_EQ(run.err, "");
}

// ---- the plug-in, options and scenario files that cannot be used

TEST_F(host_zevo_dm, plugin_that_cannot_be_loaded_exits_2_naming_it) {
    const Run_result run = run_zevo_dm({"--plugin", "/nonexistent/plugin.so", "send", "22", "2C", "56"});
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_EQ(run.out, "");
    EXPECT_NE(run.err.find("cannot load plug-in /nonexistent/plugin.so"), std::string::npos) << run.err;
}

TEST_F(host_zevo_dm, plugin_without_an_entry_point_exits_2_naming_it) {
    const Run_result run = run_zevo_dm({"--plugin", ZEVO_TEST_INCOMPLETE_PLUGIN_PATH, "session"});
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_NE(run.err.find("lacks the entry point construct_extension_did"), std::string::npos) << run.err;
}

TEST_F(host_zevo_dm, no_command_prints_the_help_and_exits_2) {
    const Run_result run = run_zevo_dm({});
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_NE(run.err.find("Usage: zevo-dm"), std::string::npos) << run.err;
}

TEST_F(host_zevo_dm, help_prints_the_help_and_exits_0) {
    const Run_result run = run_zevo_dm({"--help"});
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_NE(run.out.find("Usage: zevo-dm"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("--scenario FILE"), std::string::npos) << run.out;
}

TEST_F(host_zevo_dm, bad_hex_exits_2_naming_the_bad_piece) {
    const Run_result run = run_zevo_dm({"send", "22", "2X", "56"});
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_EQ(run.out, "");
    EXPECT_NE(run.err.find("'2X' is not hex"), std::string::npos) << run.err;
}

TEST_F(host_zevo_dm, bad_option_exits_2) {
    const Run_result run = run_zevo_dm({"--verbose", "session"});
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_NE(run.err.find("zevo-dm: unknown option '--verbose'\nTry 'zevo-dm --help'.\n"), std::string::npos)
        << run.err;
}

TEST_F(host_zevo_dm, bad_log_level_exits_2) {
    const Run_result run = run_zevo_dm({"--log-level", "9", "session"});
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_NE(run.err.find("zevo-dm: --log-level wants a level from 0 to 6, not '9'"), std::string::npos) << run.err;
}

TEST_F(host_zevo_dm, session_without_simulator_exits_2) {
    const Run_result run = run_zevo_dm({"--no-simulator", "session"});
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_NE(run.err.find("session drives a simulator: without the embedded one it needs --simulator-control"),
              std::string::npos)
        << run.err;
}

TEST_F(host_zevo_dm, scenario_file_with_a_bad_value_exits_2_naming_its_json_path) {
    const std::string path =
        scenario_file(R"({"faults": [{"identifier": "0x2C56", "method": "read"},
                                     {"identifier": "0x2C56", "method": "read", "delay_ms": -5}]})");
    const Run_result run = run_zevo_dm({"--scenario", path, "session"});
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "zevo-dm: scenario file " + path + ": $.faults[1].delay_ms: expected a non-negative integer\n");
}

TEST_F(host_zevo_dm, scenario_file_with_an_unknown_key_exits_2_naming_its_json_path) {
    const std::string path = scenario_file(R"({"faults": [{"identifier": "0x2C56", "method": "read", "delay": 5}]})");
    const Run_result run = run_zevo_dm({"--scenario", path, "send", "22", "2C", "56"});
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_EQ(run.err, "zevo-dm: scenario file " + path + ": $.faults[0].delay: unknown key\n");
}

TEST_F(host_zevo_dm, scenario_file_that_is_not_json_exits_2) {
    const std::string path = scenario_file("{\"faults\": [");
    const Run_result run = run_zevo_dm({"--scenario", path, "send", "22", "2C", "56"});
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_EQ(run.err.rfind("zevo-dm: scenario file " + path + ": $: not valid JSON", 0), 0u) << run.err;
}

TEST_F(host_zevo_dm, scenario_file_that_cannot_be_read_exits_2) {
    const Run_result run = run_zevo_dm({"--scenario", "/nonexistent/faults.json", "send", "22", "2C", "56"});
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_EQ(run.err, "zevo-dm: scenario file /nonexistent/faults.json: cannot be read\n");
}

}  // namespace
}  // namespace zevo::host

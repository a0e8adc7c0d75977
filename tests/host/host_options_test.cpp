// The command line of zevo-dm: defaults, commands, options and every kind of bad input.

#include "host/host_options.h"

#include <gtest/gtest.h>

#include <chrono>

namespace zevo::host {
namespace {

using Bytes = std::vector<std::uint8_t>;

std::string error_of(const std::vector<std::string>& arguments) {
    try {
        parse_host_options(arguments);
    } catch (const Option_error& error) {
        return error.what();
    }
    return "no error";
}

TEST(host_options, defaults_are_the_built_plugin_instance_1_and_tester_0e80) {
    const Host_options options = parse_host_options({});
    EXPECT_EQ(options.plugin_path, ZEVO_TEST_PLUGIN_PATH);
    EXPECT_EQ(default_plugin_path(), ZEVO_TEST_PLUGIN_PATH);
    EXPECT_EQ(options.instance, "1");
    EXPECT_EQ(options.tester_address, 0x0E80);
    EXPECT_FALSE(options.help);
    EXPECT_EQ(options.command, Host_command::none);
    EXPECT_TRUE(options.requests.empty());
    EXPECT_FALSE(options.description_path);
    EXPECT_EQ(options.p2, std::chrono::milliseconds{50});
    EXPECT_EQ(options.p2_star, std::chrono::milliseconds{5000});
    EXPECT_EQ(options.max_response_size, 4095u);
}

TEST(host_options, defaults_run_the_embedded_simulator_with_no_scenario_and_wait_5_s) {
    const Host_options options = parse_host_options({"session"});
    EXPECT_TRUE(options.simulator);
    EXPECT_FALSE(options.scenario_path.has_value());
    EXPECT_FALSE(options.log_level.has_value());
    EXPECT_FALSE(options.request_timeout.has_value());
    EXPECT_EQ(options.discovery_timeout, std::chrono::milliseconds{5000});
}

TEST(host_options, scenario_takes_a_path) {
    EXPECT_EQ(parse_host_options({"--scenario", "faults.json", "session"}).scenario_path, "faults.json");
    EXPECT_EQ(parse_host_options({"--scenario=/tmp/f.json", "session"}).scenario_path, "/tmp/f.json");
    EXPECT_EQ(error_of({"--scenario=", "session"}), "--scenario needs a non-empty path");
}

TEST(host_options, log_level_takes_0_to_6) {
    EXPECT_EQ(parse_host_options({"--log-level", "0", "session"}).log_level, 0);
    EXPECT_EQ(parse_host_options({"--log-level=5", "session"}).log_level, 5);
    EXPECT_EQ(parse_host_options({"--log-level", "6", "session"}).log_level, 6);
}

TEST(host_options, log_level_outside_0_to_6_is_refused) {
    EXPECT_EQ(error_of({"--log-level", "7", "session"}), "--log-level wants a level from 0 to 6, not '7'");
    EXPECT_EQ(error_of({"--log-level", "-1", "session"}), "--log-level wants a level from 0 to 6, not '-1'");
    EXPECT_EQ(error_of({"--log-level", "debug", "session"}), "--log-level wants a level from 0 to 6, not 'debug'");
    EXPECT_EQ(error_of({"--log-level=", "session"}), "--log-level wants a level from 0 to 6, not ''");
}

TEST(host_options, timeouts_take_milliseconds) {
    const Host_options options = parse_host_options({"--request-timeout", "250", "--discovery-timeout=0", "session"});
    EXPECT_EQ(options.request_timeout, std::chrono::milliseconds{250});
    EXPECT_EQ(options.discovery_timeout, std::chrono::milliseconds{0});
}

TEST(host_options, bad_timeouts_are_refused) {
    EXPECT_EQ(error_of({"--request-timeout", "1s", "session"}),
              "--request-timeout wants a number of milliseconds (0 to 86400000), not '1s'");
    EXPECT_EQ(error_of({"--discovery-timeout", "86400001", "session"}),
              "--discovery-timeout wants a number of milliseconds (0 to 86400000), not '86400001'");
    EXPECT_EQ(error_of({"--discovery-timeout", "99999999999999999999", "session"}),
              "--discovery-timeout wants a number of milliseconds (0 to 86400000), not '99999999999999999999'");
}

TEST(host_options, no_simulator_turns_the_embedded_simulator_off_for_send) {
    EXPECT_FALSE(parse_host_options({"--no-simulator", "send", "22", "2C", "56"}).simulator);
    EXPECT_EQ(error_of({"--no-simulator=yes", "send", "22"}), "--no-simulator takes no value");
}

TEST(host_options, session_with_no_simulator_is_refused) {
    EXPECT_EQ(error_of({"session", "--no-simulator"}),
              "session drives a simulator: without the embedded one it needs --simulator-control");
}

TEST(host_options, manifest_takes_a_path_and_starts_no_simulator) {
    const Host_options options = parse_host_options({"--manifest", "manifests/host.json", "send", "22", "2C", "56"});
    EXPECT_EQ(options.manifest_path, "manifests/host.json");
    EXPECT_FALSE(options.simulator);
    EXPECT_EQ(parse_host_options({"--manifest=h.json", "send", "22"}).manifest_path, "h.json");
    EXPECT_FALSE(parse_host_options({"send", "22"}).manifest_path);
    EXPECT_EQ(error_of({"--manifest=", "send", "22"}), "--manifest needs a non-empty value");
    EXPECT_EQ(error_of({"send", "22", "--manifest"}), "--manifest needs a value");
}

TEST(host_options, session_over_a_manifest_drives_zevo_keysim_through_its_control_port) {
    const Host_options options =
        parse_host_options({"--manifest", "h.json", "--simulator-control", "127.0.0.2:30600", "session"});
    EXPECT_EQ(options.command, Host_command::session);
    EXPECT_FALSE(options.simulator);
    EXPECT_EQ(options.simulator_control, "127.0.0.2:30600");
    EXPECT_EQ(parse_host_options({"--no-simulator", "--simulator-control=10.0.0.1:1", "session"}).simulator_control,
              "10.0.0.1:1");
    EXPECT_EQ(error_of({"--manifest", "h.json", "session"}),
              "session drives a simulator: without the embedded one it needs --simulator-control");
}

TEST(host_options, simulator_control_beside_the_embedded_simulator_is_refused) {
    EXPECT_EQ(error_of({"--simulator-control", "127.0.0.2:30600", "session"}),
              "--simulator-control drives zevo-keysim and needs --manifest or --no-simulator");
    EXPECT_EQ(error_of({"--no-simulator", "--simulator-control=", "session"}),
              "--simulator-control needs a non-empty value");
}

TEST(host_options, send_takes_the_request_from_separate_hex_arguments) {
    const Host_options options = parse_host_options({"send", "22", "2C", "56"});
    EXPECT_EQ(options.command, Host_command::send);
    ASSERT_EQ(options.requests.size(), 1u);
    EXPECT_EQ(options.requests[0].request, (Bytes{0x22, 0x2C, 0x56}));
    EXPECT_FALSE(options.requests[0].expected);
}

TEST(host_options, send_takes_the_request_from_one_argument) {
    EXPECT_EQ(parse_host_options({"send", "222C56"}).requests.at(0).request, (Bytes{0x22, 0x2C, 0x56}));
    EXPECT_EQ(parse_host_options({"send", "22 2C 56"}).requests.at(0).request, (Bytes{0x22, 0x2C, 0x56}));
}

TEST(host_options, send_takes_one_request_per_argument_with_spaces_each_with_its_expectation) {
    const Host_options options =
        parse_host_options({"send", "22 2C 56 => 62 2C 56 * * *", "31 01 C0 0F 00", "22", "2C", "60", "=>", "none"});
    ASSERT_EQ(options.requests.size(), 3u);
    EXPECT_EQ(options.requests[0].request, (Bytes{0x22, 0x2C, 0x56}));
    ASSERT_TRUE(options.requests[0].expected);
    EXPECT_EQ(options.requests[0].expected->text(), "62 2C 56 * * *");
    EXPECT_EQ(options.requests[1].request, (Bytes{0x31, 0x01, 0xC0, 0x0F, 0x00}));
    EXPECT_FALSE(options.requests[1].expected);
    EXPECT_EQ(options.requests[2].request, (Bytes{0x22, 0x2C, 0x60}));
    EXPECT_TRUE(options.requests[2].expected && options.requests[2].expected->no_answer);
}

TEST(host_options, send_with_a_bad_expectation_is_refused) {
    EXPECT_EQ(error_of({"send", "22 2C 56 => 62 ... 2C"}), "send: '...' stands only at the end of an expectation");
    EXPECT_EQ(error_of({"send", "22 2C 56 =>"}), "send: an empty expectation after '=>' (write 'none' for no answer)");
}

TEST(host_options, server_options_take_description_timing_and_response_size) {
    const Host_options options = parse_host_options(
        {"--description", "d.json", "--p2", "20", "--p2-star=3000", "--max-response-size", "64", "session"});
    EXPECT_EQ(options.description_path, "d.json");
    EXPECT_EQ(options.p2, std::chrono::milliseconds{20});
    EXPECT_EQ(options.p2_star, std::chrono::milliseconds{3000});
    EXPECT_EQ(options.max_response_size, 64u);
    EXPECT_EQ(error_of({"--p2-star", "3005", "session"}), "--p2-star wants a multiple of 10 ms");
    EXPECT_EQ(error_of({"--p2", "0", "session"}), "--p2 wants a number of milliseconds (1 to 65535), not '0'");
}

TEST(host_options, session_is_a_command_without_arguments) {
    EXPECT_EQ(parse_host_options({"session"}).command, Host_command::session);
}

TEST(host_options, options_stand_before_or_after_the_command) {
    const Host_options before = parse_host_options({"--plugin", "/p.so", "--instance", "7", "session"});
    EXPECT_EQ(before.plugin_path, "/p.so");
    EXPECT_EQ(before.instance, "7");
    const Host_options after = parse_host_options({"send", "22", "--instance", "7", "2C56", "--plugin", "/p.so"});
    EXPECT_EQ(after.plugin_path, "/p.so");
    EXPECT_EQ(after.instance, "7");
    EXPECT_EQ(after.requests.at(0).request, (Bytes{0x22, 0x2C, 0x56}));
}

TEST(host_options, options_take_their_value_after_an_equals_sign) {
    const Host_options options = parse_host_options({"--plugin=/p.so", "--instance=Instance_A", "session"});
    EXPECT_EQ(options.plugin_path, "/p.so");
    EXPECT_EQ(options.instance, "Instance_A");
}

TEST(host_options, instance_may_be_empty_text) {
    EXPECT_EQ(parse_host_options({"--instance=", "session"}).instance, "");
}

TEST(host_options, tester_address_is_sixteen_bit_hex_with_or_without_prefix) {
    EXPECT_EQ(parse_host_options({"--tester-address", "0F01"}).tester_address, 0x0F01);
    EXPECT_EQ(parse_host_options({"--tester-address=0x0e81"}).tester_address, 0x0E81);
    EXPECT_EQ(parse_host_options({"--tester-address", "F1"}).tester_address, 0x00F1);
}

TEST(host_options, bad_tester_address_is_refused) {
    for (const char* bad : {"12345", "0x", "ZZ", "", "1"}) {
        EXPECT_NE(error_of({"--tester-address", bad}).find("--tester-address wants a 16-bit hex address"),
                  std::string::npos)
            << bad;
    }
}

TEST(host_options, help_is_seen_anywhere_and_wins) {
    EXPECT_TRUE(parse_host_options({"--help"}).help);
    EXPECT_TRUE(parse_host_options({"-h"}).help);
    EXPECT_TRUE(parse_host_options({"send", "ZZ", "--help"}).help);
}

TEST(host_options, unknown_option_is_refused_by_name) {
    EXPECT_EQ(error_of({"--plug", "x", "session"}), "unknown option '--plug'");
    EXPECT_EQ(error_of({"-p", "session"}), "unknown option '-p'");
}

TEST(host_options, option_without_value_is_refused) {
    EXPECT_EQ(error_of({"session", "--plugin"}), "--plugin needs a value");
    EXPECT_EQ(error_of({"session", "--instance"}), "--instance needs a value");
    EXPECT_EQ(error_of({"session", "--tester-address"}), "--tester-address needs a value");
    EXPECT_EQ(error_of({"session", "--scenario"}), "--scenario needs a value");
    EXPECT_EQ(error_of({"session", "--log-level"}), "--log-level needs a value");
    EXPECT_EQ(error_of({"session", "--request-timeout"}), "--request-timeout needs a value");
    EXPECT_EQ(error_of({"session", "--discovery-timeout"}), "--discovery-timeout needs a value");
}

TEST(host_options, empty_plugin_path_is_refused) {
    EXPECT_EQ(error_of({"--plugin=", "session"}), "--plugin needs a non-empty path");
}

TEST(host_options, help_takes_no_value) {
    EXPECT_EQ(error_of({"--help=yes"}), "--help takes no value");
}

TEST(host_options, unknown_command_is_refused) {
    EXPECT_EQ(error_of({"read", "2C56"}), "unknown command 'read' (commands: send, session)");
}

TEST(host_options, send_without_bytes_is_refused) {
    EXPECT_EQ(error_of({"send"}), "send: no request bytes given");
}

TEST(host_options, send_with_bad_hex_is_refused_with_the_bad_piece) {
    EXPECT_EQ(error_of({"send", "22", "XY"}), "send: 'XY' is not hex: 'X' is not a hex digit");
    EXPECT_NE(error_of({"send", "222"}).find("odd number of hex digits"), std::string::npos);
}

TEST(host_options, session_with_arguments_is_refused) {
    EXPECT_EQ(error_of({"session", "22"}), "session takes no arguments, got '22'");
}

TEST(host_options, help_text_names_every_command_and_option) {
    const std::string usage = host_usage();
    for (const char* word : {"send REQUEST", "=> EXPECTED", "--description FILE", "--p2 MS", "--p2-star MS",
                             "--max-response-size N", "session", "--plugin PATH", "--instance TEXT", "--scenario FILE",
                             "--log-level N", "--request-timeout MS", "--discovery-timeout MS", "--no-simulator",
                             "--manifest FILE", "--simulator-control ADDRESS:PORT",
                             "--tester-address HEX", "--help", ZEVO_TEST_PLUGIN_PATH, "Exit codes", "130"}) {
        EXPECT_NE(usage.find(word), std::string::npos) << word;
    }
}

// ---- the log level zevo-dm sets for itself

TEST(host_options, send_logs_warnings_only_unless_asked_for_more) {
    EXPECT_EQ(log_level_to_set(parse_host_options({"send", "22", "2C", "56"}), nullptr), 3);
    EXPECT_EQ(log_level_to_set(parse_host_options({"send", "22", "2C", "56"}), ""), 3);
}

TEST(host_options, session_keeps_the_log_library_s_default) {
    EXPECT_EQ(log_level_to_set(parse_host_options({"session"}), nullptr), std::nullopt);
}

TEST(host_options, the_environment_s_level_is_kept_for_every_command) {
    EXPECT_EQ(log_level_to_set(parse_host_options({"send", "22", "2C", "56"}), "4"), std::nullopt);
    EXPECT_EQ(log_level_to_set(parse_host_options({"session"}), "5"), std::nullopt);
}

TEST(host_options, log_level_option_wins_over_environment_and_command) {
    EXPECT_EQ(log_level_to_set(parse_host_options({"--log-level", "5", "send", "22", "2C", "56"}), "2"), 5);
    EXPECT_EQ(log_level_to_set(parse_host_options({"--log-level", "0", "session"}), nullptr), 0);
}

}  // namespace
}  // namespace zevo::host

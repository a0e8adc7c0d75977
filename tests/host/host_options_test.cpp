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
    EXPECT_EQ(error_of({"read", "2C56"}), "unknown command 'read' (commands: send, session, serve)");
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

// ---- serve: the DoIP entity

doip::Entity_config entity_of(const std::vector<std::string>& arguments) {
    return parse_host_options(arguments).serve.entity;
}

TEST(host_options, serve_is_a_command_without_arguments_and_allows_no_simulator) {
    EXPECT_EQ(parse_host_options({"serve"}).command, Host_command::serve);
    EXPECT_FALSE(parse_host_options({"--no-simulator", "serve"}).simulator);
    EXPECT_EQ(error_of({"serve", "22"}), "serve takes no arguments, got '22'");
    EXPECT_EQ(log_level_to_set(parse_host_options({"serve"}), nullptr), std::nullopt);
}

TEST(host_options, serve_defaults_are_those_of_the_entity) {
    const doip::Entity_config defaults;
    const doip::Entity_config entity = entity_of({"serve"});
    EXPECT_EQ(entity.address, "127.0.0.1");
    EXPECT_EQ(entity.port, 13400);
    EXPECT_EQ(entity.logical_address, 0x0010);
    EXPECT_EQ(entity.vin, defaults.vin);
    EXPECT_EQ(entity.eid, defaults.eid);
    EXPECT_EQ(entity.gid, defaults.gid);
    EXPECT_EQ(entity.tester_min, 0x0E00);
    EXPECT_EQ(entity.tester_max, 0x0FFF);
    EXPECT_EQ(entity.functional_address, 0xE400);
    EXPECT_EQ(entity.max_testers, 4);
}

TEST(host_options, listen_takes_an_address_and_an_optional_port) {
    EXPECT_EQ(entity_of({"serve", "--listen", "127.0.0.2"}).address, "127.0.0.2");
    EXPECT_EQ(entity_of({"serve", "--listen", "127.0.0.2"}).port, 13400);
    EXPECT_EQ(entity_of({"--listen=0.0.0.0:0", "serve"}).address, "0.0.0.0");
    EXPECT_EQ(entity_of({"--listen=0.0.0.0:0", "serve"}).port, 0);
    EXPECT_EQ(entity_of({"serve", "--listen", "10.1.2.3:65535"}).port, 65535);
}

TEST(host_options, bad_listen_is_refused) {
    for (const char* bad : {"", "localhost", "127.0.0", "::1", ":13400", "127.0.0.256"}) {
        EXPECT_EQ(error_of({"serve", "--listen", bad}),
                  "--listen wants an IPv4 address and an optional port, ADDRESS[:PORT], not '" + std::string(bad) + "'");
    }
    EXPECT_EQ(error_of({"serve", "--listen", "127.0.0.1:65536"}),
              "--listen wants a port from 0 (a free one) to 65535, not '65536'");
    EXPECT_EQ(error_of({"serve", "--listen", "127.0.0.1:"}), "--listen wants a port from 0 (a free one) to 65535, not ''");
    EXPECT_EQ(error_of({"serve", "--listen"}), "--listen needs a value");
}

TEST(host_options, logical_address_is_a_vehicle_node_s_address_in_hex) {
    EXPECT_EQ(entity_of({"serve", "--logical-address", "0x0201"}).logical_address, 0x0201);
    EXPECT_EQ(entity_of({"serve", "--logical-address=7FFF"}).logical_address, 0x7FFF);
    EXPECT_EQ(entity_of({"serve", "--logical-address", "01"}).logical_address, 0x0001);
    for (const char* bad : {"0000", "0E80", "0FFF", "8000", "E400"}) {
        EXPECT_EQ(error_of({"serve", "--logical-address", bad}),
                  "--logical-address wants a vehicle node's address (0001-0DFF or 1000-7FFF), not '" + std::string(bad) +
                      "'");
    }
    EXPECT_EQ(error_of({"serve", "--logical-address", "10000"}),
              "--logical-address wants a 16-bit hex address such as 0010 or 0x0010, not '10000'");
}

TEST(host_options, vin_takes_17_printable_characters) {
    const doip::Entity_config entity = entity_of({"serve", "--vin", "WVWZZZ1JZXW000001"});
    EXPECT_EQ(std::string(entity.vin.begin(), entity.vin.end()), "WVWZZZ1JZXW000001");
    for (const char* bad : {"", "WVWZZZ1JZXW00000", "WVWZZZ1JZXW0000012", "WVWZZZ1JZ W000001"}) {
        EXPECT_EQ(error_of({"serve", "--vin", bad}),
                  "--vin wants 17 printable ASCII characters, not '" + std::string(bad) + "'");
    }
}

TEST(host_options, eid_and_gid_take_6_bytes_in_hex) {
    const doip::Entity_config entity = entity_of({"serve", "--eid", "00163EA1B2C3", "--gid=0a0b0c0d0e0f"});
    EXPECT_EQ(entity.eid, (doip::Entity_id{0x00, 0x16, 0x3E, 0xA1, 0xB2, 0xC3}));
    EXPECT_EQ(entity.gid, (doip::Entity_id{0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F}));
    for (const char* option : {"--eid", "--gid"}) {
        for (const char* bad : {"", "00163EA1B2", "00163EA1B2C3D4", "00163EA1B2CZ", "00163EA1B2C"}) {
            EXPECT_EQ(error_of({"serve", option, bad}), std::string(option) +
                                                            " wants 6 bytes as 12 hex digits such as 025A45564F01, not '" +
                                                            bad + "'");
        }
    }
}

TEST(host_options, testers_take_a_range_of_tester_addresses) {
    const doip::Entity_config entity = entity_of({"serve", "--testers", "0E80-0EFF"});
    EXPECT_EQ(entity.tester_min, 0x0E80);
    EXPECT_EQ(entity.tester_max, 0x0EFF);
    EXPECT_EQ(entity_of({"serve", "--testers=0x0F00-0x0F00"}).tester_max, 0x0F00);
}

TEST(host_options, bad_testers_are_refused) {
    EXPECT_EQ(error_of({"serve", "--testers", "0E80"}), "--testers wants a range LOW-HIGH such as 0E00-0FFF, not '0E80'");
    EXPECT_EQ(error_of({"serve", "--testers", "0EFF-0E80"}),
              "--testers wants LOW-HIGH with LOW not above HIGH, not '0EFF-0E80'");
    EXPECT_EQ(error_of({"serve", "--testers", "0010-0E80"}), "--testers wants tester addresses (0E00-0FFF), not '0010'");
    EXPECT_EQ(error_of({"serve", "--testers", "0E00-1000"}), "--testers wants tester addresses (0E00-0FFF), not '1000'");
    EXPECT_NE(error_of({"serve", "--testers", "0E00-ZZ"}).find("--testers wants a 16-bit hex address"), std::string::npos);
}

TEST(host_options, functional_address_is_a_functional_group_address) {
    EXPECT_EQ(entity_of({"serve", "--functional-address", "E000"}).functional_address, 0xE000);
    EXPECT_EQ(entity_of({"serve", "--functional-address", "0xEFFF"}).functional_address, 0xEFFF);
    EXPECT_EQ(error_of({"serve", "--functional-address", "DFFF"}),
              "--functional-address wants a functional group address (E000-EFFF), not 'DFFF'");
    EXPECT_EQ(error_of({"serve", "--functional-address", "F000"}),
              "--functional-address wants a functional group address (E000-EFFF), not 'F000'");
    EXPECT_NE(error_of({"serve", "--functional-address", "E40"}).find("--functional-address wants a 16-bit hex address"),
              std::string::npos);
}

TEST(host_options, max_testers_takes_1_to_255) {
    EXPECT_EQ(entity_of({"serve", "--max-testers", "1"}).max_testers, 1);
    EXPECT_EQ(entity_of({"serve", "--max-testers=255"}).max_testers, 255);
    for (const char* bad : {"0", "256", "-1", "x", ""}) {
        EXPECT_EQ(error_of({"serve", "--max-testers", bad}),
                  "--max-testers wants a number from 1 to 255, not '" + std::string(bad) + "'");
    }
}

TEST(host_options, serve_options_are_refused_with_other_commands) {
    EXPECT_EQ(error_of({"--listen", "127.0.0.1:0", "send", "3E", "00"}), "--listen is an option of serve");
    EXPECT_EQ(error_of({"session", "--max-testers", "2", "--vin", "WVWZZZ1JZXW000001"}),
              "--max-testers is an option of serve");
}

TEST(host_options, help_text_names_serve_and_its_options_with_their_defaults) {
    const std::string usage = host_usage();
    for (const char* word : {"zevo-dm [options] serve", "--listen ADDR[:PORT]", "127.0.0.1:13400",
                             "--logical-address HEX", "(default: 0010)", "--vin TEXT", "ZEVOBENCH00000001",
                             "--eid HEX12", "--gid HEX12", "025A45564F01", "--testers LO-HI", "0E00-0FFF",
                             "--functional-address HEX", "E400", "--max-testers N", "(default: 4)",
                             "serving DoIP on", "4 serve cannot listen"}) {
        EXPECT_NE(usage.find(word), std::string::npos) << word;
    }
}

}  // namespace
}  // namespace zevo::host

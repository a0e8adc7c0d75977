// The command line of zevo-dm: defaults, commands, options and every kind of bad input.

#include "host/host_options.h"

#include <gtest/gtest.h>

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
    EXPECT_TRUE(options.request.empty());
}

TEST(host_options, send_takes_the_request_from_separate_hex_arguments) {
    const Host_options options = parse_host_options({"send", "22", "2C", "56"});
    EXPECT_EQ(options.command, Host_command::send);
    EXPECT_EQ(options.request, (Bytes{0x22, 0x2C, 0x56}));
}

TEST(host_options, send_takes_the_request_from_one_argument) {
    EXPECT_EQ(parse_host_options({"send", "222C56"}).request, (Bytes{0x22, 0x2C, 0x56}));
    EXPECT_EQ(parse_host_options({"send", "22 2C 56"}).request, (Bytes{0x22, 0x2C, 0x56}));
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
    EXPECT_EQ(after.request, (Bytes{0x22, 0x2C, 0x56}));
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
    for (const char* word : {"send BYTES", "session", "--plugin PATH", "--instance TEXT", "--tester-address HEX",
                             "--help", ZEVO_TEST_PLUGIN_PATH, "Exit codes"}) {
        EXPECT_NE(usage.find(word), std::string::npos) << word;
    }
}

}  // namespace
}  // namespace zevo::host

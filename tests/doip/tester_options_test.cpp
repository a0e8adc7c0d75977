// zevo-tester's command line: defaults, every option, request lines as arguments, and the
// errors that name the bad argument.

#include "host/doip/tester/tester_options.h"

#include <gtest/gtest.h>

namespace zevo::doip {
namespace {

TEST(doip_tester_options, defaults_with_one_request) {
    Tester_options options = parse_tester_options({"22 F1 90"});
    EXPECT_EQ(options.host, "127.0.0.1");
    EXPECT_FALSE(options.host_given);
    EXPECT_EQ(options.port, 13400);
    EXPECT_EQ(options.source, 0x0E80);
    EXPECT_FALSE(options.target);
    EXPECT_FALSE(options.functional);
    EXPECT_EQ(options.functional_address, 0xE400);
    EXPECT_FALSE(options.keep_alive);
    EXPECT_EQ(options.timeout.count(), 2000);
    EXPECT_EQ(options.version, 0x02);
    EXPECT_EQ(options.requests, std::vector<std::string>{"22 F1 90"});
}

TEST(doip_tester_options, every_option_is_read) {
    Tester_options options = parse_tester_options(
        {"--discover", "--host", "10.0.0.7", "--port", "13401", "--source", "0x0F00", "--target", "1001",
         "--functional", "--functional-address", "E401", "--file", "r.txt", "--keep-alive", "--timeout", "750",
         "--pause", "100", "--doip-version", "3", "3E 00 => 7E 00"});
    EXPECT_TRUE(options.discover);
    EXPECT_EQ(options.host, "10.0.0.7");
    EXPECT_TRUE(options.host_given);
    EXPECT_EQ(options.port, 13401);
    EXPECT_EQ(options.source, 0x0F00);
    EXPECT_EQ(options.target, 0x1001);
    EXPECT_TRUE(options.functional);
    EXPECT_EQ(options.functional_address, 0xE401);
    EXPECT_EQ(options.file, "r.txt");
    EXPECT_TRUE(options.keep_alive);
    EXPECT_EQ(options.timeout.count(), 750);
    EXPECT_EQ(options.pause.count(), 100);
    EXPECT_EQ(options.version, 0x03);
    EXPECT_EQ(options.requests, std::vector<std::string>{"3E 00 => 7E 00"});
}

TEST(doip_tester_options, errors_name_the_argument) {
    auto error_of = [](const std::vector<std::string>& arguments) {
        try {
            parse_tester_options(arguments);
        } catch (const Usage_error& error) {
            return std::string(error.what());
        }
        return std::string("no error");
    };
    EXPECT_NE(error_of({}).find("nothing to do"), std::string::npos);
    EXPECT_NE(error_of({"--port", "70000", "3E 00"}).find("--port"), std::string::npos);
    EXPECT_NE(error_of({"--source", "XYZ", "3E 00"}).find("--source"), std::string::npos);
    EXPECT_NE(error_of({"--doip-version", "1", "3E 00"}).find("--doip-version"), std::string::npos);
    EXPECT_NE(error_of({"--timeout"}).find("needs a value"), std::string::npos);
    EXPECT_NE(error_of({"--bogus", "3E 00"}).find("unknown option --bogus"), std::string::npos);
    EXPECT_TRUE(parse_tester_options({"--help"}).help);
}

}  // namespace
}  // namespace zevo::doip

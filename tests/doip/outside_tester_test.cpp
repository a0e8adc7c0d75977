// Testers that are not the entity's own code against the test server (a real process): scapy's
// DoIP and UDS layers, zevo-tester, and tshark as the referee of a captured exchange.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>

#include "tests/support/child_process.h"
#include "loopback_capture.h"
#include "host/doip/tester/doip_link.h"

namespace zevo::doip::testing {
namespace {

using namespace std::chrono_literals;

bool executable(const char* path) { return ::access(path, X_OK) == 0; }

class doip_outside_tester : public ::testing::Test {
protected:
    // The server's command line; a test suite may serve fewer testers.
    virtual std::vector<std::string> server_command() const { return {ZEVO_TEST_DOIP_SERVER}; }

    void SetUp() override {
        server_ = std::make_unique<Child_process>(server_command());
        ASSERT_TRUE(server_->started());
        std::string line = server_->wait_for_line("port ", 10s);
        ASSERT_FALSE(line.empty()) << "the test server did not start";
        port_ = line.substr(5);
    }

    void TearDown() override {
        server_->close_input();  // asks it to stop; the destructor kills it if it does not
        Run_result result = server_->finish(10s);
        EXPECT_EQ(result.exit_code, 0) << result.err;
    }

    Run_result tester(std::vector<std::string> arguments, std::chrono::milliseconds timeout = 20s) {
        arguments.insert(arguments.begin(), {ZEVO_TEST_ZEVO_TESTER, "--port", port_});
        Child_process run(arguments);
        return run.finish(timeout);
    }

    std::unique_ptr<Child_process> server_;
    std::string port_;
};

TEST_F(doip_outside_tester, scapy_identifies_activates_and_gets_answers) {
    if (!executable("/usr/bin/python3") ||
        Child_process({"/usr/bin/python3", "-c", "import scapy.contrib.automotive.doip"}).finish(30s).exit_code != 0) {
        GTEST_SKIP() << "python3-scapy is not installed (scripts/install-deps.sh installs it)";
    }
    Child_process scapy({"/usr/bin/python3", ZEVO_TEST_SCAPY_TESTER, port_});
    Run_result result = scapy.finish(60s);
    EXPECT_EQ(result.exit_code, 0) << result.out << result.err;
    EXPECT_NE(result.out.find("ok"), std::string::npos) << result.out;
}

TEST_F(doip_outside_tester, zevo_tester_discovers_the_entity) {
    Run_result result = tester({"--discover", "--host", "127.0.0.1"});
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_NE(result.out.find("entity 0010 at 127.0.0.1  VIN ZEVOBENCH00000001"), std::string::npos) << result.out;
}

TEST_F(doip_outside_tester, zevo_tester_discovers_without_host_through_broadcast_and_loopback) {
    Run_result result = tester({"--discover", "--timeout", "500"});
    EXPECT_EQ(result.exit_code, 0) << result.err;
    const std::string line = "entity 0010 at 127.0.0.1";
    ASSERT_NE(result.out.find(line), std::string::npos) << result.out;
    EXPECT_EQ(result.out.find(line, result.out.find(line) + 1), std::string::npos) << "listed twice: " << result.out;
}

TEST_F(doip_outside_tester, zevo_tester_prints_answers_and_follows_response_pending) {
    Run_result result = tester({"22 F1 90 => 62 F1 90 * * * * * * * * * * * * * * * * *", "10 03 => 50 03 00 32 01 F4",
                                "31 01 C0 0A => 71 01 C0 0A", "3E 80"});
    EXPECT_EQ(result.exit_code, 0) << result.out << result.err;
    EXPECT_NE(result.out.find("-> 22 F1 90\n<- 62 F1 90 5A 45 56 4F"), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("<- 7F 31 78  ("), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("response pending)\n<- 71 01 C0 0A  ("), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("<- (no answer: positive answer suppressed)"), std::string::npos) << result.out;
}

TEST_F(doip_outside_tester, zevo_tester_exits_1_when_an_answer_differs) {
    Run_result result = tester({"--target", "0010", "22 F1 90 => 62 F1 91 *", "3E 00 => 7E 00"});
    EXPECT_EQ(result.exit_code, 1) << result.out << result.err;
    EXPECT_NE(result.out.find("   expected 62 F1 91 *"), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("<- 7E 00"), std::string::npos) << "the run stopped at the mismatch: " << result.out;
}

TEST_F(doip_outside_tester, zevo_tester_reads_a_file_and_sends_functionally_with_keep_alive) {
    char path[] = "/tmp/zevo_tester_requestsXXXXXX";
    int fd = ::mkstemp(path);
    ASSERT_GE(fd, 0);
    ::close(fd);
    {
        std::ofstream file(path);
        file << "# functional TesterPresent, then a read\n3E 00 => 7E 00\n\n22 01 02 => 62 * 02\n";
    }
    Run_result result = tester({"--functional", "--keep-alive", "--pause", "2100", "--file", path});
    std::remove(path);
    EXPECT_EQ(result.exit_code, 0) << result.out << result.err;
    EXPECT_NE(result.out.find("-> 3E 00  (functional)\n<- 7E 00"), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("<- 62 01 02"), std::string::npos) << result.out;
}

TEST_F(doip_outside_tester, zevo_tester_exits_3_when_the_entity_is_unreachable) {
    std::uint16_t silent_port = 0;
    {
        Udp_link unused("127.0.0.1");  // a port where nothing listens once it is closed again
        silent_port = unused.port();
    }
    Child_process identify({ZEVO_TEST_ZEVO_TESTER, "--port", std::to_string(silent_port), "--timeout", "300", "3E 00"});
    Run_result result = identify.finish(20s);
    EXPECT_EQ(result.exit_code, 3) << result.out << result.err;
    Child_process connect({ZEVO_TEST_ZEVO_TESTER, "--port", std::to_string(silent_port), "--target", "0010", "3E 00"});
    result = connect.finish(20s);
    EXPECT_EQ(result.exit_code, 3) << result.out << result.err;
    EXPECT_NE(result.err.find("cannot connect"), std::string::npos) << result.err;
}

TEST_F(doip_outside_tester, zevo_tester_rejects_a_bad_request_line) {
    Run_result result = tester({"22 F1 9"});
    EXPECT_EQ(result.exit_code, 2);
    EXPECT_NE(result.err.find("odd number of hex digits"), std::string::npos) << result.err;
}

TEST_F(doip_outside_tester, tshark_decodes_the_exchange_without_malformed_packets_or_errors) {
    if (const std::string why = Loopback_capture::unusable(); !why.empty()) GTEST_SKIP() << why;
    Loopback_capture capture(port_);
    ASSERT_TRUE(capture.start()) << "tshark did not start capturing";
    Run_result exchange = tester({"--doip-version", "3", "22 F1 90", "31 01 C0 0A => 71 01 C0 0A", "3E 00"});
    EXPECT_EQ(exchange.exit_code, 0) << exchange.out << exchange.err;
    Run_result discovered = tester({"--discover", "--host", "127.0.0.1"});
    EXPECT_EQ(discovered.exit_code, 0);
    EXPECT_TRUE(capture.stop()) << "tshark missed the end of the exchange or had to be killed";
    Run_result decoded = capture.payload_types();
    EXPECT_EQ(decoded.exit_code, 0) << decoded.err;
    for (const char* type : {"0x0001", "0x0004", "0x0005", "0x0006", "0x8001", "0x8002"}) {
        EXPECT_NE(decoded.out.find(type), std::string::npos) << "no DoIP message of type " << type << ":\n"
                                                             << decoded.out;
    }
    Run_result found = capture.problems();
    EXPECT_EQ(found.exit_code, 0) << found.err;
    EXPECT_EQ(found.out, "") << "malformed packets or expert errors:\n" << found.out;
    EXPECT_EQ(capture.expert_errors().out.find("Errors ("), std::string::npos);
}

class doip_outside_tester_one_socket : public doip_outside_tester {
protected:
    std::vector<std::string> server_command() const override { return {ZEVO_TEST_DOIP_SERVER, "0", "1"}; }
};

TEST_F(doip_outside_tester_one_socket, zevo_tester_answers_the_alive_check_and_keeps_its_socket) {
    Child_process holder({ZEVO_TEST_ZEVO_TESTER, "--port", port_, "--pause", "1500", "3E 00", "3E 00 => 7E 00"});
    ASSERT_FALSE(holder.wait_for_line("<- 7E 00", 10s).empty()) << "zevo-tester did not get its first answer";
    // The only socket is taken: the entity checks that zevo-tester is alive, which it answers.
    Tcp_link newcomer("127.0.0.1", static_cast<std::uint16_t>(std::stoul(port_)));
    newcomer.send(encode_routing_activation_request(0x02, {0x0E81, 0x00, 0, std::nullopt}));
    std::optional<Received> answer = newcomer.receive(5s);
    ASSERT_TRUE(answer);
    EXPECT_EQ(decode_routing_activation_response(answer->payload)->code, activation_code::all_sockets_used);
    Run_result result = holder.finish(20s);
    EXPECT_EQ(result.exit_code, 0) << result.out << result.err;
}

}  // namespace
}  // namespace zevo::doip::testing

// zevo-keysim's control port: the command lines and addresses it reads, the answers it gives on a
// simulator, and the server on loopback with a connection of the host's kind.

#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "sim/control_protocol.h"
#include "sim/control_server.h"
#include "sim/control_socket.h"
#include "sim/key_simulator.h"
#include "sim_bench.h"

namespace {

using namespace std::chrono_literals;
using namespace zevo::test::sim;
using zevo::sim::Control_command;
using zevo::sim::Control_error;
using zevo::sim::Method;
using zevo::sim::parse_control_command;
using Kind = zevo::sim::Control_command::Kind;

std::string error_of(const std::string& line) {
    try {
        parse_control_command(line);
    } catch (const Control_error& error) {
        return error.what();
    }
    return "no error";
}

TEST(sim_control_protocol, withdraw_and_offer_name_a_served_identifier) {
    const Control_command withdraw = parse_control_command("withdraw 0x2C56");
    EXPECT_EQ(withdraw.kind, Kind::withdraw);
    EXPECT_EQ(withdraw.identifier, 0x2C56);
    const Control_command offer = parse_control_command("offer 0xc00f");
    EXPECT_EQ(offer.kind, Kind::offer);
    EXPECT_EQ(offer.identifier, 0xC00F);
}

TEST(sim_control_protocol, a_served_identifier_reads_in_either_case_and_others_are_refused) {
    EXPECT_EQ(zevo::sim::parse_served_identifier("0x2C56"), 0x2C56);
    EXPECT_EQ(zevo::sim::parse_served_identifier("0Xc00f"), 0xC00F);
    for (const char* text : {"0x2C58", "2C56", "0x2C5", "0x2C56 ", "0x2G56"}) {
        EXPECT_THROW(zevo::sim::parse_served_identifier(text), Control_error) << text;
    }
}

TEST(sim_control_protocol, wait_pending_names_identifier_method_and_milliseconds) {
    const Control_command wait = parse_control_command("wait-pending 0x0648 start 5000");
    EXPECT_EQ(wait.kind, Kind::wait_for_pending_call);
    EXPECT_EQ(wait.identifier, 0x0648);
    EXPECT_EQ(wait.method, Method::start);
    EXPECT_EQ(wait.timeout, 5000ms);
    EXPECT_EQ(parse_control_command("wait-pending 0x2C56 read 0").method, Method::read_or_results);
    EXPECT_EQ(parse_control_command("wait-pending 0xC00A request_results 1").method, Method::read_or_results);
    EXPECT_EQ(parse_control_command("wait-pending 0x2C56 cancel 3600000").timeout, 3600000ms);
}

TEST(sim_control_protocol, every_command_reads_back_as_it_was_written) {
    for (const char* line : {"withdraw 0x2C56", "offer 0xC00F", "wait-pending 0x0648 start 5000",
                             "wait-pending 0x2C57 read 0", "wait-pending 0xC00B request_results 12"}) {
        EXPECT_EQ(format_control_command(parse_control_command(line)), line);
    }
}

TEST(sim_control_protocol, lines_that_cannot_be_run_are_refused_with_the_reason) {
    EXPECT_EQ(error_of(""), "unknown command '' (commands: withdraw, offer, wait-pending)");
    EXPECT_EQ(error_of("reboot"), "unknown command 'reboot' (commands: withdraw, offer, wait-pending)");
    EXPECT_EQ(error_of("withdraw"), "withdraw takes one identifier");
    EXPECT_EQ(error_of("withdraw  0x2C56"), "withdraw takes one identifier");
    EXPECT_EQ(error_of("offer 0x2C58"), "expected a served identifier such as 0x2C56, not '0x2C58'");
    EXPECT_EQ(error_of("offer 2C56"), "expected a served identifier such as 0x2C56, not '2C56'");
    EXPECT_EQ(error_of("offer 0x2G56"), "expected a served identifier such as 0x2C56, not '0x2G56'");
    EXPECT_EQ(error_of("wait-pending 0x2C56 start 10"), "'start' is not a method of 0x2C56");
    EXPECT_EQ(error_of("wait-pending 0x0648 read 10"), "'read' is not a method of 0x0648");
    EXPECT_EQ(error_of("wait-pending 0x0648 start"), "wait-pending takes an identifier, a method and milliseconds");
    EXPECT_EQ(error_of("wait-pending 0x0648 start 3600001"), "expected milliseconds from 0 to 3600000, not '3600001'");
    EXPECT_EQ(error_of("wait-pending 0x0648 start -1"), "expected milliseconds from 0 to 3600000, not '-1'");
    EXPECT_EQ(error_of("offer 0x2C56" + std::string(200, ' ')), "line longer than 128");
}

TEST(sim_control_protocol, addresses_are_ipv4_and_a_port) {
    const zevo::sim::Control_address address = zevo::sim::parse_control_address("127.0.0.2:30600", false);
    EXPECT_EQ(address.address, "127.0.0.2");
    EXPECT_EQ(address.port, 30600);
    EXPECT_EQ(zevo::sim::parse_control_address("0.0.0.0:0", true).port, 0);
    for (const char* bad : {"127.0.0.2", "127.0.0.2:", "localhost:1", "127.0.0.2:65536", "127.0.0.2:0", ":1", "1.2.3:4"}) {
        EXPECT_THROW(zevo::sim::parse_control_address(bad, false), Control_error) << bad;
    }
}

TEST(sim_control_answers, withdraw_and_offer_change_what_is_offered) {
    Sim_bench bench;
    EXPECT_EQ(answer_control_line(*bench.simulator, "withdraw 0x2C56"), "ok");
    EXPECT_FALSE(bench.simulator->offered(0x2C56));
    EXPECT_EQ(answer_control_line(*bench.simulator, "offer 0x2C56"), "ok");
    EXPECT_TRUE(bench.simulator->offered(0x2C56));
}

TEST(sim_control_answers, a_wait_says_whether_a_call_is_held) {
    Sim_bench bench;
    EXPECT_EQ(answer_control_line(*bench.simulator, "wait-pending 0x2C56 read 0"), "not held");
    zevo::sim::Fault fault;
    fault.identifier = 0x2C56;
    fault.no_answer = true;
    fault.times = 1;
    bench.simulator->inject(fault);
    const auto port = bench.port(0x2C56);
    ASSERT_TRUE(port);
    const Call_probe pending = Sim_bench::send(
        *port, 1, ruv::com::someip::serialization::request_payload<Training_counter::Read>(tester_meta_info()));
    EXPECT_EQ(answer_control_line(*bench.simulator, "wait-pending 0x2C56 read 5000"), "held");
    EXPECT_EQ(answer_control_line(*bench.simulator, "withdraw 0x2C56"), "ok");  // ends the held call
    ASSERT_TRUE(pending.response());
}

TEST(sim_control_answers, a_line_that_cannot_be_run_is_answered_error) {
    Sim_bench bench;
    EXPECT_EQ(answer_control_line(*bench.simulator, "offer 0x2C58"),
              "error expected a served identifier such as 0x2C56, not '0x2C58'");
}

TEST(sim_control_server, serves_lines_over_tcp_one_connection_after_the_other) {
    Sim_bench bench;
    zevo::sim::Control_server server(*bench.simulator, zevo::sim::Control_address{"127.0.0.1", 0});
    ASSERT_NE(server.port(), 0);
    for (int connection = 0; connection < 2; ++connection) {
        auto socket = zevo::sim::Control_socket::connect({"127.0.0.1", server.port()}, 5s);
        std::string answer;
        ASSERT_TRUE(socket.send_line("withdraw 0x2C60"));
        ASSERT_EQ(socket.receive_line(answer, 5s), zevo::sim::Control_socket::Status::line);
        EXPECT_EQ(answer, "ok");
        EXPECT_FALSE(bench.simulator->offered(0x2C60));
        ASSERT_TRUE(socket.send_line("offer 0x2C60\r"));  // a line end of CR LF is taken as well
        ASSERT_EQ(socket.receive_line(answer, 5s), zevo::sim::Control_socket::Status::line);
        EXPECT_EQ(answer, "ok");
        EXPECT_TRUE(bench.simulator->offered(0x2C60));
    }
}

TEST(sim_control_server, an_over_long_line_is_refused_and_its_connection_closed) {
    Sim_bench bench;
    zevo::sim::Control_server server(*bench.simulator, zevo::sim::Control_address{"127.0.0.1", 0});
    auto socket = zevo::sim::Control_socket::connect({"127.0.0.1", server.port()}, 5s);
    ASSERT_TRUE(socket.send_line(std::string(300, 'x')));
    std::string answer;
    ASSERT_EQ(socket.receive_line(answer, 5s), zevo::sim::Control_socket::Status::line);
    EXPECT_EQ(answer, "error line longer than 128");
    EXPECT_EQ(socket.receive_line(answer, 5s), zevo::sim::Control_socket::Status::closed);
}

TEST(sim_control_server, stop_ends_a_connection_that_is_open) {
    Sim_bench bench;
    zevo::sim::Control_server server(*bench.simulator, zevo::sim::Control_address{"127.0.0.1", 0});
    auto socket = zevo::sim::Control_socket::connect({"127.0.0.1", server.port()}, 5s);
    std::string answer;
    ASSERT_TRUE(socket.send_line("offer 0x2C60"));
    ASSERT_EQ(socket.receive_line(answer, 5s), zevo::sim::Control_socket::Status::line);
    server.stop();
    EXPECT_EQ(socket.receive_line(answer, 5s), zevo::sim::Control_socket::Status::closed);
}

TEST(sim_control_socket, an_unreachable_port_names_its_address) {
    try {
        zevo::sim::Control_socket::connect({"127.0.0.1", 1}, 1s);
        ADD_FAILURE() << "connected";
    } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find("control port 127.0.0.1:1 cannot be reached"), std::string::npos);
    }
}

}  // namespace

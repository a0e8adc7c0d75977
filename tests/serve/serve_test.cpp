// zevo-dm serve as a tester meets it: a real process on 127.0.0.1, the plug-in built in this
// tree and the embedded simulator behind it. scapy's DoIP and UDS layers and zevo-tester run
// the simulator's requests against it, tshark referees a captured session, and the bench's own
// DoIP links check what becomes of a held job when its tester leaves, when SIGTERM comes, and
// when a second tester asks for the same routine meanwhile.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/hex_bytes.h"
#include "host/session_request_file.h"
#include "loopback_capture.h"
#include "serve_process.h"
#include "sim/session_plan.h"
#include "test_sockets.h"

namespace zevo::serve::testing {
namespace {

using doip::Bytes;
using doip::testing::Loopback_capture;
using doip::testing::Tcp_tester;

/// Routines work for no time, so that a results request finds its routine finished, as the
/// simulator's session expects.
const char* const instant_routines = R"({"routine_duration_ms": 0})";

/// The same, and the first Start of 0x0648 is held by the service until the job is cancelled,
/// as in the simulator's session scenario.
const char* const held_debug_start = R"({"routine_duration_ms": 0, "faults": [
    {"identifier": "0x0648", "method": "start", "hold_until_cancel": true, "times": 1}]})";

constexpr std::uint16_t entity_address = 0x0010;

const sim::Session_step& step_titled(const std::string& title) {
    static const std::vector<sim::Session_step> session = sim::default_session();
    for (const sim::Session_step& step : session) {
        if (step.title == title) return step;
    }
    throw std::invalid_argument("no session step titled " + title);
}

/// The Start that the scenario holds, and an answered Start of the same routine.
const sim::Session_step& held_start() { return step_titled("start 0x0648 held by the service until the job is cancelled"); }
const sim::Session_step& echo_start() { return step_titled("start 0x0648 echo"); }

/// The plain request steps of the simulator's session as a zevo-tester request file.
std::string session_request_file() { return host::tester_request_file(sim::default_session()); }

std::size_t plain_steps() { return host::tester_request_count(sim::default_session()); }

std::string hex_without_spaces(const Bytes& bytes) {
    std::string text = host::format_hex_bytes(bytes);
    text.erase(std::remove(text.begin(), text.end(), ' '), text.end());
    return text;
}

/// A tester on its own connection: activated routing, physical requests, answers one by one.
class Uds_tester : public Tcp_tester {
public:
    Uds_tester(std::uint16_t port, std::uint16_t source) : Tcp_tester(port), source_(source) {}

    /// Routing activation succeeded.
    bool activated() { return activate(source_) == doip::activation_code::activated; }

    /// Sends `uds` and reads its positive acknowledge; false when none came.
    bool request(const Bytes& uds) {
        send(doip::encode_diagnostic_message(doip::version::iso_2012, {source_, entity_address, uds}));
        std::optional<doip::Received> ack = receive();
        return ack && ack->header.payload_type == doip::payload_type::diagnostic_ack;
    }

    /// The next UDS answer within `timeout`; nothing when none came or the entity closed.
    std::optional<Bytes> answer(std::chrono::milliseconds timeout = 5s) {
        std::optional<doip::Received> frame = receive(timeout);
        if (!frame || frame->header.payload_type != doip::payload_type::diagnostic_message) return std::nullopt;
        std::optional<doip::Diagnostic_message> message = doip::decode_diagnostic_message(frame->payload);
        if (!message) return std::nullopt;
        return message->uds;
    }

    /// The final answer to `uds`, past any 7F xx 78; empty when none came.
    Bytes exchange(const Bytes& uds) {
        if (!request(uds)) return {};
        for (int answers = 0; answers < 100; ++answers) {
            std::optional<Bytes> got = answer();
            if (!got) return {};
            if (got->size() != 3 || (*got)[0] != 0x7F || (*got)[2] != 0x78) return *got;
        }
        return {};
    }

private:
    std::uint16_t source_;
};

bool response_pending(const std::optional<Bytes>& answer, std::uint8_t sid) {
    return answer && *answer == Bytes{0x7F, sid, 0x78};
}

Run_result run(std::vector<std::string> command, std::chrono::milliseconds timeout = 60s) {
    Child_process child(command);
    return child.finish(timeout);
}

bool scapy_usable() {
    return ::access("/usr/bin/python3", X_OK) == 0 &&
           run({"/usr/bin/python3", "-c", "import scapy.contrib.automotive.doip"}, 30s).exit_code == 0;
}

// ---- outside testers

TEST(serve_process, scapy_reads_every_data_identifier_runs_a_routine_changes_session_and_is_refused_a_write) {
    if (!scapy_usable()) GTEST_SKIP() << "python3-scapy is not installed (scripts/install-deps.sh installs it)";
    Serve_process serve(instant_routines);
    ASSERT_NE(serve.port(), 0);
    std::vector<std::string> command = {"/usr/bin/python3", ZEVO_TEST_SCAPY_TESTER, serve.port_text()};
    for (const char* title : {"read 0x2C55 identity record", "read 0x2C56 training counter",
                              "read 0x2C57 missing-key history", "read 0x2C60 key list", "start 0x0648 echo",
                              "results of 0x0648: the echo"}) {
        const sim::Session_step& step = step_titled(title);
        command.push_back(hex_without_spaces(step.request) + "=" + hex_without_spaces(step.expected));
    }
    command.push_back("1003=5003003201f4");  // extended session, P2 50 ms, P2* 5000 ms
    command.push_back("2e2c550102=7f2e31");  // the description makes no identifier writable
    const Run_result scapy = run(command);
    EXPECT_EQ(scapy.exit_code, 0) << scapy.out << scapy.err;
    EXPECT_NE(scapy.out.find("\nok\n"), std::string::npos) << scapy.out;
    const Run_result stopped = serve.stop();
    EXPECT_EQ(stopped.exit_code, 0) << stopped.err;
}

TEST(serve_process, zevo_tester_runs_the_simulator_s_session_requests_with_their_expectations) {
    Serve_process serve(instant_routines);
    ASSERT_NE(serve.port(), 0);
    const Temporary_file requests(session_request_file());
    const Run_result tester = run({ZEVO_TEST_ZEVO_TESTER, "--port", serve.port_text(), "--file", requests.path()});
    EXPECT_EQ(tester.exit_code, 0) << tester.out << tester.err;
    std::size_t requests_sent = 0;
    for (std::size_t at = tester.out.find("-> "); at != std::string::npos; at = tester.out.find("-> ", at + 1)) {
        ++requests_sent;
    }
    EXPECT_EQ(requests_sent, plain_steps()) << tester.out;
    EXPECT_EQ(tester.out.find("expected"), std::string::npos) << tester.out;
    const Run_result stopped = serve.stop();
    EXPECT_EQ(stopped.exit_code, 0) << stopped.err;
    EXPECT_NE(stopped.out.find("zevo-dm: stopped serving on SIGTERM"), std::string::npos) << stopped.out;
}

TEST(serve_process, tshark_decodes_a_served_session_without_malformed_packets_or_errors) {
    if (const std::string why = Loopback_capture::unusable(); !why.empty()) GTEST_SKIP() << why;
    Serve_process serve(instant_routines);
    ASSERT_NE(serve.port(), 0);
    Loopback_capture capture(serve.port_text());
    ASSERT_TRUE(capture.start()) << "tshark did not start capturing";
    const Temporary_file requests(session_request_file());
    const Run_result session =
        run({ZEVO_TEST_ZEVO_TESTER, "--port", serve.port_text(), "--doip-version", "3", "--file", requests.path()});
    EXPECT_EQ(session.exit_code, 0) << session.out << session.err;
    const Run_result discovered = run({ZEVO_TEST_ZEVO_TESTER, "--port", serve.port_text(), "--discover", "--host", "127.0.0.1"});
    EXPECT_EQ(discovered.exit_code, 0) << discovered.out << discovered.err;
    EXPECT_TRUE(capture.stop()) << "tshark missed the end of the session or had to be killed";
    const Run_result decoded = capture.payload_types();
    EXPECT_EQ(decoded.exit_code, 0) << decoded.err;
    for (const char* type : {"0x0001", "0x0004", "0x0005", "0x0006", "0x8001", "0x8002"}) {
        EXPECT_NE(decoded.out.find(type), std::string::npos) << "no DoIP message of type " << type << ":\n" << decoded.out;
    }
    const Run_result found = capture.problems();
    EXPECT_EQ(found.exit_code, 0) << found.err;
    EXPECT_EQ(found.out, "") << "malformed packets or expert errors:\n" << found.out;
    EXPECT_EQ(capture.expert_errors().out.find("Errors ("), std::string::npos);
    EXPECT_EQ(serve.stop().exit_code, 0);
}

// ---- held jobs

TEST(serve_process, x31_a_tester_leaving_during_a_held_start_cancels_its_job_and_serve_goes_on_for_another) {
    Serve_process serve(held_debug_start);
    ASSERT_NE(serve.port(), 0);
    {
        Uds_tester leaving(serve.port(), 0x0E80);
        ASSERT_TRUE(leaving.activated());
        ASSERT_TRUE(leaving.request(held_start().request));
        ASSERT_TRUE(response_pending(leaving.answer(), 0x31)) << "the held Start did not run";
    }  // the tester closes its connection with the job holding
    EXPECT_TRUE(serve.wait_for_error_line("request " + host::format_hex_bytes(held_start().request) +
                                          " of tester 0E80 on connection 1 cancelled"))
        << "the held job was not cancelled";
    Uds_tester next(serve.port(), 0x0E81);
    ASSERT_TRUE(next.activated());
    EXPECT_EQ(next.exchange(echo_start().request), echo_start().expected);
    const sim::Session_step& read = step_titled("read 0x2C56 training counter");
    EXPECT_EQ(next.exchange(read.request), read.expected);
    const Run_result stopped = serve.stop();
    EXPECT_EQ(stopped.exit_code, 0) << stopped.err;
}

TEST(serve_process, x31_sigterm_during_a_held_start_exits_0_in_time_and_sends_no_positive_answer) {
    Serve_process serve(held_debug_start);
    ASSERT_NE(serve.port(), 0);
    Uds_tester waiting(serve.port(), 0x0E80);
    ASSERT_TRUE(waiting.activated());
    ASSERT_TRUE(waiting.request(held_start().request));
    ASSERT_TRUE(response_pending(waiting.answer(), 0x31)) << "the held Start did not run";
    const auto signalled = std::chrono::steady_clock::now();
    const Run_result stopped = serve.stop(10s);
    const auto took = std::chrono::steady_clock::now() - signalled;
    EXPECT_EQ(stopped.exit_code, 0) << stopped.err;
    EXPECT_LT(took, 5s) << "longer than the interrupt watcher's own bound";
    EXPECT_NE(stopped.out.find("zevo-dm: stopped serving on SIGTERM"), std::string::npos) << stopped.out;
    EXPECT_NE(stopped.err.find("of tester 0E80 on connection 1 cancelled"), std::string::npos) << stopped.err;
    for (int frames = 0; frames < 100; ++frames) {
        const std::optional<Bytes> late = waiting.answer(2s);
        if (!late) break;
        EXPECT_EQ(*late, (Bytes{0x7F, 0x31, 0x78})) << "only response pending may reach the tester";
    }
    EXPECT_TRUE(waiting.at_end()) << "the connection was not closed";
}

TEST(serve_process, x31_a_second_tester_asking_for_the_held_routine_gets_busy_and_is_served_another) {
    Serve_process serve(held_debug_start);
    ASSERT_NE(serve.port(), 0);
    Uds_tester first(serve.port(), 0x0E80);
    ASSERT_TRUE(first.activated());
    ASSERT_TRUE(first.request(held_start().request));
    ASSERT_TRUE(response_pending(first.answer(), 0x31)) << "the held Start did not run";
    Uds_tester second(serve.port(), 0x0E81);
    ASSERT_TRUE(second.activated());
    EXPECT_EQ(second.exchange(echo_start().request), (Bytes{0x7F, 0x31, 0x21}));
    const sim::Session_step& read = step_titled("read 0x2C60 key list");
    EXPECT_EQ(second.exchange(read.request), read.expected) << "another extension's job runs beside the held one";
    const Run_result stopped = serve.stop();
    EXPECT_EQ(stopped.exit_code, 0) << stopped.err;
}

// ---- start

TEST(serve_process, a_port_in_use_exits_4_naming_address_and_port) {
    Serve_process serve(instant_routines);
    ASSERT_NE(serve.port(), 0);
    const Temporary_file scenario(instant_routines);
    const Run_result second = run({ZEVO_TEST_ZEVO_DM, "--log-level", "3", "--scenario", scenario.path(), "--listen",
                                   "127.0.0.1:" + serve.port_text(), "serve"},
                                  30s);
    EXPECT_EQ(second.exit_code, 4) << second.out << second.err;
    EXPECT_NE(second.err.find("zevo-dm: cannot serve DoIP on 127.0.0.1 port " + serve.port_text() + ": "),
              std::string::npos)
        << second.err;
    EXPECT_EQ(serve.stop().exit_code, 0);
}

}  // namespace
}  // namespace zevo::serve::testing

// The host's UDS server with fake extensions on a clock that only the test moves: response
// pending (0x78) timing, the suppress bit, functional requests, the check order of 0x10, 0x22,
// 0x2E, 0x31 and 0x3E against a description, busy identifiers (0x21) beside jobs that run in
// parallel, cancellation when a tester is gone or the server shuts down, S3, and 0x78 returned
// as a final code. Tests named by the SID they are about.

#include "host/uds_server/uds_server.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "fake_extensions.h"
#include "held_fakes.h"
#include "host/hex_bytes.h"
#include "host/uds_server/diagnostic_description.h"
#include "host/uds_server/synchronous_tester.h"
#include "host/uds_server/timer_queue.h"

namespace zevo::host {
namespace {

using testing::Fake_data_identifier;
using testing::Fake_routine;
using testing::Held_data_identifier;
using testing::Held_routine;
using Bytes = std::vector<std::uint8_t>;
using Kind = Request_end::Kind;
using namespace std::chrono_literals;

constexpr std::chrono::seconds bound{10};

/// A description for the tests: 0x2C56 and 0x2C55 readable everywhere; 0x2C57 readable and
/// writable (two bytes) in the extended session only; 0xC00F start and results everywhere;
/// 0xC00A start (one option byte), stop and results everywhere; 0xC00B only in extended.
const char* const test_description = R"({
  "data_identifiers": [
    {"id": "0x2C56", "read": ["default", "extended"]},
    {"id": "0x2C55", "read": ["default", "extended"]},
    {"id": "0x2C57", "read": ["extended"], "write": ["extended"], "write_length": 2}
  ],
  "routines": [
    {"id": "0xC00F", "sessions": ["default", "extended"], "sub_functions": ["start", "results"]},
    {"id": "0xC00A", "sessions": ["default", "extended"], "sub_functions": ["start", "stop", "results"],
     "option_length": {"start": 1}},
    {"id": "0xC00B", "sessions": ["extended"], "sub_functions": ["start"]}
  ]
})";

/// What a tester received for one request: every answer, and the end. Filled on the server's
/// threads (and on the test thread while it advances the clock).
class Inbox {
public:
    Uds_reply reply() {
        return [this](Bytes answer) {
            const std::lock_guard<std::mutex> lock(mutex_);
            answers_.push_back(std::move(answer));
            changed_.notify_all();
            return true;
        };
    }
    Request_done done() {
        return [this](const Request_end& end) {
            const std::lock_guard<std::mutex> lock(mutex_);
            end_ = end;
            ended_ = true;
            changed_.notify_all();
        };
    }
    /// The end, once it has come (bounded); fails the test otherwise.
    Request_end wait_end() {
        std::unique_lock<std::mutex> lock(mutex_);
        if (!changed_.wait_for(lock, bound, [this] { return ended_; })) ADD_FAILURE() << "the request did not end";
        return end_;
    }
    bool ended() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return ended_;
    }
    std::vector<Bytes> answers() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return answers_;
    }

private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Bytes> answers_;
    Request_end end_;
    bool ended_ = false;
};

class host_uds_server : public ::testing::Test {
protected:
    host_uds_server() {
        dispatcher.add_data_identifier(0x2C56, training_counter);
        dispatcher.add_data_identifier(0x2C55, identity);
        dispatcher.add_data_identifier(0x2C57, history);
        dispatcher.add_routine(0xC00F, state);
        dispatcher.add_routine(0xC00A, container);
        dispatcher.add_routine(0xC00B, verification);
        identity.record = {0x01, 0x02, 0x03};
        history.record = {0x00, 0x04};
        container.start_status = {0x02};
        settings.warn = [this](const std::string& warning) {
            const std::lock_guard<std::mutex> lock(warnings_mutex);
            warnings.push_back(warning);
        };
    }

    Uds_server& server() {
        if (!server_) server_ = std::make_unique<Uds_server>(dispatcher, parse_description(test_description), timers, settings);
        return *server_;
    }

    /// Sends and returns the inbox, without waiting.
    std::shared_ptr<Inbox> send(const Bytes& request, std::uint64_t tester = 1, bool functional = false) {
        auto inbox = std::make_shared<Inbox>();
        inboxes.push_back(inbox);
        server().on_request(tester, 0x0E80, functional, request, inbox->reply(), inbox->done());
        return inbox;
    }

    /// Sends and waits for the end: the final answer, or nothing ("none" for suppressed and
    /// withheld, "cancelled").
    std::string answer(const Bytes& request, bool functional = false) {
        const Request_end end = send(request, 1, functional)->wait_end();
        switch (end.kind) {
            case Kind::answered: return hex(end.answer);
            case Kind::suppressed: return "suppressed";
            case Kind::functional: return "withheld";
            case Kind::cancelled: return "cancelled";
        }
        return "?";
    }

    static std::string hex(const Bytes& bytes) { return format_hex_bytes(bytes); }

    Held_data_identifier training_counter;  // 0x2C56, record 00 05
    Held_data_identifier identity;          // 0x2C55
    Fake_data_identifier history;           // 0x2C57
    Held_routine state;                     // 0xC00F, results 01 02
    Fake_routine container;                 // 0xC00A
    Fake_routine verification;              // 0xC00B
    Uds_dispatcher dispatcher{0x0E80};
    Manual_timer_queue timers;
    Uds_server_settings settings;
    std::mutex warnings_mutex;
    std::vector<std::string> warnings;
    std::vector<std::shared_ptr<Inbox>> inboxes;  // outlive the server, which may still hold their functions
    std::unique_ptr<Uds_server> server_;          // destroyed first: it waits for its jobs

    ~host_uds_server() override {
        // Release whatever a failed test left holding, so that the server's destructor returns.
        training_counter.job.hold = false;
        training_counter.job.answer();
        identity.job.answer();
        state.job.answer();
        server_.reset();
    }
};

// ---- 0x78: response pending

TEST_F(host_uds_server, x31_a_held_call_gets_0x78_before_p2_again_within_p2_star_then_the_final_answer) {
    state.job.hold = true;
    const auto inbox = send({0x31, 0x01, 0xC0, 0x0F, 0x00});
    ASSERT_TRUE(state.job.wait_until_holding(bound));
    timers.advance(39ms);
    EXPECT_TRUE(inbox->answers().empty()) << "nothing before 4/5 of P2";
    timers.advance(1ms);  // 40 ms: before P2 (50 ms)
    EXPECT_EQ(inbox->answers(), (std::vector<Bytes>{{0x7F, 0x31, 0x78}}));
    timers.advance(1999ms);
    EXPECT_EQ(inbox->answers().size(), 1u);
    timers.advance(1ms);  // 2 s after the first: well within P2* (5 s)
    EXPECT_EQ(inbox->answers().size(), 2u);
    timers.advance(2000ms);
    EXPECT_EQ(inbox->answers().size(), 3u);
    state.job.answer();
    const Request_end end = inbox->wait_end();
    EXPECT_EQ(end.kind, Kind::answered);
    EXPECT_EQ(inbox->answers(), (std::vector<Bytes>{{0x7F, 0x31, 0x78}, {0x7F, 0x31, 0x78}, {0x7F, 0x31, 0x78},
                                                    {0x71, 0x01, 0xC0, 0x0F}}));
    timers.advance(10s);
    EXPECT_EQ(inbox->answers().size(), 4u) << "no 0x78 after the final answer";
}

TEST_F(host_uds_server, x31_every_0x78_sent_is_noted_for_the_log) {
    std::mutex notes_mutex;
    std::vector<std::string> notes;
    settings.note = [&](const std::string& event) {
        const std::lock_guard<std::mutex> lock(notes_mutex);
        notes.push_back(event);
    };
    state.job.hold = true;
    const auto inbox = send({0x31, 0x01, 0xC0, 0x0F, 0x00});
    ASSERT_TRUE(state.job.wait_until_holding(bound));
    timers.advance(40ms);
    timers.advance(2000ms);
    state.job.answer();
    EXPECT_EQ(inbox->wait_end().kind, Kind::answered);
    server_.reset();  // no note can come after this
    EXPECT_EQ(notes, (std::vector<std::string>{"7F 31 78 sent: the job has not answered yet",
                                               "7F 31 78 sent: the job has not answered yet"}));
}

TEST_F(host_uds_server, x22_an_answer_within_p2_gets_no_0x78) {
    EXPECT_EQ(answer({0x22, 0x2C, 0x56}), "62 2C 56 00 05");
    timers.advance(10s);
    EXPECT_EQ(inboxes.back()->answers().size(), 1u);
}

TEST_F(host_uds_server, x22_p2_and_p2_star_follow_the_settings) {
    settings.p2 = 100ms;
    settings.p2_star = 1000ms;
    training_counter.job.hold = true;
    const auto inbox = send({0x22, 0x2C, 0x56});
    ASSERT_TRUE(training_counter.job.wait_until_holding(bound));
    timers.advance(79ms);
    EXPECT_TRUE(inbox->answers().empty());
    timers.advance(1ms);
    EXPECT_EQ(inbox->answers().size(), 1u);
    timers.advance(400ms);
    EXPECT_EQ(inbox->answers().size(), 2u);
    training_counter.job.answer();
    EXPECT_EQ(inbox->wait_end().answer, (Bytes{0x62, 0x2C, 0x56, 0x00, 0x05}));
}

TEST_F(host_uds_server, x31_an_extension_that_returns_0x78_as_its_final_code_gets_0x10_and_a_warning) {
    state.job.code = 0x78;
    EXPECT_EQ(answer({0x31, 0x03, 0xC0, 0x0F}), "7F 31 10");
    const std::lock_guard<std::mutex> lock(warnings_mutex);
    ASSERT_EQ(warnings.size(), 1u);
    EXPECT_EQ(warnings[0], "an extension answered 7F 31 78 as its final code; sent generalReject instead");
}

// ---- suppress bit

TEST_F(host_uds_server, x31_suppress_bit_without_0x78_sends_nothing_for_a_positive_answer) {
    EXPECT_EQ(answer({0x31, 0x81, 0xC0, 0x0F, 0x00}), "suppressed");
    EXPECT_TRUE(inboxes.back()->answers().empty());
    EXPECT_EQ(state.job.jobs(), 1) << "the routine was started all the same";
}

TEST_F(host_uds_server, x31_suppress_bit_after_a_0x78_still_sends_the_final_answer) {
    state.job.hold = true;
    const auto inbox = send({0x31, 0x81, 0xC0, 0x0F, 0x00});
    ASSERT_TRUE(state.job.wait_until_holding(bound));
    timers.advance(40ms);
    state.job.answer();
    EXPECT_EQ(inbox->wait_end().kind, Kind::answered);
    EXPECT_EQ(inbox->answers(), (std::vector<Bytes>{{0x7F, 0x31, 0x78}, {0x71, 0x01, 0xC0, 0x0F}}));
}

TEST_F(host_uds_server, x31_suppress_bit_keeps_negative_answers) {
    state.job.code = 0x22;
    EXPECT_EQ(answer({0x31, 0x81, 0xC0, 0x0F, 0x00}), "7F 31 22");
    EXPECT_EQ(answer({0x31, 0x82, 0xC0, 0x0F}), "7F 31 12");
}

TEST_F(host_uds_server, x3e_and_x10_suppress_bit_sends_nothing_but_acts) {
    EXPECT_EQ(answer({0x3E, 0x80}), "suppressed");
    EXPECT_EQ(answer({0x10, 0x83}), "suppressed");
    EXPECT_EQ(server().active_session(), session::extended_session);
}

// ---- functional requests

TEST_F(host_uds_server, functional_requests_get_no_0x11_0x12_0x31_but_other_answers) {
    EXPECT_EQ(answer({0x19, 0x02}, true), "withheld");              // 0x11
    EXPECT_EQ(answer({0x3E, 0x05}, true), "withheld");              // 0x12
    EXPECT_EQ(answer({0x22, 0x99, 0x99}, true), "withheld");        // 0x31
    EXPECT_EQ(answer({0x31, 0x02, 0xC0, 0x0F}, true), "withheld");  // 0x12 from the description
    EXPECT_EQ(answer({0x3E}, true), "7F 3E 13");
    EXPECT_EQ(answer({0x3E, 0x00}, true), "7E 00");
    EXPECT_EQ(answer({0x22, 0x2C, 0x56}, true), "62 2C 56 00 05");
    for (const auto& inbox : inboxes) {
        for (const Bytes& sent : inbox->answers()) EXPECT_FALSE(sent.size() == 3 && sent[2] == 0x31) << hex(sent);
    }
}

TEST_F(host_uds_server, x31_functional_request_gets_the_extension_0x31_only_after_a_0x78) {
    state.job.code = 0x31;
    EXPECT_EQ(answer({0x31, 0x01, 0xC0, 0x0F, 0x00}, true), "withheld");
    state.job.hold = true;
    const auto inbox = send({0x31, 0x01, 0xC0, 0x0F, 0x00}, 1, true);
    ASSERT_TRUE(state.job.wait_until_holding(bound));
    timers.advance(40ms);
    state.job.answer();
    EXPECT_EQ(inbox->wait_end().kind, Kind::answered);
    EXPECT_EQ(inbox->answers(), (std::vector<Bytes>{{0x7F, 0x31, 0x78}, {0x7F, 0x31, 0x31}}));
}

// ---- check orders

TEST_F(host_uds_server, x10_check_order_length_sub_function_exact_length_then_the_timing_record) {
    EXPECT_EQ(answer({0x10}), "7F 10 13");
    EXPECT_EQ(answer({0x10, 0x02}), "7F 10 12");
    EXPECT_EQ(answer({0x10, 0x05, 0x00}), "7F 10 12") << "sub-function before the exact length";
    EXPECT_EQ(answer({0x10, 0x03, 0x00}), "7F 10 13");
    EXPECT_EQ(server().active_session(), session::default_session);
    EXPECT_EQ(answer({0x10, 0x03}), "50 03 00 32 01 F4");
    EXPECT_EQ(server().active_session(), session::extended_session);
    EXPECT_EQ(answer({0x10, 0x01}), "50 01 00 32 01 F4");
    EXPECT_EQ(server().active_session(), session::default_session);
}

TEST_F(host_uds_server, x10_timing_record_follows_the_settings) {
    settings.p2 = 300ms;
    settings.p2_star = 2000ms;
    EXPECT_EQ(answer({0x10, 0x01}), "50 01 01 2C 00 C8");
}

TEST_F(host_uds_server, x22_check_order_length_count_session_then_identifier) {
    EXPECT_EQ(answer({0x22}), "7F 22 13");
    EXPECT_EQ(answer({0x22, 0x2C}), "7F 22 13");
    EXPECT_EQ(answer({0x22, 0x99, 0x99, 0x2C}), "7F 22 13") << "length before the identifiers";
    Bytes nine{0x22};
    for (int i = 0; i < 9; ++i) nine.insert(nine.end(), {0x2C, 0x56});
    EXPECT_EQ(answer(nine), "7F 22 13") << "more DIDs than the server's maximum of 8";
    EXPECT_EQ(answer({0x22, 0x99, 0x99}), "7F 22 31");
    EXPECT_EQ(answer({0x22, 0x2C, 0x57}), "7F 22 31") << "readable in the extended session only";
    EXPECT_EQ(answer({0x22, 0x2C, 0x57, 0x2C, 0x56}), "62 2C 56 00 05") << "the unreadable DID is skipped";
    EXPECT_TRUE(history.calls.empty());
    EXPECT_EQ(answer({0x10, 0x03}), "50 03 00 32 01 F4");
    EXPECT_EQ(answer({0x22, 0x2C, 0x57, 0x2C, 0x56}), "62 2C 57 00 04 2C 56 00 05");
}

TEST_F(host_uds_server, x22_an_answer_longer_than_the_transport_takes_gets_0x14) {
    settings.max_response_size = 9;
    EXPECT_EQ(answer({0x22, 0x2C, 0x56, 0x2C, 0x55}), "7F 22 14");  // 62 + 2+2 + 2+3 = 10 bytes
    EXPECT_EQ(answer({0x22, 0x2C, 0x55, 0x2C, 0x56}), "7F 22 14");
    EXPECT_EQ(answer({0x22, 0x2C, 0x56, 0x2C, 0x56}), "62 2C 56 00 05 2C 56 00 05");  // 9 bytes
}

TEST_F(host_uds_server, x2e_check_order_length_writable_in_session_data_length_then_the_extension) {
    EXPECT_EQ(answer({0x2E, 0x2C, 0x57}), "7F 2E 13");
    EXPECT_EQ(answer({0x2E, 0x2C, 0x56, 0x01, 0x02}), "7F 2E 31") << "never writable";
    EXPECT_EQ(answer({0x2E, 0x2C, 0x57, 0x01, 0x02}), "7F 2E 31") << "writable in the extended session only";
    EXPECT_EQ(answer({0x10, 0x03}), "50 03 00 32 01 F4");
    EXPECT_EQ(answer({0x2E, 0x2C, 0x57, 0x01}), "7F 2E 13") << "the record is two bytes";
    EXPECT_EQ(answer({0x2E, 0x99, 0x99, 0x01}), "7F 2E 31");
    EXPECT_TRUE(history.calls.empty()) << "what the description refuses never reaches the extension";
    EXPECT_EQ(answer({0x2E, 0x2C, 0x57, 0x01, 0x02}), "6E 2C 57");
    ASSERT_EQ(history.calls.size(), 1u);
    EXPECT_EQ(history.calls[0].operation, "write");
    EXPECT_EQ(history.calls[0].request, (Bytes{0x01, 0x02}));
    history.write_result = 0x22;
    EXPECT_EQ(answer({0x2E, 0x2C, 0x57, 0x01, 0x02}), "7F 2E 22");
}

TEST_F(host_uds_server, x31_check_order_length_identifier_in_session_sub_function_then_option_length) {
    EXPECT_EQ(answer({0x31, 0x01, 0xC0}), "7F 31 13");
    EXPECT_EQ(answer({0x31, 0x04, 0xC0}), "7F 31 13") << "length before the sub-function";
    EXPECT_EQ(answer({0x31, 0x04, 0x99, 0x99}), "7F 31 31") << "identifier before the sub-function";
    EXPECT_EQ(answer({0x31, 0x01, 0xC0, 0x0B}), "7F 31 31") << "0xC00B only in the extended session";
    EXPECT_EQ(answer({0x31, 0x04, 0xC0, 0x0A}), "7F 31 12");
    EXPECT_EQ(answer({0x31, 0x02, 0xC0, 0x0F}), "7F 31 12") << "0xC00F has no stop";
    EXPECT_EQ(answer({0x31, 0x01, 0xC0, 0x0A}), "7F 31 13") << "start of 0xC00A takes one option byte";
    EXPECT_EQ(answer({0x31, 0x01, 0xC0, 0x0A, 0x01, 0x02}), "7F 31 13");
    EXPECT_TRUE(container.calls.empty());
    EXPECT_EQ(answer({0x31, 0x01, 0xC0, 0x0A, 0x07}), "71 01 C0 0A 02");
    EXPECT_EQ(answer({0x31, 0x02, 0xC0, 0x0A, 0x01, 0x02}), "71 02 C0 0A") << "no length rule for stop";
    EXPECT_EQ(answer({0x10, 0x03}), "50 03 00 32 01 F4");
    EXPECT_EQ(answer({0x31, 0x01, 0xC0, 0x0B}), "71 01 C0 0B");
}

TEST_F(host_uds_server, x3e_check_order_length_sub_function_exact_length) {
    EXPECT_EQ(answer({0x3E}), "7F 3E 13");
    EXPECT_EQ(answer({0x3E, 0x01}), "7F 3E 12");
    EXPECT_EQ(answer({0x3E, 0x01, 0x00}), "7F 3E 12") << "sub-function before the exact length";
    EXPECT_EQ(answer({0x3E, 0x00, 0x00}), "7F 3E 13");
    EXPECT_EQ(answer({0x3E, 0x00}), "7E 00");
    EXPECT_EQ(answer({0x3E, 0x80}), "suppressed");
}

TEST_F(host_uds_server, unknown_service_gets_0x11_and_an_empty_request_0x13) {
    EXPECT_EQ(answer({0x19, 0x02, 0x08}), "7F 19 11");
    EXPECT_EQ(answer({0x11, 0x01}), "7F 11 11");
    EXPECT_EQ(answer({}), "7F 00 13");
}

// ---- busy identifiers and parallel jobs

TEST_F(host_uds_server, x22_a_second_request_for_a_running_identifier_gets_0x21_while_another_runs_beside_it) {
    training_counter.job.hold = true;
    identity.job.hold = true;
    const auto first = send({0x22, 0x2C, 0x56}, 1);
    ASSERT_TRUE(training_counter.job.wait_until_holding(bound));
    const auto other = send({0x22, 0x2C, 0x55}, 2);
    ASSERT_TRUE(identity.job.wait_until_holding(bound)) << "a different identifier runs at the same time";
    EXPECT_EQ(send({0x22, 0x2C, 0x56}, 2)->wait_end().answer, (Bytes{0x7F, 0x22, 0x21}));
    EXPECT_EQ(send({0x22, 0x2C, 0x55, 0x2C, 0x56}, 3)->wait_end().answer, (Bytes{0x7F, 0x22, 0x21}));
    EXPECT_EQ(training_counter.job.jobs(), 1);
    EXPECT_FALSE(first->ended());
    identity.job.answer();
    EXPECT_EQ(other->wait_end().answer, (Bytes{0x62, 0x2C, 0x55, 0x01, 0x02, 0x03}));
    training_counter.job.answer();
    EXPECT_EQ(first->wait_end().answer, (Bytes{0x62, 0x2C, 0x56, 0x00, 0x05}));
    training_counter.job.hold = false;
    EXPECT_EQ(answer({0x22, 0x2C, 0x56}), "62 2C 56 00 05") << "free again";
}

TEST_F(host_uds_server, x31_busy_routine_gets_0x21_also_for_another_sub_function) {
    state.job.hold = true;
    const auto first = send({0x31, 0x01, 0xC0, 0x0F, 0x00});
    ASSERT_TRUE(state.job.wait_until_holding(bound));
    EXPECT_EQ(answer({0x31, 0x03, 0xC0, 0x0F}), "7F 31 21");
    state.job.answer();
    EXPECT_EQ(first->wait_end().answer, (Bytes{0x71, 0x01, 0xC0, 0x0F}));
}

// ---- cancellation

TEST_F(host_uds_server, x22_tester_gone_cancels_its_job_through_the_extension_and_sends_nothing) {
    training_counter.job.hold = true;
    const auto inbox = send({0x22, 0x2C, 0x56}, 7);
    ASSERT_TRUE(training_counter.job.wait_until_holding(bound));
    server().on_tester_gone(8);  // another tester: nothing happens
    EXPECT_EQ(training_counter.job.cancels(), 0);
    server().on_tester_gone(7);
    const Request_end end = inbox->wait_end();
    EXPECT_EQ(end.kind, Kind::cancelled);
    EXPECT_EQ(training_counter.job.cancels(), 1);
    ASSERT_EQ(training_counter.job.cancel_meta_infos().size(), 1u);
    EXPECT_EQ(training_counter.job.cancel_meta_infos()[0].at("identifier"), "0x2C56");
    timers.advance(10s);
    EXPECT_TRUE(inbox->answers().empty()) << "no 0x78, no positive answer";
}

TEST_F(host_uds_server, x31_tester_gone_after_a_0x78_gets_nothing_more) {
    state.job.hold = true;
    const auto inbox = send({0x31, 0x01, 0xC0, 0x0F, 0x00}, 7);
    ASSERT_TRUE(state.job.wait_until_holding(bound));
    timers.advance(40ms);
    server().on_tester_gone(7);
    EXPECT_EQ(inbox->wait_end().kind, Kind::cancelled);
    timers.advance(10s);
    EXPECT_EQ(inbox->answers(), (std::vector<Bytes>{{0x7F, 0x31, 0x78}}));
    EXPECT_EQ(state.job.cancels(), 1);
}

TEST_F(host_uds_server, x22_cancel_all_ends_the_job_as_cancelled_never_as_a_positive_answer) {
    training_counter.job.hold = true;
    const auto inbox = send({0x22, 0x2C, 0x56});
    ASSERT_TRUE(training_counter.job.wait_until_holding(bound));
    EXPECT_EQ(server().cancel_all(), 1u);
    EXPECT_EQ(inbox->wait_end().kind, Kind::cancelled);
    EXPECT_TRUE(inbox->answers().empty());
}

TEST_F(host_uds_server, shutdown_cancels_running_jobs_and_refuses_later_requests) {
    state.job.hold = true;
    const auto inbox = send({0x31, 0x03, 0xC0, 0x0F});
    ASSERT_TRUE(state.job.wait_until_holding(bound));
    server().shutdown();
    EXPECT_EQ(inbox->wait_end().kind, Kind::cancelled);
    EXPECT_EQ(answer({0x22, 0x2C, 0x56}), "cancelled");
    EXPECT_EQ(training_counter.job.jobs(), 0);
    EXPECT_TRUE(inbox->answers().empty());
}

// ---- S3

TEST_F(host_uds_server, x10_s3_expiry_returns_to_the_default_session_and_every_request_restarts_it) {
    EXPECT_EQ(answer({0x10, 0x03}), "50 03 00 32 01 F4");
    timers.advance(4999ms);
    EXPECT_EQ(server().active_session(), session::extended_session);
    EXPECT_EQ(answer({0x3E, 0x80}), "suppressed");  // restarts S3
    timers.advance(4999ms);
    EXPECT_EQ(server().active_session(), session::extended_session);
    EXPECT_EQ(answer({0x2E, 0x2C, 0x57, 0x01, 0x02}), "6E 2C 57");
    timers.advance(5000ms);
    EXPECT_EQ(server().active_session(), session::default_session);
    EXPECT_EQ(answer({0x2E, 0x2C, 0x57, 0x01, 0x02}), "7F 2E 31");
}

TEST_F(host_uds_server, x10_s3_stands_still_while_a_job_runs_and_starts_again_at_its_answer) {
    EXPECT_EQ(answer({0x10, 0x03}), "50 03 00 32 01 F4");
    state.job.hold = true;
    const auto inbox = send({0x31, 0x01, 0xC0, 0x0F, 0x00});
    ASSERT_TRUE(state.job.wait_until_holding(bound));
    timers.advance(12s);
    EXPECT_EQ(server().active_session(), session::extended_session);
    state.job.answer();
    EXPECT_EQ(inbox->wait_end().answer, (Bytes{0x71, 0x01, 0xC0, 0x0F}));
    timers.advance(4999ms);
    EXPECT_EQ(server().active_session(), session::extended_session);
    timers.advance(1ms);
    EXPECT_EQ(server().active_session(), session::default_session);
}

TEST_F(host_uds_server, meta_info_carries_the_testers_source_address) {
    const auto inbox = std::make_shared<Inbox>();
    inboxes.push_back(inbox);
    server().on_request(3, 0x0E81, false, {0x2E, 0x2C, 0x57, 0x01, 0x02}, inbox->reply(), inbox->done());
    inbox->wait_end();
    EXPECT_EQ(answer({0x10, 0x03}), "50 03 00 32 01 F4");
    const auto second = std::make_shared<Inbox>();
    inboxes.push_back(second);
    server().on_request(3, 0x0E81, false, {0x2E, 0x2C, 0x57, 0x01, 0x02}, second->reply(), second->done());
    EXPECT_EQ(second->wait_end().answer, (Bytes{0x6E, 0x2C, 0x57}));
    ASSERT_EQ(history.calls.size(), 1u);
    EXPECT_EQ(history.calls[0].meta_info.at("tester_address"), "0x0E81");
}

// ---- how the command line prints an exchange

TEST(host_synchronous_tester, describe_exchange_prints_every_0x78_then_the_final_answer_or_what_came_instead) {
    Exchange held;
    held.answers = {{0x7F, 0x31, 0x78}, {0x71, 0x01, 0xC0, 0x0F}};
    held.end = Request_end{Kind::answered, {0x71, 0x01, 0xC0, 0x0F}, {}};
    EXPECT_EQ(describe_exchange(held), (std::vector<std::string>{"<- 7F 31 78", "<- 71 01 C0 0F"}));
    Exchange cancelled;
    cancelled.answers = {{0x7F, 0x22, 0x78}};
    cancelled.end = Request_end{Kind::cancelled, {}, {}};
    EXPECT_EQ(describe_exchange(cancelled), (std::vector<std::string>{"<- 7F 22 78", "<- (cancelled)"}));
    Exchange suppressed;
    suppressed.end = Request_end{Kind::suppressed, {}, {}};
    EXPECT_EQ(describe_exchange(suppressed), (std::vector<std::string>{"<- (no response: suppressed)"}));
    Exchange withheld;
    withheld.end = Request_end{Kind::functional, {}, {}};
    EXPECT_EQ(describe_exchange(withheld), (std::vector<std::string>{"<- (no response: functional request)"}));
}

TEST_F(host_uds_server, synchronous_tester_waits_for_the_end_and_keeps_every_answer) {
    state.job.hold = true;
    Synchronous_tester tester(server(), 0x0E80, 9);
    std::future<Exchange> exchange =
        std::async(std::launch::async, [&] { return tester.exchange({0x31, 0x01, 0xC0, 0x0F, 0x00}); });
    const bool holding = state.job.wait_until_holding(bound);
    if (holding) {
        timers.advance(40ms);
    } else {
        state.job.hold = false;  // a job that starts late must not hold: the future waits for it
    }
    state.job.answer();
    ASSERT_TRUE(holding);
    ASSERT_EQ(exchange.wait_for(bound), std::future_status::ready);
    const Exchange result = exchange.get();
    EXPECT_EQ(result.answers, (std::vector<Bytes>{{0x7F, 0x31, 0x78}, {0x71, 0x01, 0xC0, 0x0F}}));
    ASSERT_NE(result.final_answer(), nullptr);
    EXPECT_EQ(*result.final_answer(), (Bytes{0x71, 0x01, 0xC0, 0x0F}));
}

// ---- the default description

class host_uds_server_default : public host_uds_server {
protected:
    Uds_server& default_server() {
        if (!server_) server_ = std::make_unique<Uds_server>(dispatcher, default_description(), timers, settings);
        return *server_;
    }
};

TEST_F(host_uds_server_default, refuses_writes_and_stops_and_lets_reads_starts_and_results_through) {
    default_server();
    EXPECT_EQ(answer({0x2E, 0x2C, 0x55, 0x01, 0x02}), "7F 2E 31");
    EXPECT_EQ(answer({0x31, 0x02, 0xC0, 0x0F}), "7F 31 12");
    EXPECT_EQ(answer({0x31, 0x02, 0xC0, 0x0A, 0x01}), "7F 31 12");
    EXPECT_TRUE(container.calls.empty());
    EXPECT_TRUE(history.calls.empty());
    EXPECT_EQ(answer({0x22, 0x2C, 0x56}), "62 2C 56 00 05");
    EXPECT_EQ(answer({0x31, 0x01, 0xC0, 0x0A}), "71 01 C0 0A 02") << "no length rule: the extension judges";
    EXPECT_EQ(answer({0x31, 0x03, 0xC0, 0x0F}), "71 03 C0 0F 01 02");
    EXPECT_EQ(answer({0x10, 0x03}), "50 03 00 32 01 F4");
    EXPECT_EQ(answer({0x2E, 0x2C, 0x55, 0x01, 0x02}), "7F 2E 31") << "writable in no session";
    EXPECT_EQ(answer({0x22, 0x2C, 0x57}), "62 2C 57 00 04");
}

}  // namespace
}  // namespace zevo::host

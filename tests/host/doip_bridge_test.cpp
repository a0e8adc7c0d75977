// The bridge between the DoIP entity's handler seam and the host's UDS server: a diagnostic
// message becomes a request of the server from the message's connection and source, functional
// or not, answered through the entity's reply; a closed connection cancels that tester's job,
// which the bridge's note reports.

#include "host/doip_bridge.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

#include "held_fakes.h"
#include "host/uds_server/diagnostic_description.h"
#include "host/uds_server/timer_queue.h"

namespace zevo::host {
namespace {

using testing::Held_data_identifier;
using Bytes = std::vector<std::uint8_t>;
using namespace std::chrono_literals;

constexpr std::chrono::seconds bound{10};

/// The answers one connection received, filled on the server's threads.
class Received_answers {
public:
    doip::Diagnostic_reply reply() {
        return [this](Bytes answer) {
            const std::lock_guard<std::mutex> lock(mutex_);
            answers_.push_back(std::move(answer));
            changed_.notify_all();
            return true;
        };
    }
    /// The first answer, waited for (bounded); empty when none came.
    Bytes first() {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait_for(lock, bound, [this] { return !answers_.empty(); });
        return answers_.empty() ? Bytes{} : answers_.front();
    }
    std::size_t count() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return answers_.size();
    }

private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Bytes> answers_;
};

class host_doip_bridge : public ::testing::Test {
protected:
    host_doip_bridge() { dispatcher.add_data_identifier(0x2C56, training_counter); }
    ~host_doip_bridge() override {
        training_counter.job.answer();  // a failed test may leave a job holding
        server.reset();
    }

    doip::Diagnostic_request request(std::uint64_t connection, Bytes uds, bool functional = false) {
        return {connection, 0x0E81, static_cast<std::uint16_t>(functional ? 0xE400 : 0x0010), functional, std::move(uds)};
    }

    Held_data_identifier training_counter;
    Uds_dispatcher dispatcher{0x0E80};
    Manual_timer_queue timers;
    std::vector<std::unique_ptr<Received_answers>> inboxes;  // outlive the server
    std::unique_ptr<Uds_server> server = std::make_unique<Uds_server>(
        dispatcher, parse_description(R"({"data_identifiers": [{"id": "0x2C56", "read": ["default"]}]})"), timers);
    std::mutex notes_mutex;
    std::condition_variable noted;
    std::vector<std::string> notes;  // guarded by notes_mutex
    Doip_bridge bridge{*server, [this](const std::string& note) {
                           const std::lock_guard<std::mutex> lock(notes_mutex);
                           notes.push_back(note);
                           noted.notify_all();
                       }};

    Received_answers& inbox() { return *inboxes.emplace_back(std::make_unique<Received_answers>()); }
};

TEST_F(host_doip_bridge, x22_a_diagnostic_message_is_answered_through_the_entity_s_reply) {
    Received_answers& answers = inbox();
    bridge.on_request(request(3, {0x22, 0x2C, 0x56}), answers.reply());
    EXPECT_EQ(answers.first(), (Bytes{0x62, 0x2C, 0x56, 0x00, 0x05}));
}

TEST_F(host_doip_bridge, x11_a_functional_message_gets_no_negative_answer_a_physical_one_does) {
    Received_answers& functional = inbox();
    bridge.on_request(request(3, {0x11, 0x01}, true), functional.reply());
    Received_answers& physical = inbox();
    bridge.on_request(request(3, {0x11, 0x01}), physical.reply());
    EXPECT_EQ(physical.first(), (Bytes{0x7F, 0x11, 0x11}));
    EXPECT_EQ(functional.count(), 0u) << "withheld: a functional request gets no 0x11";
}

TEST_F(host_doip_bridge, x22_a_closed_connection_cancels_its_job_with_the_tester_s_address_and_nothing_is_sent) {
    training_counter.job.hold = true;
    Received_answers& answers = inbox();
    bridge.on_request(request(5, {0x22, 0x2C, 0x56}), answers.reply());
    ASSERT_TRUE(training_counter.job.wait_until_holding(bound));
    bridge.on_connection_closed(6);  // another connection: nothing happens
    EXPECT_EQ(training_counter.job.cancels(), 0);
    bridge.on_connection_closed(5);
    ASSERT_EQ(training_counter.job.cancels(), 1);
    EXPECT_EQ(training_counter.job.cancel_meta_infos()[0].at("tester_address"), "0x0E81");
    {
        std::unique_lock<std::mutex> lock(notes_mutex);
        ASSERT_TRUE(noted.wait_for(lock, bound, [this] { return !notes.empty(); }));
        EXPECT_EQ(notes, (std::vector<std::string>{"request 22 2C 56 of tester 0E81 on connection 5 cancelled"}));
    }
    server.reset();  // waits for the cancelled job
    EXPECT_EQ(answers.count(), 0u);
}

TEST_F(host_doip_bridge, x22_an_answered_request_is_not_noted) {
    Received_answers& answers = inbox();
    bridge.on_request(request(3, {0x22, 0x2C, 0x56}), answers.reply());
    EXPECT_EQ(answers.first(), (Bytes{0x62, 0x2C, 0x56, 0x00, 0x05}));
    server.reset();  // every request has ended
    EXPECT_TRUE(notes.empty());
}

}  // namespace
}  // namespace zevo::host

// Diagnostic messages: acknowledged before their answer, the negative acknowledges and which of
// them close, functional requests, replies from other threads and after the close, version
// echo, generic header NACKs over TCP, split and coalesced frames, one bad tester beside a
// good one, and stop.

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <thread>

#include "entity_fixture.h"
#include "host/doip/connection.h"

namespace zevo::doip::testing {
namespace {

using namespace std::chrono_literals;

class doip_entity_diagnostic : public Entity_test {
protected:
    // After start() with the default limit: an activated tester that sends 20,000 requests
    // without reading an answer and then a header of a wrong pattern (NACK and close). Returned
    // once the entity has closed it, while the NACK still waits behind what the tester has not
    // read, so that the socket is still there; null when that failed.
    std::unique_ptr<Tcp_tester> nacked_tester_that_does_not_read() {
        auto flooder = std::make_unique<Tcp_tester>(port(), 4096);
        if (flooder->activate(tester_address) != 0x10) return nullptr;
        Bytes burst;
        for (int i = 0; i < 20000; ++i) {
            Bytes one = request({0x22, 0xF1, 0x90});
            burst.insert(burst.end(), one.begin(), one.end());
        }
        burst.insert(burst.end(), {0x07, 0xF8, 0x80, 0x01, 0, 0, 0, 0});
        flooder->send(burst);
        if (!handler_.wait_closed(1) || flooder->hung_up(100ms)) return nullptr;
        return flooder;
    }
};

// Reads the acknowledge and then the answer; both in `version`.
/// Sends a diagnostic message whose version byte and its inverse do not match; the entity must
/// answer the generic NACK 0x00 (incorrect pattern).
void send_wrong_pattern_and_expect_nack_0x00(Tcp_tester& tester) {
    tester.send(Bytes{0x05, 0xFA, 0x80, 0x01, 0, 0, 0, 6, 0x0E, 0x80, 0x00, 0x10, 0x3E, 0x00});
    std::optional<Received> nack = tester.receive();
    ASSERT_TRUE(nack);
    EXPECT_EQ(nack->header.payload_type, payload_type::generic_nack);
    EXPECT_EQ(nack->payload, Bytes{0x00});
}

void expect_ack_then_answer(Tcp_tester& tester, const Bytes& answer, std::uint8_t version = 0x02) {
    std::optional<Received> ack = tester.receive();
    ASSERT_TRUE(ack);
    EXPECT_EQ(ack->header.payload_type, payload_type::diagnostic_ack);
    EXPECT_EQ(ack->header.version, version);
    auto decoded_ack = decode_diagnostic_ack(ack->payload);
    ASSERT_TRUE(decoded_ack);
    EXPECT_EQ(decoded_ack->code, 0x00);
    EXPECT_EQ(decoded_ack->source, entity_address);
    EXPECT_EQ(decoded_ack->target, tester_address);
    std::optional<Received> response = tester.receive();
    ASSERT_TRUE(response);
    EXPECT_EQ(response->header.payload_type, payload_type::diagnostic_message);
    EXPECT_EQ(response->header.version, version);
    auto message = decode_diagnostic_message(response->payload);
    ASSERT_TRUE(message);
    EXPECT_EQ(message->source, entity_address);
    EXPECT_EQ(message->target, tester_address);
    EXPECT_EQ(message->uds, answer);
}

TEST_F(doip_entity_diagnostic, request_is_acknowledged_before_its_answer) {
    start();
    auto tester = activated_tester();
    tester->send(request({0x22, 0xF1, 0x90}));
    expect_ack_then_answer(*tester, {0x62, 0xF1, 0x90});
    std::vector<Diagnostic_request> seen = handler_.requests();
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0].source, tester_address);
    EXPECT_EQ(seen[0].target, entity_address);
    EXPECT_FALSE(seen[0].functional);
    EXPECT_EQ(seen[0].uds, (Bytes{0x22, 0xF1, 0x90}));
}

TEST_F(doip_entity_diagnostic, answers_come_in_the_request_version) {
    start();
    auto tester = activated_tester();
    tester->send(request({0x3E, 0x00}, entity_address, tester_address, 0x03));
    expect_ack_then_answer(*tester, {0x7E, 0x00}, 0x03);
}

TEST_F(doip_entity_diagnostic, functional_request_reaches_the_handler_as_functional) {
    start();
    auto tester = activated_tester();
    tester->send(request({0x3E, 0x00}, 0xE400));
    std::optional<Received> ack = tester->receive();
    ASSERT_TRUE(ack);
    EXPECT_EQ(decode_diagnostic_ack(ack->payload)->source, 0xE400);
    std::optional<Received> response = tester->receive();
    ASSERT_TRUE(response);
    EXPECT_EQ(decode_diagnostic_message(response->payload)->source, entity_address);
    ASSERT_EQ(handler_.requests().size(), 1u);
    EXPECT_TRUE(handler_.requests()[0].functional);
}

TEST_F(doip_entity_diagnostic, request_before_activation_is_nack_0x02_and_closed) {
    start();
    Tcp_tester tester(port());
    tester.send(request({0x22, 0xF1, 0x90}));
    auto nack = receive_ack(tester, payload_type::diagnostic_nack);
    ASSERT_TRUE(nack);
    EXPECT_EQ(nack->code, 0x02);
    EXPECT_TRUE(tester.closed_by_entity());
    EXPECT_TRUE(handler_.requests().empty());
}

TEST_F(doip_entity_diagnostic, request_with_another_source_is_nack_0x02_and_closed) {
    start();
    auto tester = activated_tester();
    tester->send(request({0x22, 0xF1, 0x90}, entity_address, 0x0E81));
    auto nack = receive_ack(*tester, payload_type::diagnostic_nack);
    ASSERT_TRUE(nack);
    EXPECT_EQ(nack->code, 0x02);
    EXPECT_TRUE(tester->closed_by_entity());
    EXPECT_TRUE(handler_.wait_closed(1));
}

TEST_F(doip_entity_diagnostic, unknown_target_is_nack_0x03_and_the_socket_stays) {
    start();
    auto tester = activated_tester();
    tester->send(request({0x22, 0xF1, 0x90}, 0x0011));
    auto nack = receive_ack(*tester, payload_type::diagnostic_nack);
    ASSERT_TRUE(nack);
    EXPECT_EQ(nack->code, 0x03);
    tester->send(request({0x22, 0xF1, 0x90}));
    expect_ack_then_answer(*tester, {0x62, 0xF1, 0x90});
}

TEST_F(doip_entity_diagnostic, message_above_max_data_size_is_nack_0x04) {
    config_.max_data_size = 8;
    start();
    auto tester = activated_tester();
    tester->send(request(Bytes(9, 0x22)));
    auto nack = receive_ack(*tester, payload_type::diagnostic_nack);
    ASSERT_TRUE(nack);
    EXPECT_EQ(nack->code, 0x04);
    tester->send(request(Bytes(8, 0x22)));
    expect_ack_then_answer(*tester, {0x62, 0x22, 0x22, 0x22, 0x22, 0x22, 0x22, 0x22});
}

TEST_F(doip_entity_diagnostic, generic_header_nacks_drop_or_close_as_their_code_says) {
    config_.max_payload = 64;
    config_.memory_budget = 32;
    start();
    auto tester = activated_tester();
    struct Case {
        Bytes frame;
        std::uint8_t code;
    };
    const std::vector<Case> dropped = {
        {encode_frame(0x02, 0x1234, Bytes(3, 0)), 0x01},
        {encode_frame(0x02, payload_type::diagnostic_message, Bytes(65, 0)), 0x02},
        {encode_frame(0x02, payload_type::diagnostic_message, Bytes(40, 0)), 0x03},
    };
    for (const Case& item : dropped) {
        tester->send(item.frame);
        std::optional<Received> nack = tester->receive();
        ASSERT_TRUE(nack);
        EXPECT_EQ(nack->header.payload_type, payload_type::generic_nack);
        EXPECT_EQ(nack->payload, Bytes{item.code});
        tester->send(request({0x3E, 0x00}));  // the socket still carries messages
        expect_ack_then_answer(*tester, {0x7E, 0x00});
    }
    tester->send(encode_frame(0x02, payload_type::alive_check_response, Bytes(3, 0)));
    std::optional<Received> nack = tester->receive();
    ASSERT_TRUE(nack);
    EXPECT_EQ(nack->payload, Bytes{0x04});
    EXPECT_TRUE(tester->closed_by_entity());
}

TEST_F(doip_entity_diagnostic, wrong_pattern_is_nack_0x00_and_closed) {
    start();
    auto tester = activated_tester();
    ASSERT_NO_FATAL_FAILURE(send_wrong_pattern_and_expect_nack_0x00(*tester));
    EXPECT_TRUE(tester->closed_by_entity());
}

TEST_F(doip_entity_diagnostic, split_and_coalesced_frames_are_reassembled) {
    start();
    auto tester = activated_tester();
    Bytes frame = request({0x22, 0xF1, 0x90});
    for (std::uint8_t byte : frame) tester->send(Bytes{byte});
    expect_ack_then_answer(*tester, {0x62, 0xF1, 0x90});
    Bytes two = request({0x22, 0x01, 0x02});
    Bytes second = request({0x3E, 0x00});
    two.insert(two.end(), second.begin(), second.end());
    tester->send(two);
    // Each answer after its own acknowledge, the answers in request order.
    std::vector<std::uint16_t> types;
    std::vector<Bytes> answers;
    for (int i = 0; i < 4; ++i) {
        std::optional<Received> next = tester->receive();
        ASSERT_TRUE(next);
        types.push_back(next->header.payload_type);
        if (next->header.payload_type == payload_type::diagnostic_message) {
            answers.push_back(decode_diagnostic_message(next->payload)->uds);
            EXPECT_GE(std::count(types.begin(), types.end(), payload_type::diagnostic_ack),
                      static_cast<std::ptrdiff_t>(answers.size()));
        }
    }
    EXPECT_EQ(answers, (std::vector<Bytes>{{0x62, 0x01, 0x02}, {0x7E, 0x00}}));
}

TEST_F(doip_entity_diagnostic, held_answer_goes_out_from_another_thread_and_not_after_close) {
    start();
    auto tester = activated_tester();
    tester->send(request({0x31, 0x01, 0xC0, 0x0A}));
    auto ack = receive_ack(*tester, payload_type::diagnostic_ack);
    ASSERT_TRUE(ack);
    ASSERT_TRUE(handler_.wait_requests(1));
    Diagnostic_reply reply = handler_.take_held();
    ASSERT_TRUE(reply);
    bool pending_sent = false;
    std::thread([&] { pending_sent = reply({0x7F, 0x31, 0x78}); }).join();
    EXPECT_TRUE(pending_sent);
    std::optional<Received> pending = tester->receive();
    ASSERT_TRUE(pending);
    EXPECT_EQ(decode_diagnostic_message(pending->payload)->uds, (Bytes{0x7F, 0x31, 0x78}));
    tester->close();
    ASSERT_TRUE(handler_.wait_closed(1));
    EXPECT_FALSE(reply({0x71, 0x01, 0xC0, 0x0A}));
}

TEST_F(doip_entity_diagnostic, frame_cut_by_the_peer_closes_only_that_connection) {
    start();
    auto good = activated_tester(0x0E80);
    auto cut = activated_tester(0x0E81);
    Bytes frame = request({0x22, 0xF1, 0x90}, entity_address, 0x0E81);
    cut->send(Bytes(frame.begin(), frame.begin() + 10));
    cut->close();
    ASSERT_TRUE(handler_.wait_closed(1));
    good->send(request({0x22, 0xF1, 0x90}));
    expect_ack_then_answer(*good, {0x62, 0xF1, 0x90});
}

TEST_F(doip_entity_diagnostic, garbage_and_flooding_tester_does_not_affect_another) {
    config_.max_send_queue = 4096;
    start();
    auto good = activated_tester(0x0E80);
    Tcp_tester garbage(port());
    garbage.send(Bytes(64, 0xAB));
    EXPECT_TRUE(garbage.closed_by_entity());
    Tcp_tester flooder(port(), 4096);
    ASSERT_EQ(flooder.activate(0x0E81), 0x10);
    Bytes burst;
    for (int i = 0; i < 20000; ++i) {
        Bytes one = request({0x22, 0xF1, 0x90}, entity_address, 0x0E81);
        burst.insert(burst.end(), one.begin(), one.end());
    }
    flooder.send(burst);  // never reads its acknowledges and answers
    good->send(request({0x3E, 0x00}));
    expect_ack_then_answer(*good, {0x7E, 0x00});
    EXPECT_TRUE(flooder.closed_by_entity(5s));
}

TEST_F(doip_entity_diagnostic, nack_to_a_tester_that_does_not_read_closes_after_the_linger) {
    start();
    std::unique_ptr<Tcp_tester> flooder = nacked_tester_that_does_not_read();
    ASSERT_TRUE(flooder);
    ASSERT_TRUE(clock_.advance(Connection::close_linger));
    EXPECT_TRUE(flooder->hung_up(3s));
}

TEST_F(doip_entity_diagnostic, nack_to_a_reading_tester_is_followed_by_a_fin_not_a_reset) {
    start();
    auto tester = activated_tester();
    ASSERT_NO_FATAL_FAILURE(send_wrong_pattern_and_expect_nack_0x00(*tester));
    pollfd entry{tester->descriptor(), POLLIN, 0};
    ASSERT_EQ(::poll(&entry, 1, 3000), 1);
    std::uint8_t byte = 0;
    EXPECT_EQ(::recv(tester->descriptor(), &byte, 1, 0), 0);  // the end of the stream, not ECONNRESET
    EXPECT_TRUE(handler_.wait_closed(1));
}

TEST_F(doip_entity_diagnostic, stop_resets_a_connection_still_lingering_before_a_tester_that_does_not_read) {
    start();
    std::unique_ptr<Tcp_tester> flooder = nacked_tester_that_does_not_read();
    ASSERT_TRUE(flooder);
    sut_->stop();
    EXPECT_TRUE(flooder->hung_up(3s));
}

TEST_F(doip_entity_diagnostic, stop_closes_every_connection_and_reports_each) {
    start();
    auto first = activated_tester(0x0E80);
    auto second = activated_tester(0x0E81);
    Tcp_tester unactivated(port());
    ASSERT_TRUE(wait_open_sockets(3));
    sut_->stop();
    EXPECT_TRUE(first->closed_by_entity());
    EXPECT_TRUE(second->closed_by_entity());
    EXPECT_TRUE(unactivated.closed_by_entity());
    EXPECT_EQ(handler_.closed().size(), 3u);
}

}  // namespace
}  // namespace zevo::doip::testing

// Calls over SOME/IP on loopback between the binding's client and server, in one process, with
// a local provider behind the server; and each side against a raw peer that misbehaves. Return
// codes: 0, application errors, 0x81 connection lost, 0x82 not sent, 0x86 no answer in time,
// 0xFF withdrawn; the server's ERROR answers; framing (several messages per datagram, cookies).

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <vector>

#include "someip_calls_fixture.h"
#include "wire_samples.h"

namespace {

using namespace std::chrono_literals;
using namespace ruv::com::someip_binding;
using zevo::test::Handler_probe;
using zevo::test::payload_of;
using zevo::test::ready;
using zevo::test::Someip_calls;
using zevo::test::someip_wire::Raw_peer;
using zevo::test::someip_wire::joined;
using zevo::test::someip_calls::client_id;
using zevo::test::someip_calls::service_id;

TEST_F(Someip_calls, a_response_over_udp_gives_0_and_the_payload) {
    const auto response = call_answered(Transport::udp, 0, {9, 8, 7});
    EXPECT_EQ(response.code, 0);
    EXPECT_EQ(response.bytes, (std::vector<std::uint8_t>{9, 8, 7}));
}

TEST_F(Someip_calls, a_response_over_tcp_gives_0_and_the_payload) {
    const auto response = call_answered(Transport::tcp, 0, {9, 8, 7});
    EXPECT_EQ(response.code, 0);
    EXPECT_EQ(response.bytes, (std::vector<std::uint8_t>{9, 8, 7}));
}

TEST_F(Someip_calls, an_application_error_arrives_as_its_code_with_its_payload) {
    for (Transport transport : {Transport::udp, Transport::tcp}) {
        const auto response = call_answered(transport, 2, {0x31, 0x7F});
        EXPECT_EQ(response.code, 2);
        EXPECT_EQ(response.bytes, (std::vector<std::uint8_t>{0x31, 0x7F}));
    }
}

TEST_F(Someip_calls, a_generic_code_from_the_provider_arrives_as_0x40_plus_code) {
    EXPECT_EQ(call_answered(Transport::udp, 0x49, {}).code, 0x49);
}

TEST_F(Someip_calls, a_udp_payload_over_1400_bytes_is_not_sent_0x82) {
    Handler_probe probe;
    auto service = remote(Transport::udp);
    service->call(1, payload_of(std::vector<std::uint8_t>(1401, 0)), probe.handler());
    ASSERT_TRUE(ready(probe.response));
    EXPECT_EQ(probe.response.get().code, 0x82);
}

TEST_F(Someip_calls, a_udp_payload_of_1400_bytes_is_sent) {
    Handler_probe probe;
    auto service = remote(Transport::udp);
    service->call(1, payload_of(std::vector<std::uint8_t>(1400, 5)), probe.handler());
    auto received = inbox.next();
    ASSERT_TRUE(received);
    EXPECT_EQ(received->request.size(), 1400U);
    received->reply.answer(0, {});
    ASSERT_TRUE(ready(probe.response));
    EXPECT_EQ(probe.response.get().code, 0);
}

TEST_F(Someip_calls, a_large_payload_goes_over_tcp) {
    Handler_probe probe;
    auto service = remote(Transport::tcp);
    service->call(1, payload_of(std::vector<std::uint8_t>(100000, 5)), probe.handler());
    auto received = inbox.next();
    ASSERT_TRUE(received);
    EXPECT_EQ(received->request.size(), 100000U);
    received->reply.answer(0, std::vector<std::uint8_t>(70000, 6));
    ASSERT_TRUE(ready(probe.response));
    EXPECT_EQ(probe.response.get().bytes.size(), 70000U);
}

TEST_F(Someip_calls, a_tcp_connection_refused_is_not_sent_0x82) {
    Raw_peer closed(SOCK_STREAM);  // bound, never listening: the connect is refused
    Remote_target nowhere = target(Transport::tcp);
    nowhere.port = closed.port();
    Handler_probe probe;
    Remote_service service(client, runtime, nowhere);
    service.call(1, payload_of({1}), probe.handler());
    ASSERT_TRUE(ready(probe.response));
    EXPECT_EQ(probe.response.get().code, 0x82);
}

TEST_F(Someip_calls, a_method_index_without_wire_id_is_not_sent_0x82) {
    Remote_target partial = target(Transport::udp);
    partial.method_ids[2] = 0;
    Handler_probe probe;
    Remote_service service(client, runtime, partial);
    service.call(2, payload_of({}), probe.handler());
    ASSERT_TRUE(ready(probe.response));
    EXPECT_EQ(probe.response.get().code, 0x82);
}

TEST_F(Someip_calls, no_answer_in_time_is_0x86_and_a_late_answer_is_dropped) {
    Handler_probe probe;
    auto service = remote(Transport::udp);
    service->call(1, payload_of({}), probe.handler());
    auto received = inbox.next();
    ASSERT_TRUE(received);
    ASSERT_TRUE(ready(probe.response));
    EXPECT_EQ(probe.response.get().code, 0x86);
    received->reply.answer(0, {1});  // reaches the client, which no longer knows the session
    EXPECT_TRUE(ready(probe.destroyed));
    EXPECT_EQ(probe.calls->load(), 1);
    EXPECT_EQ(client->open_calls(), 0U);
}

TEST_F(Someip_calls, a_tcp_connection_lost_with_the_call_pending_is_0x81) {
    Handler_probe probe;
    auto service = remote(Transport::tcp);
    service->call(1, payload_of({}), probe.handler());
    auto received = inbox.next();
    ASSERT_TRUE(received);
    server->stop();  // closes the connection under the pending call
    ASSERT_TRUE(ready(probe.response));
    EXPECT_EQ(probe.response.get().code, 0x81);
}

TEST_F(Someip_calls, withdrawal_ends_pending_calls_and_later_ones_with_0xFF) {
    auto service = remote(Transport::udp);
    Handler_probe pending;
    service->call(1, payload_of({}), pending.handler());
    ASSERT_TRUE(inbox.next());
    service->withdraw();
    ASSERT_TRUE(ready(pending.response));
    EXPECT_EQ(pending.response.get().code, 0xFF);
    Handler_probe later;
    service->call(1, payload_of({}), later.handler());
    ASSERT_TRUE(ready(later.response));
    EXPECT_EQ(later.response.get().code, 0xFF);
}

TEST_F(Someip_calls, a_dropped_provider_call_times_out_on_the_client) {
    Handler_probe probe;
    auto service = remote(Transport::tcp);
    service->call(1, payload_of({}), probe.handler());
    {
        auto received = inbox.next();
        ASSERT_TRUE(received);
    }  // the Reply goes unanswered: the server sends nothing
    ASSERT_TRUE(ready(probe.response));
    EXPECT_EQ(probe.response.get().code, 0x86);
}

// The server against a raw client.

std::vector<std::uint8_t> request_bytes(std::uint16_t session, std::uint8_t interface_version = 1,
                                        std::uint16_t service = service_id, std::uint8_t type = 0x00) {
    Message_header header;
    header.service_id = service;
    header.method_id = 0x0002;
    header.client_id = 0x7777;
    header.session_id = session;
    header.interface_version = interface_version;
    header.message_type = type;
    return encode_message(header, {});
}

TEST_F(Someip_calls, the_server_answers_failed_checks_of_a_request_with_error) {
    Raw_peer peer(SOCK_DGRAM);
    peer.send_to(request_bytes(5, 2), udp_port);
    auto answer = peer.receive();
    ASSERT_TRUE(answer);
    ASSERT_EQ(answer->size(), 16U);
    const Message_header header = read_header(answer->data());
    EXPECT_EQ(header.message_type, 0x81);
    EXPECT_EQ(header.return_code, 0x08);
    EXPECT_EQ(header.session_id, 5);
    EXPECT_EQ(header.client_id, 0x7777);
    EXPECT_EQ(header.interface_version, 2);
    peer.send_to(request_bytes(6, 1, 0x1234), udp_port);
    answer = peer.receive();
    ASSERT_TRUE(answer);
    EXPECT_EQ(read_header(answer->data()).return_code, 0x02);
    EXPECT_EQ(log.count(Anomaly::rejected_request), 2U);
}

TEST_F(Someip_calls, the_server_never_answers_a_failed_request_no_return_and_serves_the_next_request) {
    Raw_peer peer(SOCK_DGRAM);
    // One datagram: a REQUEST_NO_RETURN for an unknown service, then a good REQUEST.
    peer.send_to(joined(request_bytes(1, 1, 0x1234, 0x01), request_bytes(2)), udp_port);
    auto received = inbox.next();
    ASSERT_TRUE(received);
    received->reply.answer(0, {4});
    const auto answer = peer.receive();
    ASSERT_TRUE(answer);
    const Message_header header = read_header(answer->data());
    EXPECT_EQ(header.session_id, 2);  // the first message got no answer
    EXPECT_EQ(header.message_type, 0x80);
    EXPECT_EQ(answer->back(), 4);
}

TEST_F(Someip_calls, the_server_reads_a_request_split_over_tcp_segments_after_a_cookie) {
    Raw_peer peer(SOCK_STREAM);
    peer.connect(tcp_port);
    const std::vector<std::uint8_t> stream = joined(magic_cookie(true), request_bytes(9));
    peer.send(std::vector<std::uint8_t>(stream.begin(), stream.begin() + 21));
    peer.send(std::vector<std::uint8_t>(stream.begin() + 21, stream.end()));
    auto received = inbox.next();
    ASSERT_TRUE(received);
    received->reply.answer(2, {0x22, 0x01});
    const auto answer = peer.receive_exactly(18);
    ASSERT_TRUE(answer);
    const Message_header header = read_header(answer->data());
    EXPECT_EQ(header.session_id, 9);
    EXPECT_EQ(header.message_type, 0x81);
    EXPECT_EQ(header.return_code, 0x21);
    EXPECT_EQ((*answer)[16], 0x22);
}

// The client against a raw server.

TEST_F(Someip_calls, the_client_walks_several_responses_in_one_datagram_and_drops_unmatched_ones) {
    Raw_peer peer(SOCK_DGRAM);
    Remote_target raw = target(Transport::udp);
    raw.port = peer.port();
    Remote_service service(client, runtime, raw);
    Handler_probe first;
    Handler_probe second;
    service.call(1, payload_of({}), first.handler());
    service.call(2, payload_of({}), second.handler());
    std::uint16_t client_port = 0;
    std::vector<Message_header> requests;
    for (int i = 0; i < 2; ++i) {
        const auto request = peer.receive(&client_port);
        ASSERT_TRUE(request);
        requests.push_back(read_header(request->data()));
        EXPECT_EQ(requests.back().client_id, client_id);
        EXPECT_EQ(requests.back().message_type, 0x00);
    }
    EXPECT_EQ(requests[1].session_id, requests[0].session_id + 1);
    Message_header unmatched = requests[0];
    unmatched.session_id = static_cast<std::uint16_t>(unmatched.session_id + 100);
    unmatched.message_type = 0x80;
    Message_header ok = requests[0];
    ok.message_type = 0x80;
    Message_header generic = requests[1];
    generic.message_type = 0x81;
    generic.return_code = 0x01;
    const std::vector<std::uint8_t> one = {1};
    peer.send_to(joined(joined(encode_message(unmatched, {}), magic_cookie(false)),
                        joined(encode_message(ok, {one.data(), one.size()}), encode_message(generic, {}))),
                 client_port);
    ASSERT_TRUE(ready(first.response));
    ASSERT_TRUE(ready(second.response));
    const auto first_response = first.response.get();
    EXPECT_EQ(first_response.code, 0);
    EXPECT_EQ(first_response.bytes, one);
    EXPECT_EQ(second.response.get().code, 0x41);
    EXPECT_EQ(log.count(Anomaly::unmatched_response), 1U);
}

TEST_F(Someip_calls, the_client_drops_a_response_with_another_method_id) {
    Raw_peer peer(SOCK_DGRAM);
    Remote_target raw = target(Transport::udp);
    raw.port = peer.port();
    Handler_probe probe;
    Remote_service service(client, runtime, raw);
    service.call(1, payload_of({}), probe.handler());
    std::uint16_t client_port = 0;
    const auto request = peer.receive(&client_port);
    ASSERT_TRUE(request);
    Message_header wrong = read_header(request->data());
    wrong.message_type = 0x80;
    wrong.method_id = 0x0003;
    peer.send_to(encode_message(wrong, {}), client_port);
    ASSERT_TRUE(ready(probe.response));
    EXPECT_EQ(probe.response.get().code, 0x86);
    EXPECT_EQ(log.count(Anomaly::unmatched_response), 1U);
}

}  // namespace

// Routing activation: activation and its version, every denial code and the close that follows
// it, the alive check of registered sockets before 0x01 or 0x03, and a silent socket freed.

#include "entity_fixture.h"

namespace zevo::doip::testing {
namespace {

using namespace std::chrono_literals;

class doip_entity_activation : public Entity_test {};

TEST_F(doip_entity_activation, activation_answers_0x10_in_the_request_version) {
    start();
    Tcp_tester tester(port());
    tester.send(encode_routing_activation_request(0x03, {tester_address, 0x00, 0, std::nullopt}));
    std::optional<Received> answer = tester.receive();
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->header.version, 0x03);
    auto response = decode_routing_activation_response(answer->payload);
    ASSERT_TRUE(response);
    EXPECT_EQ(response->tester, tester_address);
    EXPECT_EQ(response->entity, entity_address);
    EXPECT_EQ(response->code, 0x10);
    EXPECT_TRUE(tester.quiet_and_open());
}

TEST_F(doip_entity_activation, unknown_source_is_denied_0x00_and_closed) {
    start();
    Tcp_tester tester(port());
    EXPECT_EQ(tester.activate(0x1234), 0x00);
    EXPECT_TRUE(tester.closed_by_entity());
    EXPECT_TRUE(handler_.wait_closed(1));
}

TEST_F(doip_entity_activation, tester_range_is_configurable) {
    config_.tester_min = 0x0F00;
    start();
    Tcp_tester tester(port());
    EXPECT_EQ(tester.activate(0x0E80), 0x00);
    Tcp_tester other(port());
    EXPECT_EQ(other.activate(0x0F10), 0x10);
}

TEST_F(doip_entity_activation, unsupported_activation_type_is_denied_0x06_and_closed) {
    start();
    Tcp_tester tester(port());
    EXPECT_EQ(tester.activate(tester_address, 0x02, 0xE0), 0x06);
    EXPECT_TRUE(tester.closed_by_entity());
}

TEST_F(doip_entity_activation, other_source_on_an_activated_socket_is_denied_0x02_and_closed) {
    start();
    auto tester = activated_tester();
    EXPECT_EQ(tester->activate(0x0E81), 0x02);
    EXPECT_TRUE(tester->closed_by_entity());
}

TEST_F(doip_entity_activation, same_source_again_on_its_socket_is_activated) {
    start();
    auto tester = activated_tester();
    EXPECT_EQ(tester->activate(tester_address), 0x10);
}

TEST_F(doip_entity_activation, source_active_elsewhere_and_alive_is_denied_0x03) {
    start();
    auto first = activated_tester();
    Tcp_tester second(port());
    second.send(encode_routing_activation_request(0x02, {tester_address, 0x00, 0, std::nullopt}));
    std::optional<Received> check = first->receive();
    ASSERT_TRUE(check);
    EXPECT_EQ(check->header.payload_type, payload_type::alive_check_request);
    first->send(encode_alive_check_response(0x02, tester_address));
    std::optional<Received> answer = second.receive();
    ASSERT_TRUE(answer);
    EXPECT_EQ(decode_routing_activation_response(answer->payload)->code, 0x03);
    EXPECT_TRUE(second.closed_by_entity());
    EXPECT_TRUE(first->quiet_and_open());
}

TEST_F(doip_entity_activation, source_active_elsewhere_but_silent_moves_to_the_new_socket) {
    start();
    auto silent = activated_tester();
    Tcp_tester second(port());
    second.send(encode_routing_activation_request(0x02, {tester_address, 0x00, 0, std::nullopt}));
    std::optional<Received> check = silent->receive();
    ASSERT_TRUE(check);
    EXPECT_EQ(check->header.payload_type, payload_type::alive_check_request);
    ASSERT_TRUE(clock_.advance(500ms));
    EXPECT_TRUE(silent->closed_by_entity());
    std::optional<Received> answer = second.receive();
    ASSERT_TRUE(answer);
    EXPECT_EQ(decode_routing_activation_response(answer->payload)->code, 0x10);
    second.send(request({0x3E, 0x00}));
    EXPECT_TRUE(receive_ack(second, payload_type::diagnostic_ack));
}

TEST_F(doip_entity_activation, all_sockets_alive_is_denied_0x01_and_closed) {
    config_.max_testers = 2;
    start();
    auto first = activated_tester(0x0E80);
    auto second = activated_tester(0x0E81);
    Tcp_tester third(port());
    third.send(encode_routing_activation_request(0x02, {0x0E82, 0x00, 0, std::nullopt}));
    for (Tcp_tester* registered : {first.get(), second.get()}) {
        std::optional<Received> check = registered->receive();
        ASSERT_TRUE(check);
        EXPECT_EQ(check->header.payload_type, payload_type::alive_check_request);
    }
    first->send(encode_alive_check_response(0x02, 0x0E80));
    EXPECT_FALSE(third.receive(50ms)) << "decided before every registered socket answered";
    second->send(encode_alive_check_response(0x02, 0x0E81));
    std::optional<Received> answer = third.receive();
    ASSERT_TRUE(answer);
    EXPECT_EQ(decode_routing_activation_response(answer->payload)->code, 0x01);
    EXPECT_TRUE(third.closed_by_entity());
}

TEST_F(doip_entity_activation, silent_registered_socket_is_freed_after_the_alive_check_timeout) {
    config_.max_testers = 1;
    start();
    auto silent = activated_tester(0x0E80);
    Tcp_tester newcomer(port());
    newcomer.send(encode_routing_activation_request(0x02, {0x0E81, 0x00, 0, std::nullopt}));
    std::optional<Received> check = silent->receive();
    ASSERT_TRUE(check);
    EXPECT_EQ(check->header.payload_type, payload_type::alive_check_request);
    ASSERT_TRUE(clock_.advance(499ms));
    EXPECT_TRUE(silent->quiet_and_open());
    ASSERT_TRUE(clock_.advance(1ms));
    EXPECT_TRUE(silent->closed_by_entity());
    std::optional<Received> answer = newcomer.receive();
    ASSERT_TRUE(answer);
    EXPECT_EQ(decode_routing_activation_response(answer->payload)->code, 0x10);
    ASSERT_TRUE(handler_.wait_closed(1));
    EXPECT_EQ(handler_.closed().size(), 1u);
}

TEST_F(doip_entity_activation, connection_beyond_the_spare_socket_is_refused_at_once) {
    config_.max_testers = 1;
    start();
    auto first = activated_tester();
    Tcp_tester spare(port());
    Tcp_tester refused(port());
    EXPECT_TRUE(refused.closed_by_entity());
    EXPECT_TRUE(spare.quiet_and_open());
}

}  // namespace
}  // namespace zevo::doip::testing

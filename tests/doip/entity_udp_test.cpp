// The entity over UDP: vehicle identification in its three forms, answered to the requester's
// port in the request's version, entity status, power mode, NACKs of bad datagrams, and the
// three announcements 500 ms apart on the manual clock.

#include "entity_fixture.h"

namespace zevo::doip::testing {
namespace {

using namespace std::chrono_literals;

class doip_entity_udp : public Entity_test {};

TEST_F(doip_entity_udp, identification_request_answered_to_its_source_port_in_its_version) {
    start();
    Udp_socket tester;
    tester.send_to(encode_vehicle_id_request(0x03), port());
    std::optional<Received> answer = tester.receive();
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->header.version, 0x03);
    EXPECT_EQ(answer->header.payload_type, payload_type::vehicle_announcement);
    auto identification = decode_vehicle_identification(answer->payload);
    ASSERT_TRUE(identification);
    EXPECT_EQ(identification->vin, config_.vin);
    EXPECT_EQ(identification->logical_address, entity_address);
    EXPECT_EQ(identification->eid, config_.eid);
    EXPECT_EQ(identification->gid, config_.gid);
    EXPECT_EQ(identification->further_action, 0x00);
}

TEST_F(doip_entity_udp, identification_request_with_version_0xff_is_answered_in_the_entity_version) {
    start();
    Udp_socket tester;
    tester.send_to(encode_vehicle_id_request(0xFF), port());
    std::optional<Received> answer = tester.receive();
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->header.version, 0x02);
    EXPECT_EQ(answer->header.payload_type, payload_type::vehicle_announcement);
}

TEST_F(doip_entity_udp, identification_by_eid_and_vin_answers_only_on_a_match) {
    start();
    Udp_socket tester;
    tester.send_to(encode_vehicle_id_request_eid(0x02, {9, 9, 9, 9, 9, 9}), port());
    tester.send_to(encode_vehicle_id_request_vin(0x02, Vin{}), port());
    tester.send_to(encode_vehicle_id_request_eid(0x02, config_.eid), port());
    tester.send_to(encode_vehicle_id_request_vin(0x03, config_.vin), port());
    // Datagrams on loopback keep their order: the first two answers are those of the matches.
    std::optional<Received> first = tester.receive();
    std::optional<Received> second = tester.receive();
    ASSERT_TRUE(first && second);
    EXPECT_EQ(first->header.version, 0x02);
    EXPECT_EQ(second->header.version, 0x03);
    EXPECT_EQ(first->header.payload_type, payload_type::vehicle_announcement);
    EXPECT_FALSE(tester.receive(100ms));
}

TEST_F(doip_entity_udp, entity_status_counts_open_sockets) {
    config_.max_testers = 3;
    start();
    auto tester = activated_tester();
    Udp_socket udp;
    udp.send_to(encode_entity_status_request(0x02), port());
    std::optional<Received> answer = udp.receive();
    ASSERT_TRUE(answer);
    auto status = decode_entity_status(answer->payload);
    ASSERT_TRUE(status);
    EXPECT_EQ(status->node_type, 0x01);
    EXPECT_EQ(status->max_sockets, 3);
    EXPECT_EQ(status->open_sockets, 1);
    EXPECT_EQ(status->max_data_size, config_.max_data_size);
}

TEST_F(doip_entity_udp, power_mode_is_ready) {
    start();
    Udp_socket tester;
    tester.send_to(encode_power_mode_request(0x02), port());
    std::optional<Received> answer = tester.receive();
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->header.payload_type, payload_type::power_mode_response);
    EXPECT_EQ(answer->payload, Bytes{0x01});
}

TEST_F(doip_entity_udp, bad_pattern_unknown_type_and_wrong_length_get_generic_nacks) {
    start();
    Udp_socket tester;
    tester.send_to(Bytes{0x02, 0xFE, 0x00, 0x01, 0, 0, 0, 0}, port());
    tester.send_to(encode_diagnostic_message(0x02, {tester_address, entity_address, {0x3E, 0x00}}), port());
    tester.send_to(Bytes{0x02, 0xFD, 0x40, 0x01, 0, 0, 0, 1, 0x00}, port());
    Bytes length_lies = encode_vehicle_id_request(0x02);
    length_lies[7] = 6;  // says six payload bytes, carries none
    tester.send_to(length_lies, port());
    for (int code : {0x00, 0x01, 0x04, 0x04}) {
        std::optional<Received> answer = tester.receive();
        ASSERT_TRUE(answer);
        EXPECT_EQ(answer->header.payload_type, payload_type::generic_nack);
        EXPECT_EQ(answer->payload, Bytes{static_cast<std::uint8_t>(code)});
    }
}

TEST_F(doip_entity_udp, three_announcements_500_ms_apart) {
    Udp_socket listener;
    config_.announce = true;
    config_.announce_address = "127.0.0.1";
    config_.announce_port = listener.port();
    config_.announce_random_wait = false;
    start();
    ASSERT_TRUE(clock_.advance(0ms));
    for (int i = 0; i < 3; ++i) {
        std::optional<Received> announcement = listener.receive();
        ASSERT_TRUE(announcement) << i;
        EXPECT_EQ(announcement->header.payload_type, payload_type::vehicle_announcement);
        ASSERT_TRUE(clock_.advance(499ms));
        EXPECT_FALSE(listener.receive(20ms)) << "announcement " << i + 1 << " came early";
        ASSERT_TRUE(clock_.advance(1ms));
    }
    EXPECT_FALSE(listener.receive(50ms));
}

}  // namespace
}  // namespace zevo::doip::testing

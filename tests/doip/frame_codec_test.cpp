// The generic header checks in their order with their NACK codes and drop/close verdicts, the
// payload lengths of every type, and encoders and decoders that meet.

#include "host/doip/frame_codec.h"

#include <gtest/gtest.h>

namespace zevo::doip {
namespace {

using Action = Header_verdict::Action;

Header header(std::uint8_t version, std::uint16_t type, std::uint32_t length) {
    return Header{version, static_cast<std::uint8_t>(version ^ 0xFF), type, length};
}

TEST(doip_frame_codec, header_decodes_big_endian_fields) {
    const std::uint8_t raw[] = {0x02, 0xFD, 0x80, 0x01, 0x00, 0x01, 0x02, 0x03};
    std::optional<Header> decoded = decode_header(raw, sizeof raw);
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->version, 0x02);
    EXPECT_EQ(decoded->payload_type, 0x8001);
    EXPECT_EQ(decoded->payload_length, 0x00010203u);
    EXPECT_FALSE(decode_header(raw, 7));
}

TEST(doip_frame_codec, versions_2_and_3_are_accepted) {
    EXPECT_TRUE(check_header(header(0x02, 0x8001, 6), Receiver::entity_tcp, {}).accepted());
    EXPECT_TRUE(check_header(header(0x03, 0x8001, 6), Receiver::entity_tcp, {}).accepted());
}

TEST(doip_frame_codec, unknown_version_is_nack_0x00_and_close) {
    Header_verdict verdict = check_header(header(0x04, 0x8001, 6), Receiver::entity_tcp, {});
    EXPECT_EQ(verdict.action, Action::close);
    EXPECT_EQ(verdict.nack_code, 0x00);
}

TEST(doip_frame_codec, inverse_mismatch_is_nack_0x00_and_close) {
    Header bad{0x02, 0xFC, 0x8001, 6};
    Header_verdict verdict = check_header(bad, Receiver::entity_tcp, {});
    EXPECT_EQ(verdict.action, Action::close);
    EXPECT_EQ(verdict.nack_code, 0x00);
}

TEST(doip_frame_codec, version_0xff_only_in_identification_requests) {
    EXPECT_TRUE(check_header(header(0xFF, 0x0001, 0), Receiver::entity_udp, {}).accepted());
    EXPECT_TRUE(check_header(header(0xFF, 0x0002, 6), Receiver::entity_udp, {}).accepted());
    EXPECT_TRUE(check_header(header(0xFF, 0x0003, 17), Receiver::entity_udp, {}).accepted());
    Header_verdict verdict = check_header(header(0xFF, 0x4001, 0), Receiver::entity_udp, {});
    EXPECT_EQ(verdict.nack_code, 0x00);
    EXPECT_EQ(check_header(header(0xFF, 0x8001, 6), Receiver::entity_tcp, {}).nack_code, 0x00);
}

TEST(doip_frame_codec, unknown_payload_type_is_nack_0x01_and_drop) {
    Header_verdict verdict = check_header(header(0x02, 0x1234, 6), Receiver::entity_tcp, {});
    EXPECT_EQ(verdict.action, Action::drop);
    EXPECT_EQ(verdict.nack_code, 0x01);
    // A UDP message over TCP is unknown there too, and the other way round.
    EXPECT_EQ(check_header(header(0x02, 0x0001, 0), Receiver::entity_tcp, {}).nack_code, 0x01);
    EXPECT_EQ(check_header(header(0x02, 0x8001, 6), Receiver::entity_udp, {}).nack_code, 0x01);
}

TEST(doip_frame_codec, payload_above_maximum_is_nack_0x02_and_drop) {
    Header_limits limits;
    limits.max_payload = 100;
    Header_verdict verdict = check_header(header(0x02, 0x8001, 101), Receiver::entity_tcp, limits);
    EXPECT_EQ(verdict.action, Action::drop);
    EXPECT_EQ(verdict.nack_code, 0x02);
    EXPECT_TRUE(check_header(header(0x02, 0x8001, 100), Receiver::entity_tcp, limits).accepted());
}

TEST(doip_frame_codec, payload_above_free_memory_is_nack_0x03_and_drop) {
    Header_limits limits;
    limits.max_payload = 1000;
    limits.free_memory = 50;
    Header_verdict verdict = check_header(header(0x02, 0x8001, 51), Receiver::entity_tcp, limits);
    EXPECT_EQ(verdict.action, Action::drop);
    EXPECT_EQ(verdict.nack_code, 0x03);
}

TEST(doip_frame_codec, wrong_length_for_type_is_nack_0x04_and_close) {
    Header_verdict verdict = check_header(header(0x02, 0x0005, 8), Receiver::entity_tcp, {});
    EXPECT_EQ(verdict.action, Action::close);
    EXPECT_EQ(verdict.nack_code, 0x04);
}

TEST(doip_frame_codec, checks_come_in_their_order) {
    Header_limits limits;
    limits.max_payload = 10;
    limits.free_memory = 5;
    // Bad pattern wins over everything, unknown type over size, maximum over memory, memory over length.
    EXPECT_EQ(check_header(Header{0x02, 0x00, 0x1234, 99}, Receiver::entity_tcp, limits).nack_code, 0x00);
    EXPECT_EQ(check_header(header(0x02, 0x1234, 99), Receiver::entity_tcp, limits).nack_code, 0x01);
    EXPECT_EQ(check_header(header(0x02, 0x0005, 99), Receiver::entity_tcp, limits).nack_code, 0x02);
    EXPECT_EQ(check_header(header(0x02, 0x0005, 8), Receiver::entity_tcp, limits).nack_code, 0x03);
    limits.free_memory = 10;
    EXPECT_EQ(check_header(header(0x02, 0x0005, 8), Receiver::entity_tcp, limits).nack_code, 0x04);
}

TEST(doip_frame_codec, every_payload_type_has_its_lengths) {
    struct Rule {
        std::uint16_t type;
        std::vector<std::uint32_t> valid;
        std::vector<std::uint32_t> invalid;
    };
    const std::vector<Rule> rules = {
        {0x0000, {1}, {0, 2}},       {0x0001, {0}, {1}},          {0x0002, {6}, {5, 7}},
        {0x0003, {17}, {16, 18}},    {0x0004, {32, 33}, {31, 34}}, {0x0005, {7, 11}, {6, 8, 10, 12}},
        {0x0006, {9, 13}, {8, 10, 12, 14}}, {0x0007, {0}, {1}},   {0x0008, {2}, {1, 3}},
        {0x4001, {0}, {1}},          {0x4002, {3, 7}, {2, 4, 6, 8}}, {0x4003, {0}, {1}},
        {0x4004, {1}, {0, 2}},       {0x8001, {5, 4000}, {4}},    {0x8002, {5, 9}, {4}},
        {0x8003, {5, 9}, {4}},
    };
    for (const Rule& rule : rules) {
        for (std::uint32_t length : rule.valid) EXPECT_TRUE(payload_length_valid(rule.type, length)) << rule.type;
        for (std::uint32_t length : rule.invalid) EXPECT_FALSE(payload_length_valid(rule.type, length)) << rule.type;
    }
    EXPECT_FALSE(payload_length_valid(0x1234, 0));
}

TEST(doip_frame_codec, frame_carries_header_and_inverse_version) {
    Bytes frame = encode_generic_nack(0x03, 0x04);
    EXPECT_EQ(frame, (Bytes{0x03, 0xFC, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0x04}));
}

TEST(doip_frame_codec, vehicle_identification_round_trip) {
    Vehicle_identification message;
    message.vin = {'W', 'V', 'W', 'Z', 'Z', 'Z', '1', 'K', 'Z', 'A', 'B', 'C', '1', '2', '3', '4', '5'};
    message.logical_address = 0x1001;
    message.eid = {1, 2, 3, 4, 5, 6};
    message.gid = {7, 8, 9, 10, 11, 12};
    message.further_action = 0x10;
    Bytes frame = encode_vehicle_identification(0x02, message);
    ASSERT_EQ(frame.size(), 8u + 32u);
    auto decoded = decode_vehicle_identification(Bytes(frame.begin() + 8, frame.end()));
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->vin, message.vin);
    EXPECT_EQ(decoded->logical_address, 0x1001);
    EXPECT_EQ(decoded->eid, message.eid);
    EXPECT_EQ(decoded->gid, message.gid);
    EXPECT_EQ(decoded->further_action, 0x10);
    EXPECT_FALSE(decoded->sync_status);
    message.sync_status = 0x00;
    EXPECT_EQ(encode_vehicle_identification(0x02, message).size(), 8u + 33u);
}

TEST(doip_frame_codec, routing_activation_round_trip) {
    Bytes request = encode_routing_activation_request(0x02, {0x0E80, 0x00, 0, 0x11223344});
    EXPECT_EQ(request, (Bytes{0x02, 0xFD, 0x00, 0x05, 0, 0, 0, 11, 0x0E, 0x80, 0x00, 0, 0, 0, 0, 0x11, 0x22, 0x33, 0x44}));
    auto decoded = decode_routing_activation_request(Bytes(request.begin() + 8, request.end()));
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->source, 0x0E80);
    EXPECT_EQ(decoded->oem, 0x11223344u);
    Bytes response = encode_routing_activation_response(0x03, {0x0E80, 0x0010, 0x10, 0, std::nullopt});
    auto answer = decode_routing_activation_response(Bytes(response.begin() + 8, response.end()));
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->tester, 0x0E80);
    EXPECT_EQ(answer->entity, 0x0010);
    EXPECT_EQ(answer->code, 0x10);
    EXPECT_EQ(response.size(), 8u + 9u);
}

TEST(doip_frame_codec, diagnostic_message_and_acknowledge_round_trip) {
    Bytes message = encode_diagnostic_message(0x02, {0x0E80, 0x0010, {0x22, 0xF1, 0x90}});
    EXPECT_EQ(message, (Bytes{0x02, 0xFD, 0x80, 0x01, 0, 0, 0, 7, 0x0E, 0x80, 0x00, 0x10, 0x22, 0xF1, 0x90}));
    auto decoded = decode_diagnostic_message(Bytes(message.begin() + 8, message.end()));
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->uds, (Bytes{0x22, 0xF1, 0x90}));
    Bytes ack = encode_diagnostic_ack(0x02, payload_type::diagnostic_nack, {0x0010, 0x0E80, 0x03, {}});
    auto decoded_ack = decode_diagnostic_ack(Bytes(ack.begin() + 8, ack.end()));
    ASSERT_TRUE(decoded_ack);
    EXPECT_EQ(decoded_ack->source, 0x0010);
    EXPECT_EQ(decoded_ack->target, 0x0E80);
    EXPECT_EQ(decoded_ack->code, 0x03);
    EXPECT_FALSE(decode_diagnostic_message(Bytes{0x0E, 0x80, 0x00, 0x10}));
}

TEST(doip_frame_codec, status_power_alive_and_requests_have_their_layouts) {
    Bytes status = encode_entity_status(0x02, {0x01, 4, 1, 4096});
    EXPECT_EQ(status, (Bytes{0x02, 0xFD, 0x40, 0x02, 0, 0, 0, 7, 0x01, 4, 1, 0, 0, 0x10, 0}));
    auto decoded = decode_entity_status(Bytes(status.begin() + 8, status.end()));
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->max_data_size, 4096u);
    EXPECT_EQ(encode_power_mode(0x02, 0x01), (Bytes{0x02, 0xFD, 0x40, 0x04, 0, 0, 0, 1, 0x01}));
    EXPECT_EQ(encode_alive_check_request(0x02), (Bytes{0x02, 0xFD, 0x00, 0x07, 0, 0, 0, 0}));
    EXPECT_EQ(encode_alive_check_response(0x02, 0x0E80), (Bytes{0x02, 0xFD, 0x00, 0x08, 0, 0, 0, 2, 0x0E, 0x80}));
    EXPECT_EQ(encode_vehicle_id_request(0xFF), (Bytes{0xFF, 0x00, 0x00, 0x01, 0, 0, 0, 0}));
    EXPECT_EQ(encode_vehicle_id_request_eid(0x02, {1, 2, 3, 4, 5, 6}).size(), 8u + 6u);
    EXPECT_EQ(encode_vehicle_id_request_vin(0x02, Vin{}).size(), 8u + 17u);
    EXPECT_EQ(encode_entity_status_request(0x03), (Bytes{0x03, 0xFC, 0x40, 0x01, 0, 0, 0, 0}));
    EXPECT_EQ(encode_power_mode_request(0x03), (Bytes{0x03, 0xFC, 0x40, 0x03, 0, 0, 0, 0}));
}

}  // namespace
}  // namespace zevo::doip

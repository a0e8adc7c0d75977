#pragma once
// DoIP frames as bytes: the generic header and its checks in the order ISO 13400-2 gives them,
// the payload length of every payload type, encoders for every message and decoders of the
// payloads the entity and the tester read. Pure functions on any thread; nothing throws except
// std::bad_alloc.

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/doip/doip_types.h"

namespace zevo::doip {

using Bytes = std::vector<std::uint8_t>;

struct Header {
    std::uint8_t version = version::iso_2012;
    std::uint8_t inverse_version = 0xFD;
    std::uint16_t payload_type = 0;
    std::uint32_t payload_length = 0;
};

// Who receives a frame over which transport: it decides which payload types count as known.
enum class Receiver { entity_udp, entity_tcp, tester_udp, tester_tcp };

struct Header_limits {
    std::uint32_t max_payload = 0xFFFFFFFF;  // the receiver's maximum payload (else 0x02)
    std::uint64_t free_memory = 0xFFFFFFFF;  // what it can buffer now (else 0x03)
};

// What to do with a frame whose header was read.
struct Header_verdict {
    enum class Action { accept, drop, close };
    Action action = Action::accept;
    std::uint8_t nack_code = 0;  // the generic NACK to send unless accepted
    bool accepted() const { return action == Action::accept; }
};

// The first 8 bytes as a header; nullopt when fewer are given.
std::optional<Header> decode_header(const std::uint8_t* data, std::size_t size);

// The generic header checks, in order: pattern (0x00, close), payload type known to this
// receiver (0x01, drop), maximum payload (0x02, drop), free memory (0x03, drop), payload length
// valid for its type (0x04, close).
Header_verdict check_header(const Header& header, Receiver receiver, const Header_limits& limits);

// Whether `length` is a valid payload length for `type` (every type of ISO 13400-2's table).
bool payload_length_valid(std::uint16_t type, std::uint32_t length);
// Whether the version byte pair is a valid pattern for this type (0xFF only for identification
// requests).
bool pattern_valid(const Header& header);
bool known_to(std::uint16_t type, Receiver receiver);

// A whole frame: header for `version` and `type`, then the payload.
Bytes encode_frame(std::uint8_t version, std::uint16_t type, const Bytes& payload);

// Field writers and readers (big-endian).
void put_u16(Bytes& out, std::uint16_t value);
void put_u32(Bytes& out, std::uint32_t value);
std::uint16_t get_u16(const std::uint8_t* data);
std::uint32_t get_u32(const std::uint8_t* data);

// --- messages ---

using Vin = std::array<std::uint8_t, 17>;
using Entity_id = std::array<std::uint8_t, 6>;

struct Vehicle_identification {
    Vin vin{};
    std::uint16_t logical_address = 0;
    Entity_id eid{};
    Entity_id gid{};
    std::uint8_t further_action = 0;
    std::optional<std::uint8_t> sync_status;
};

struct Routing_activation_request {
    std::uint16_t source = 0;
    std::uint8_t activation_type = 0;
    std::uint32_t reserved = 0;
    std::optional<std::uint32_t> oem;
};

struct Routing_activation_response {
    std::uint16_t tester = 0;
    std::uint16_t entity = 0;
    std::uint8_t code = 0;
    std::uint32_t reserved = 0;
    std::optional<std::uint32_t> oem;
};

struct Entity_status {
    std::uint8_t node_type = 0x01;  // 0x00 gateway, 0x01 node
    std::uint8_t max_sockets = 0;
    std::uint8_t open_sockets = 0;
    std::optional<std::uint32_t> max_data_size;
};

struct Diagnostic_message {
    std::uint16_t source = 0;
    std::uint16_t target = 0;
    Bytes uds;
};

// 0x8002 and 0x8003: source, target, code and an optional echo of the message.
struct Diagnostic_ack {
    std::uint16_t source = 0;
    std::uint16_t target = 0;
    std::uint8_t code = 0;
    Bytes echo;
};

Bytes encode_generic_nack(std::uint8_t version, std::uint8_t code);
Bytes encode_vehicle_id_request(std::uint8_t version);
Bytes encode_vehicle_id_request_eid(std::uint8_t version, const Entity_id& eid);
Bytes encode_vehicle_id_request_vin(std::uint8_t version, const Vin& vin);
Bytes encode_vehicle_identification(std::uint8_t version, const Vehicle_identification& message);
Bytes encode_routing_activation_request(std::uint8_t version, const Routing_activation_request& message);
Bytes encode_routing_activation_response(std::uint8_t version, const Routing_activation_response& message);
Bytes encode_alive_check_request(std::uint8_t version);
Bytes encode_alive_check_response(std::uint8_t version, std::uint16_t source);
Bytes encode_entity_status_request(std::uint8_t version);
Bytes encode_entity_status(std::uint8_t version, const Entity_status& message);
Bytes encode_power_mode_request(std::uint8_t version);
Bytes encode_power_mode(std::uint8_t version, std::uint8_t mode);
Bytes encode_diagnostic_message(std::uint8_t version, const Diagnostic_message& message);
Bytes encode_diagnostic_ack(std::uint8_t version, std::uint16_t type, const Diagnostic_ack& message);

// Payload decoders; nullopt when the payload length is not one of the type's lengths.
std::optional<Vehicle_identification> decode_vehicle_identification(const Bytes& payload);
std::optional<Routing_activation_request> decode_routing_activation_request(const Bytes& payload);
std::optional<Routing_activation_response> decode_routing_activation_response(const Bytes& payload);
std::optional<Entity_status> decode_entity_status(const Bytes& payload);
std::optional<Diagnostic_message> decode_diagnostic_message(const Bytes& payload);
std::optional<Diagnostic_ack> decode_diagnostic_ack(const Bytes& payload);

}  // namespace zevo::doip

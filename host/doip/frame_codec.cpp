#include "host/doip/frame_codec.h"

#include <algorithm>

namespace zevo::doip {
namespace {

bool is_identification_request(std::uint16_t type) {
    return type == payload_type::vehicle_id_request || type == payload_type::vehicle_id_request_eid ||
           type == payload_type::vehicle_id_request_vin;
}

template <std::size_t N>
void put_array(Bytes& out, const std::array<std::uint8_t, N>& value) {
    out.insert(out.end(), value.begin(), value.end());
}

template <std::size_t N>
std::array<std::uint8_t, N> get_array(const std::uint8_t* data) {
    std::array<std::uint8_t, N> value{};
    std::copy(data, data + N, value.begin());
    return value;
}

}  // namespace

void put_u16(Bytes& out, std::uint16_t value) {
    out.push_back(static_cast<std::uint8_t>(value >> 8));
    out.push_back(static_cast<std::uint8_t>(value));
}

void put_u32(Bytes& out, std::uint32_t value) {
    put_u16(out, static_cast<std::uint16_t>(value >> 16));
    put_u16(out, static_cast<std::uint16_t>(value));
}

std::uint16_t get_u16(const std::uint8_t* data) {
    return static_cast<std::uint16_t>((data[0] << 8) | data[1]);
}

std::uint32_t get_u32(const std::uint8_t* data) {
    return (std::uint32_t{get_u16(data)} << 16) | get_u16(data + 2);
}

std::optional<Header> decode_header(const std::uint8_t* data, std::size_t size) {
    if (size < header_size) return std::nullopt;
    Header header;
    header.version = data[0];
    header.inverse_version = data[1];
    header.payload_type = get_u16(data + 2);
    header.payload_length = get_u32(data + 4);
    return header;
}

bool pattern_valid(const Header& header) {
    if (static_cast<std::uint8_t>(header.version ^ 0xFF) != header.inverse_version) return false;
    if (header.version == version::iso_2012 || header.version == version::iso_2019) return true;
    return header.version == version::any && is_identification_request(header.payload_type);
}

bool known_to(std::uint16_t type, Receiver receiver) {
    using namespace payload_type;
    switch (receiver) {
        case Receiver::entity_udp:
            return type == generic_nack || is_identification_request(type) || type == entity_status_request ||
                   type == power_mode_request;
        case Receiver::entity_tcp:
            return type == generic_nack || type == routing_activation_request || type == alive_check_response ||
                   type == diagnostic_message;
        case Receiver::tester_udp:
            return type == generic_nack || type == vehicle_announcement || type == entity_status_response ||
                   type == power_mode_response;
        case Receiver::tester_tcp:
            return type == generic_nack || type == routing_activation_response || type == alive_check_request ||
                   type == diagnostic_message || type == diagnostic_ack || type == diagnostic_nack;
    }
    return false;
}

bool payload_length_valid(std::uint16_t type, std::uint32_t length) {
    using namespace payload_type;
    switch (type) {
        case generic_nack: return length == 1;
        case vehicle_id_request: return length == 0;
        case vehicle_id_request_eid: return length == 6;
        case vehicle_id_request_vin: return length == 17;
        case vehicle_announcement: return length == 32 || length == 33;
        case routing_activation_request: return length == 7 || length == 11;
        case routing_activation_response: return length == 9 || length == 13;
        case alive_check_request: return length == 0;
        case alive_check_response: return length == 2;
        case entity_status_request: return length == 0;
        case entity_status_response: return length == 3 || length == 7;
        case power_mode_request: return length == 0;
        case power_mode_response: return length == 1;
        case diagnostic_message: return length >= 5;  // source, target and at least one UDS byte
        case diagnostic_ack:
        case diagnostic_nack: return length >= 5;
        default: return false;
    }
}

Header_verdict check_header(const Header& header, Receiver receiver, const Header_limits& limits) {
    using Action = Header_verdict::Action;
    if (!pattern_valid(header)) return {Action::close, header_nack::incorrect_pattern};
    if (!known_to(header.payload_type, receiver)) return {Action::drop, header_nack::unknown_payload_type};
    if (header.payload_length > limits.max_payload) return {Action::drop, header_nack::message_too_large};
    if (header.payload_length > limits.free_memory) return {Action::drop, header_nack::out_of_memory};
    if (!payload_length_valid(header.payload_type, header.payload_length)) {
        return {Action::close, header_nack::invalid_payload_length};
    }
    return {};
}

Bytes encode_frame(std::uint8_t version, std::uint16_t type, const Bytes& payload) {
    Bytes frame;
    frame.reserve(header_size + payload.size());
    frame.push_back(version);
    frame.push_back(static_cast<std::uint8_t>(version ^ 0xFF));
    put_u16(frame, type);
    put_u32(frame, static_cast<std::uint32_t>(payload.size()));
    frame.insert(frame.end(), payload.begin(), payload.end());
    return frame;
}

Bytes encode_generic_nack(std::uint8_t version, std::uint8_t code) {
    return encode_frame(version, payload_type::generic_nack, Bytes{code});
}

Bytes encode_vehicle_id_request(std::uint8_t version) {
    return encode_frame(version, payload_type::vehicle_id_request, {});
}

Bytes encode_vehicle_id_request_eid(std::uint8_t version, const Entity_id& eid) {
    return encode_frame(version, payload_type::vehicle_id_request_eid, Bytes(eid.begin(), eid.end()));
}

Bytes encode_vehicle_id_request_vin(std::uint8_t version, const Vin& vin) {
    return encode_frame(version, payload_type::vehicle_id_request_vin, Bytes(vin.begin(), vin.end()));
}

Bytes encode_vehicle_identification(std::uint8_t version, const Vehicle_identification& message) {
    Bytes payload;
    put_array(payload, message.vin);
    put_u16(payload, message.logical_address);
    put_array(payload, message.eid);
    put_array(payload, message.gid);
    payload.push_back(message.further_action);
    if (message.sync_status) payload.push_back(*message.sync_status);
    return encode_frame(version, payload_type::vehicle_announcement, payload);
}

Bytes encode_routing_activation_request(std::uint8_t version, const Routing_activation_request& message) {
    Bytes payload;
    put_u16(payload, message.source);
    payload.push_back(message.activation_type);
    put_u32(payload, message.reserved);
    if (message.oem) put_u32(payload, *message.oem);
    return encode_frame(version, payload_type::routing_activation_request, payload);
}

Bytes encode_routing_activation_response(std::uint8_t version, const Routing_activation_response& message) {
    Bytes payload;
    put_u16(payload, message.tester);
    put_u16(payload, message.entity);
    payload.push_back(message.code);
    put_u32(payload, message.reserved);
    if (message.oem) put_u32(payload, *message.oem);
    return encode_frame(version, payload_type::routing_activation_response, payload);
}

Bytes encode_alive_check_request(std::uint8_t version) {
    return encode_frame(version, payload_type::alive_check_request, {});
}

Bytes encode_alive_check_response(std::uint8_t version, std::uint16_t source) {
    Bytes payload;
    put_u16(payload, source);
    return encode_frame(version, payload_type::alive_check_response, payload);
}

Bytes encode_entity_status_request(std::uint8_t version) {
    return encode_frame(version, payload_type::entity_status_request, {});
}

Bytes encode_entity_status(std::uint8_t version, const Entity_status& message) {
    Bytes payload{message.node_type, message.max_sockets, message.open_sockets};
    if (message.max_data_size) put_u32(payload, *message.max_data_size);
    return encode_frame(version, payload_type::entity_status_response, payload);
}

Bytes encode_power_mode_request(std::uint8_t version) {
    return encode_frame(version, payload_type::power_mode_request, {});
}

Bytes encode_power_mode(std::uint8_t version, std::uint8_t mode) {
    return encode_frame(version, payload_type::power_mode_response, Bytes{mode});
}

Bytes encode_diagnostic_message(std::uint8_t version, const Diagnostic_message& message) {
    Bytes payload;
    payload.reserve(4 + message.uds.size());
    put_u16(payload, message.source);
    put_u16(payload, message.target);
    payload.insert(payload.end(), message.uds.begin(), message.uds.end());
    return encode_frame(version, payload_type::diagnostic_message, payload);
}

Bytes encode_diagnostic_ack(std::uint8_t version, std::uint16_t type, const Diagnostic_ack& message) {
    Bytes payload;
    put_u16(payload, message.source);
    put_u16(payload, message.target);
    payload.push_back(message.code);
    payload.insert(payload.end(), message.echo.begin(), message.echo.end());
    return encode_frame(version, type, payload);
}

std::optional<Vehicle_identification> decode_vehicle_identification(const Bytes& payload) {
    if (!payload_length_valid(payload_type::vehicle_announcement, static_cast<std::uint32_t>(payload.size()))) {
        return std::nullopt;
    }
    const std::uint8_t* p = payload.data();
    Vehicle_identification message;
    message.vin = get_array<17>(p);
    message.logical_address = get_u16(p + 17);
    message.eid = get_array<6>(p + 19);
    message.gid = get_array<6>(p + 25);
    message.further_action = p[31];
    if (payload.size() == 33) message.sync_status = p[32];
    return message;
}

std::optional<Routing_activation_request> decode_routing_activation_request(const Bytes& payload) {
    if (!payload_length_valid(payload_type::routing_activation_request,
                              static_cast<std::uint32_t>(payload.size()))) {
        return std::nullopt;
    }
    Routing_activation_request message;
    message.source = get_u16(payload.data());
    message.activation_type = payload[2];
    message.reserved = get_u32(payload.data() + 3);
    if (payload.size() == 11) message.oem = get_u32(payload.data() + 7);
    return message;
}

std::optional<Routing_activation_response> decode_routing_activation_response(const Bytes& payload) {
    if (!payload_length_valid(payload_type::routing_activation_response,
                              static_cast<std::uint32_t>(payload.size()))) {
        return std::nullopt;
    }
    Routing_activation_response message;
    message.tester = get_u16(payload.data());
    message.entity = get_u16(payload.data() + 2);
    message.code = payload[4];
    message.reserved = get_u32(payload.data() + 5);
    if (payload.size() == 13) message.oem = get_u32(payload.data() + 9);
    return message;
}

std::optional<Entity_status> decode_entity_status(const Bytes& payload) {
    if (!payload_length_valid(payload_type::entity_status_response, static_cast<std::uint32_t>(payload.size()))) {
        return std::nullopt;
    }
    Entity_status message;
    message.node_type = payload[0];
    message.max_sockets = payload[1];
    message.open_sockets = payload[2];
    if (payload.size() == 7) message.max_data_size = get_u32(payload.data() + 3);
    return message;
}

std::optional<Diagnostic_message> decode_diagnostic_message(const Bytes& payload) {
    if (!payload_length_valid(payload_type::diagnostic_message, static_cast<std::uint32_t>(payload.size()))) {
        return std::nullopt;
    }
    return Diagnostic_message{get_u16(payload.data()), get_u16(payload.data() + 2),
                              Bytes(payload.begin() + 4, payload.end())};
}

std::optional<Diagnostic_ack> decode_diagnostic_ack(const Bytes& payload) {
    if (!payload_length_valid(payload_type::diagnostic_ack, static_cast<std::uint32_t>(payload.size()))) {
        return std::nullopt;
    }
    return Diagnostic_ack{get_u16(payload.data()), get_u16(payload.data() + 2), payload[4],
                          Bytes(payload.begin() + 5, payload.end())};
}

}  // namespace zevo::doip

#pragma once
// The numbers of DoIP (ISO 13400-2): protocol versions, payload types, the codes of the
// negative acknowledges and of routing activation, the entity's timers. Plain constants.

#include <chrono>
#include <cstdint>

namespace zevo::doip {

constexpr std::size_t header_size = 8;

namespace version {
constexpr std::uint8_t iso_2012 = 0x02;
constexpr std::uint8_t iso_2019 = 0x03;
constexpr std::uint8_t any = 0xFF;  // only in vehicle identification requests
}  // namespace version

namespace payload_type {
constexpr std::uint16_t generic_nack = 0x0000;
constexpr std::uint16_t vehicle_id_request = 0x0001;
constexpr std::uint16_t vehicle_id_request_eid = 0x0002;
constexpr std::uint16_t vehicle_id_request_vin = 0x0003;
constexpr std::uint16_t vehicle_announcement = 0x0004;  // also the identification response
constexpr std::uint16_t routing_activation_request = 0x0005;
constexpr std::uint16_t routing_activation_response = 0x0006;
constexpr std::uint16_t alive_check_request = 0x0007;
constexpr std::uint16_t alive_check_response = 0x0008;
constexpr std::uint16_t entity_status_request = 0x4001;
constexpr std::uint16_t entity_status_response = 0x4002;
constexpr std::uint16_t power_mode_request = 0x4003;
constexpr std::uint16_t power_mode_response = 0x4004;
constexpr std::uint16_t diagnostic_message = 0x8001;
constexpr std::uint16_t diagnostic_ack = 0x8002;
constexpr std::uint16_t diagnostic_nack = 0x8003;
}  // namespace payload_type

// Codes of the generic header negative acknowledge (payload type 0x0000).
namespace header_nack {
constexpr std::uint8_t incorrect_pattern = 0x00;     // and close
constexpr std::uint8_t unknown_payload_type = 0x01;  // message dropped
constexpr std::uint8_t message_too_large = 0x02;     // dropped
constexpr std::uint8_t out_of_memory = 0x03;         // dropped
constexpr std::uint8_t invalid_payload_length = 0x04;  // and close
}  // namespace header_nack

namespace activation_code {
constexpr std::uint8_t unknown_source = 0x00;
constexpr std::uint8_t all_sockets_used = 0x01;
constexpr std::uint8_t source_differs = 0x02;
constexpr std::uint8_t source_on_other_socket = 0x03;
constexpr std::uint8_t missing_authentication = 0x04;
constexpr std::uint8_t confirmation_rejected = 0x05;
constexpr std::uint8_t unsupported_type = 0x06;
constexpr std::uint8_t tls_required = 0x07;
constexpr std::uint8_t activated = 0x10;
constexpr std::uint8_t pending_confirmation = 0x11;
}  // namespace activation_code

namespace activation_type {
constexpr std::uint8_t default_type = 0x00;
constexpr std::uint8_t wwh_obd = 0x01;
constexpr std::uint8_t central_security = 0xE0;
}  // namespace activation_type

namespace diagnostic_nack_code {
constexpr std::uint8_t invalid_source = 0x02;
constexpr std::uint8_t unknown_target = 0x03;
constexpr std::uint8_t message_too_large = 0x04;
constexpr std::uint8_t out_of_memory = 0x05;
constexpr std::uint8_t target_unreachable = 0x06;
constexpr std::uint8_t unknown_network = 0x07;
constexpr std::uint8_t transport_error = 0x08;
}  // namespace diagnostic_nack_code

namespace power_mode {
constexpr std::uint8_t not_ready = 0x00;
constexpr std::uint8_t ready = 0x01;
constexpr std::uint8_t not_supported = 0x02;
}  // namespace power_mode

// ISO 13400-2 timing parameters.
namespace timing {
constexpr std::chrono::milliseconds initial_inactivity{2000};   // T_TCP_Initial_Inactivity
constexpr std::chrono::milliseconds general_inactivity{300000};  // T_TCP_General_Inactivity
constexpr std::chrono::milliseconds alive_check{500};            // T_TCP_Alive_Check
constexpr std::chrono::milliseconds announce_interval{500};      // A_DoIP_Announce_Interval
constexpr std::chrono::milliseconds announce_wait_max{500};      // A_DoIP_Announce_Wait
constexpr int announce_count = 3;                                // A_DoIP_Announce_Num
}  // namespace timing

constexpr std::uint16_t default_port = 13400;

}  // namespace zevo::doip

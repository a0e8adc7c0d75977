#pragma once
// The few fixed bytes of ISO 14229-1 the host needs to frame requests and responses: service ids,
// routineControlType values, the suppress-positive-response bit. Constants only, any thread.

#include <cstdint>

namespace zevo::host {

/// Request service identifiers the host serves.
enum class Service_id : std::uint8_t {
    read_data_by_identifier = 0x22,   /**< ReadDataByIdentifier: 22 DID [DID ...] */
    write_data_by_identifier = 0x2E,  /**< WriteDataByIdentifier: 2E DID data... */
    routine_control = 0x31,           /**< RoutineControl: 31 type RID [options...] */
};

/// routineControlType, the sub-function of RoutineControl (bits 0-6 of its second byte).
enum class Routine_control_type : std::uint8_t {
    start_routine = 0x01,             /**< startRoutine: the extension's start */
    stop_routine = 0x02,              /**< stopRoutine: the extension's stop */
    request_routine_results = 0x03,   /**< requestRoutineResults: the extension's request_results */
};

/// SID of a negative response: 7F SID NRC (ISO 14229-1, negative response message).
constexpr std::uint8_t negative_response_sid = 0x7F;
/// A positive response's SID is the request's SID with bit 6 set (ISO 14229-1, positive response message).
constexpr std::uint8_t positive_response_offset = 0x40;
/// Bit 7 of a sub-function byte: suppressPosRspMsgIndicationBit (ISO 14229-1, request message
/// sub-function parameter; server behaviour in 7.5).
constexpr std::uint8_t suppress_positive_response_bit = 0x80;

constexpr std::uint8_t to_byte(Service_id sid) noexcept { return static_cast<std::uint8_t>(sid); }
constexpr std::uint8_t to_byte(Routine_control_type type) noexcept { return static_cast<std::uint8_t>(type); }

}  // namespace zevo::host

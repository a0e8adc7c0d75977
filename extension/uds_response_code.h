#pragma once
// The result of every extension job as the host reads it: 0 is a positive answer, anything else is
// the UDS negative response code (ISO 14229-1 NRC) to send.

#include <cstdint>

namespace ruv::dm::types {

using UDSResponseCodeType = std::uint8_t;

/// The codes the plug-in produces on its own; every other one comes from a service.
constexpr UDSResponseCodeType general_reject = 0x10;                   ///< generalReject
constexpr UDSResponseCodeType incorrect_message_length = 0x13;         ///< incorrectMessageLengthOrInvalidFormat

}  // namespace ruv::dm::types

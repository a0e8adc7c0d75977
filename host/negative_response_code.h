#pragma once
// The negative response codes (ISO 14229-1, annex A.1) as one typed space. The dispatcher decides
// the protocol-level ones itself; any other byte an extension returns travels through unchanged.
// Plain values: usable from any thread.

#include <cstdint>

namespace zevo::host {

/// One byte on the wire. Only the codes the host decides or names are listed; every value
/// 0x01-0xFF an extension returns is kept as it is (an enum with a fixed underlying type holds
/// all of them).
enum class Negative_response_code : std::uint8_t {
    general_reject = 0x10,                              /**< generalReject: also what a job answers without its service */
    service_not_supported = 0x11,                       /**< serviceNotSupported: unknown SID */
    sub_function_not_supported = 0x12,                  /**< subFunctionNotSupported: e.g. 31 with a routineControlType other than 01-03 */
    incorrect_message_length_or_invalid_format = 0x13,  /**< incorrectMessageLengthOrInvalidFormat: too short, odd DID list */
    response_too_long = 0x14,                           /**< responseTooLong */
    conditions_not_correct = 0x22,                      /**< conditionsNotCorrect */
    request_sequence_error = 0x24,                      /**< requestSequenceError: e.g. results before start */
    request_out_of_range = 0x31,                        /**< requestOutOfRange: DID or RID not served */
    security_access_denied = 0x33,                      /**< securityAccessDenied */
    general_programming_failure = 0x72,                 /**< generalProgrammingFailure */
    response_pending = 0x78,                            /**< requestCorrectlyReceived-ResponsePending */
};

constexpr std::uint8_t to_byte(Negative_response_code code) noexcept { return static_cast<std::uint8_t>(code); }

}  // namespace zevo::host

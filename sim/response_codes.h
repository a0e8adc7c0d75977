#pragma once
// The negative response codes the simulated services answer with in their application errors
// (ISO 14229-1 annex A.1). Plain constants.

#include <cstdint>

namespace zevo::sim::nrc {

inline constexpr std::uint8_t incorrect_length = 0x13;        ///< incorrectMessageLengthOrInvalidFormat
inline constexpr std::uint8_t conditions_not_correct = 0x22;  ///< conditionsNotCorrect
inline constexpr std::uint8_t request_sequence_error = 0x24;  ///< requestSequenceError
inline constexpr std::uint8_t request_out_of_range = 0x31;    ///< requestOutOfRange

}  // namespace zevo::sim::nrc

#pragma once
// The return codes the runtime hands to a response handler beside the response payload. A
// provider may answer with any byte; the runtime itself produces only the last three.

#include <cstdint>

namespace ruv::com::runtime::return_code {

inline constexpr std::uint8_t ok = 0;                    ///< the service answered positively
inline constexpr std::uint8_t application_error = 2;     ///< the payload carries the service's error
inline constexpr std::uint8_t connection_broken = 0x81;  ///< the connection broke with the call pending
inline constexpr std::uint8_t not_sent = 0x82;           ///< the request could not be sent
inline constexpr std::uint8_t timeout = 0x86;            ///< no answer within the request timeout
inline constexpr std::uint8_t service_withdrawn = 0xFF;  ///< the service stopped being offered

}  // namespace ruv::com::runtime::return_code

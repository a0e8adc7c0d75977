#pragma once
// How return codes cross the wire. A client hands its response handler: E_OK in a RESPONSE as 0,
// a service-specific code c (0x20-0x5E, in RESPONSE or ERROR) as the application error c - 0x1F,
// a generic code e (0x01-0x1F) as 0x40 + e, anything else as 0x80 (invalid to every caller). A
// server sends a provider's answer back the inverse way. Pure functions, any thread.

#include <cstdint>
#include <optional>

namespace ruv::com::someip_binding {

/// The code for the response handler of a RESPONSE or ERROR with this return code.
std::uint8_t to_runtime_code(std::uint8_t message_type, std::uint8_t wire_code) noexcept;

struct Wire_answer {
    std::uint8_t message_type = 0;
    std::uint8_t return_code = 0;
};

/// What a server sends for a provider's answer with this code: 0 a RESPONSE; an application
/// error 1-0x3F an ERROR with 0x1F + code; 0x41-0x5F (a generic code passed on) an ERROR with
/// code - 0x40; any other byte an ERROR with E_NOT_OK. Nothing for the codes the runtime makes
/// itself (0x81, 0x82, 0x86, 0xFF): the client's own runtime finds those out.
std::optional<Wire_answer> to_wire_answer(std::uint8_t runtime_code) noexcept;

}  // namespace ruv::com::someip_binding

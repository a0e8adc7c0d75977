#pragma once
// The 16-byte SOME/IP message header: its fields, the message types and return codes the binding
// uses, and its encoding. Pure functions, callable on any thread; nothing throws but
// std::bad_alloc.

#include <cstddef>
#include <cstdint>

#include "com/someip/byte_view.h"

namespace ruv::com::someip_binding {

inline constexpr std::size_t header_size = 16;
/// The length field counts from offset 8: client id to the end of the payload.
inline constexpr std::uint32_t length_base = 8;
inline constexpr std::uint8_t protocol_version = 0x01;

namespace message_type {
inline constexpr std::uint8_t request = 0x00;
inline constexpr std::uint8_t request_no_return = 0x01;
inline constexpr std::uint8_t notification = 0x02;
inline constexpr std::uint8_t response = 0x80;
inline constexpr std::uint8_t error = 0x81;
inline constexpr std::uint8_t tp_flag = 0x20;  ///< a SOME/IP-TP segment; not supported here
}  // namespace message_type

namespace wire_code {
inline constexpr std::uint8_t ok = 0x00;
inline constexpr std::uint8_t not_ok = 0x01;
inline constexpr std::uint8_t unknown_service = 0x02;
inline constexpr std::uint8_t unknown_method = 0x03;
inline constexpr std::uint8_t not_ready = 0x04;
inline constexpr std::uint8_t wrong_protocol_version = 0x07;
inline constexpr std::uint8_t wrong_interface_version = 0x08;
inline constexpr std::uint8_t malformed_message = 0x09;
inline constexpr std::uint8_t wrong_message_type = 0x0A;
inline constexpr std::uint8_t last_generic = 0x1F;
inline constexpr std::uint8_t first_specific = 0x20;
inline constexpr std::uint8_t last_specific = 0x5E;
}  // namespace wire_code

struct Message_header {
    std::uint16_t service_id = 0;
    std::uint16_t method_id = 0;
    std::uint32_t length = length_base;  ///< 8 + payload size
    std::uint16_t client_id = 0;
    std::uint16_t session_id = 0;
    std::uint8_t protocol_version = someip_binding::protocol_version;
    std::uint8_t interface_version = 0;
    std::uint8_t message_type = 0;
    std::uint8_t return_code = 0;

    bool operator==(const Message_header& other) const noexcept;
};

/// Reads the header from `at`, which must hold header_size bytes.
Message_header read_header(const std::uint8_t* at) noexcept;

/// Appends the header as it stands (its length field is not recomputed).
void append_header(Bytes& out, const Message_header& header);

/// One message: `header` with its length set to 8 + payload size, then the payload.
Bytes encode_message(Message_header header, Byte_view payload);

/// Whether this is a magic cookie (client to server or server to client), which receivers skip.
bool is_magic_cookie(const Message_header& header) noexcept;

/// The magic cookie a client (to_server) or server sends in front of a TCP stream's messages.
Bytes magic_cookie(bool to_server);

}  // namespace ruv::com::someip_binding

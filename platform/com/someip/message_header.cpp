#include "com/someip/message_header.h"

namespace ruv::com::someip_binding {
namespace {

constexpr std::uint16_t cookie_service = 0xFFFF;
constexpr std::uint16_t cookie_method_to_server = 0x0000;
constexpr std::uint16_t cookie_method_to_client = 0x8000;
constexpr std::uint16_t cookie_client = 0xDEAD;
constexpr std::uint16_t cookie_session = 0xBEEF;

}  // namespace

bool Message_header::operator==(const Message_header& other) const noexcept {
    return service_id == other.service_id && method_id == other.method_id && length == other.length &&
           client_id == other.client_id && session_id == other.session_id &&
           protocol_version == other.protocol_version && interface_version == other.interface_version &&
           message_type == other.message_type && return_code == other.return_code;
}

Message_header read_header(const std::uint8_t* at) noexcept {
    Message_header header;
    header.service_id = read_u16(at);
    header.method_id = read_u16(at + 2);
    header.length = read_u32(at + 4);
    header.client_id = read_u16(at + 8);
    header.session_id = read_u16(at + 10);
    header.protocol_version = at[12];
    header.interface_version = at[13];
    header.message_type = at[14];
    header.return_code = at[15];
    return header;
}

void append_header(Bytes& out, const Message_header& header) {
    append_u16(out, header.service_id);
    append_u16(out, header.method_id);
    append_u32(out, header.length);
    append_u16(out, header.client_id);
    append_u16(out, header.session_id);
    append_u8(out, header.protocol_version);
    append_u8(out, header.interface_version);
    append_u8(out, header.message_type);
    append_u8(out, header.return_code);
}

Bytes encode_message(Message_header header, Byte_view payload) {
    header.length = static_cast<std::uint32_t>(length_base + payload.size);
    Bytes out;
    out.reserve(header_size + payload.size);
    append_header(out, header);
    if (payload.size != 0) {
        out.insert(out.end(), payload.data, payload.data + payload.size);
    }
    return out;
}

bool is_magic_cookie(const Message_header& header) noexcept {
    const bool to_server = header.method_id == cookie_method_to_server &&
                           header.message_type == message_type::request_no_return;
    const bool to_client = header.method_id == cookie_method_to_client &&
                           header.message_type == message_type::notification;
    return header.service_id == cookie_service && (to_server || to_client) && header.length == length_base &&
           header.client_id == cookie_client && header.session_id == cookie_session &&
           header.protocol_version == protocol_version && header.interface_version == 0x01 &&
           header.return_code == 0;
}

Bytes magic_cookie(bool to_server) {
    Message_header header;
    header.service_id = cookie_service;
    header.method_id = to_server ? cookie_method_to_server : cookie_method_to_client;
    header.client_id = cookie_client;
    header.session_id = cookie_session;
    header.interface_version = 0x01;
    header.message_type = to_server ? message_type::request_no_return : message_type::notification;
    return encode_message(header, {});
}

}  // namespace ruv::com::someip_binding

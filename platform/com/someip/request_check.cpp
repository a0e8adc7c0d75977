#include "com/someip/request_check.h"

#include <algorithm>

namespace ruv::com::someip_binding {
namespace {

Request_verdict failed(const Message_header& header, std::uint8_t return_code) noexcept {
    // Nothing is sent back for any other message type, nor for a message that already carries an
    // error: two servers must never answer each other's errors forever.
    const bool answer = header.message_type == message_type::request && header.return_code == wire_code::ok;
    return Request_verdict{return_code, answer};
}

}  // namespace

bool is_method_id(std::uint16_t method_id) noexcept { return method_id >= 0x0001 && method_id <= 0x7FFE; }

Request_verdict check_request(const Message_header& header, const Served_interface* served) noexcept {
    if (header.protocol_version != protocol_version) {
        return failed(header, wire_code::wrong_protocol_version);
    }
    if (served == nullptr || served->service_id != header.service_id) {
        return failed(header, wire_code::unknown_service);
    }
    if (header.interface_version != served->major_version) {
        return failed(header, wire_code::wrong_interface_version);
    }
    const auto& ids = served->method_ids;
    if (!is_method_id(header.method_id) || std::find(ids.begin(), ids.end(), header.method_id) == ids.end()) {
        return failed(header, wire_code::unknown_method);
    }
    // Every method served here answers, so a REQUEST is the only type a server takes.
    if (header.message_type != message_type::request) {
        return failed(header, wire_code::wrong_message_type);
    }
    if (header.return_code != wire_code::ok) {
        return failed(header, wire_code::malformed_message);
    }
    return Request_verdict{};
}

Request_verdict malformed_payload(const Message_header& header) noexcept {
    return failed(header, wire_code::malformed_message);
}

Message_header make_error_header(const Message_header& request, std::uint8_t return_code) noexcept {
    Message_header header = request;
    header.length = length_base;
    header.protocol_version = protocol_version;
    header.message_type = message_type::error;
    header.return_code = return_code;
    return header;
}

}  // namespace ruv::com::someip_binding

#pragma once
// The checks a server makes on a received request, in the order SOME/IP prescribes: protocol
// version, service id, interface version, method id, message type, payload. Only a REQUEST that
// carries return code 0 is answered when a check fails, with an ERROR (make_error_header). Pure
// functions, callable on any thread.

#include <cstdint>
#include <vector>

#include "com/someip/message_header.h"

namespace ruv::com::someip_binding {

/// What the server offers under one service id.
struct Served_interface {
    std::uint16_t service_id = 0;
    std::uint8_t major_version = 0;
    std::vector<std::uint16_t> method_ids;  ///< the wire method ids it answers
};

struct Request_verdict {
    std::uint8_t return_code = wire_code::ok;  ///< ok: the request goes to the provider
    bool answer = false;                       ///< send an ERROR with return_code

    bool passed() const noexcept { return return_code == wire_code::ok; }
};

/// Whether a method id may name a method at all (0x0001-0x7FFE; events and reserved ids not).
bool is_method_id(std::uint16_t method_id) noexcept;

/// Checks the header against what is served (`served` null: the service id is not served). The
/// payload's own check comes after the provider has read it: see malformed_payload.
Request_verdict check_request(const Message_header& header, const Served_interface* served) noexcept;

/// The verdict for a request whose payload the provider could not read.
Request_verdict malformed_payload(const Message_header& header) noexcept;

/// The header of the ERROR answering `request` with `return_code`: message id, request id and
/// interface version copied, protocol version 0x01, no payload.
Message_header make_error_header(const Message_header& request, std::uint8_t return_code) noexcept;

}  // namespace ruv::com::someip_binding

#pragma once
// Byte samples shared by the SOME/IP binding's tests: a request header and messages built from it.

#include <cstdint>

#include "com/someip/message_header.h"

namespace zevo::test::someip_wire {

using ruv::com::someip_binding::Bytes;
using ruv::com::someip_binding::Message_header;

inline Message_header request_header(std::uint16_t method_id = 0x0001) {
    Message_header header;
    header.service_id = 0x4C55;
    header.method_id = method_id;
    header.client_id = 0x0101;
    header.session_id = 0x0007;
    header.interface_version = 1;
    header.message_type = ruv::com::someip_binding::message_type::request;
    return header;
}

inline Bytes message(const Message_header& header, const Bytes& payload) {
    return ruv::com::someip_binding::encode_message(header, {payload.data(), payload.size()});
}

inline Bytes joined(Bytes first, const Bytes& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

}  // namespace zevo::test::someip_wire

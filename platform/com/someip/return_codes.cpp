#include "com/someip/return_codes.h"

#include "com/someip/message_header.h"
#include "ruv/com/runtime/return_code.h"

namespace ruv::com::someip_binding {
namespace {

constexpr std::uint8_t generic_offset = 0x40;
constexpr std::uint8_t invalid = 0x80;
constexpr std::uint8_t specific_offset = wire_code::first_specific - 1;  // 0x1F

}  // namespace

std::uint8_t to_runtime_code(std::uint8_t message_type, std::uint8_t wire_code) noexcept {
    if (wire_code == wire_code::ok) {
        // ERROR never carries E_OK: a peer that sends it is not to be believed.
        return message_type == message_type::response ? runtime::return_code::ok : invalid;
    }
    if (wire_code <= wire_code::last_generic) {
        return static_cast<std::uint8_t>(generic_offset + wire_code);
    }
    if (wire_code <= wire_code::last_specific) {
        return static_cast<std::uint8_t>(wire_code - specific_offset);
    }
    return invalid;
}

std::optional<Wire_answer> to_wire_answer(std::uint8_t runtime_code) noexcept {
    namespace code = runtime::return_code;
    if (runtime_code == code::ok) {
        return Wire_answer{message_type::response, wire_code::ok};
    }
    if (runtime_code == code::connection_broken || runtime_code == code::not_sent ||
        runtime_code == code::timeout || runtime_code == code::service_withdrawn) {
        return std::nullopt;
    }
    if (runtime_code <= wire_code::last_specific - specific_offset) {
        return Wire_answer{message_type::error, static_cast<std::uint8_t>(runtime_code + specific_offset)};
    }
    if (runtime_code > generic_offset && runtime_code <= generic_offset + wire_code::last_generic) {
        return Wire_answer{message_type::error, static_cast<std::uint8_t>(runtime_code - generic_offset)};
    }
    return Wire_answer{message_type::error, wire_code::not_ok};
}

}  // namespace ruv::com::someip_binding

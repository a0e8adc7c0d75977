#pragma once
// Writes one value of a basic type (no length field) to the end of a request payload, in the
// byte order of the properties. Any thread, on the caller's buffer; only allocation failure throws.

#include <cstdint>
#include <type_traits>
#include <vector>

#include "someip/basic_type.h"
#include "someip/byte_order.h"
#include "someip/serialization_properties.h"

namespace ruv::com::someip::serialization {

template <class T, std::enable_if_t<is_basic_non_bool_type_v<T>, int> = 0>
void serialize_dispatch(std::vector<std::uint8_t>& out, const T& value, const Serialization_properties& properties) {
    byte_order::write_to_container(
        value, [&out](std::uint8_t byte) { out.push_back(byte); }, properties.byte_order,
        byte_order::host_byte_order);
}

}  // namespace ruv::com::someip::serialization

#pragma once
// Reads one value of a basic type (no length field) from a received payload, in the byte order of
// the properties. Any thread, on the caller's buffer; throws Read_buffer's std::out_of_range when
// the payload ends early, with the bytes read before it already in `value`.

#include <cstdint>
#include <type_traits>
#include <vector>

#include "someip/basic_type.h"
#include "someip/byte_order.h"
#include "someip/read_buffer.h"
#include "someip/serialization_properties.h"

namespace ruv::com::someip::serialization {

/// The last argument takes no part in reading a basic value.
template <class T, std::enable_if_t<is_basic_non_bool_type_v<T>, int> = 0>
void deserialize_dispatch(Read_buffer<std::vector<std::uint8_t>>& buffer, T& value,
                          const Serialization_properties& properties, unsigned long /*unused*/) {
    byte_order::read_from_container(
        value, [&buffer](std::uint8_t& byte) { buffer.read_bytes(1, &byte); }, properties.byte_order,
        byte_order::host_byte_order);
}

}  // namespace ruv::com::someip::serialization

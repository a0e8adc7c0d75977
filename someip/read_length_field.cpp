// Length fields of the payload reader: each byte is its own read_bytes, so a payload that ends
// inside the field fails at the first missing byte, having consumed those before it.

#include "someip/read_length_field.h"

#include <stdexcept>

#include "someip/error_texts.h"

namespace ruv::com::someip::serialization {
namespace {

template <class Unsigned>
Unsigned read_unsigned(Read_buffer<std::vector<std::uint8_t>>& buffer, const Serialization_properties& properties) {
    const bool least_significant_first = properties.byte_order == byte_order::Byte_order::little_endian;
    Unsigned value = 0;
    for (std::size_t index = 0; index < sizeof(Unsigned); ++index) {
        std::uint8_t byte = 0;
        buffer.read_bytes(1, &byte);
        if (least_significant_first) {
            value = static_cast<Unsigned>(value | static_cast<Unsigned>(static_cast<Unsigned>(byte) << (8 * index)));
        } else {
            value = static_cast<Unsigned>(static_cast<Unsigned>(value << 8) | byte);
        }
    }
    return value;
}

}  // namespace

std::size_t read_length_field(std::size_t size, Read_buffer<std::vector<std::uint8_t>>& buffer,
                              const Serialization_properties& properties) {
    if (size == 2) {
        return read_unsigned<std::uint16_t>(buffer, properties);
    }
    if (size == 4) {
        return read_unsigned<std::uint32_t>(buffer, properties);
    }
    if (size == 1) {
        return read_unsigned<std::uint8_t>(buffer, properties);
    }
    throw std::invalid_argument(error_texts::invalid_length_field_size);
}

}  // namespace ruv::com::someip::serialization

// Byte vectors of the payload reader. The record's end is computed and tested against the payload
// before any element is read; the elements are then read by position, not by count.

#include "someip/payload_reader.h"

namespace ruv::com::someip::serialization {

void read_byte_vector(Read_buffer<std::vector<std::uint8_t>>& buffer, std::vector<std::uint8_t>& value,
                      const Serialization_properties& properties) {
    const std::uint64_t length = static_cast<std::uint32_t>(read_length_field(4, buffer, properties));
    const std::uint64_t start = buffer.offset();
    if (start > ~length) {
        throw std::overflow_error("Deserialization detected std::size_t overflow.");
    }
    const std::uint64_t end = start + length;
    if (buffer.size() < end) {
        throw std::out_of_range("Deserialization calculated invalid end position.");
    }
    while (buffer.offset() < end) {
        value.push_back(0);
        byte_order::read_from_container(
            value.back(), [&buffer](std::uint8_t& byte) { buffer.read_bytes(1, &byte); }, properties.byte_order,
            byte_order::host_byte_order);
    }
    // With one-byte elements consumed always equals length and neither check below can fire; they
    // stay as the record overrun and surplus handling of every reader.
    const std::uint64_t consumed = buffer.offset() - start;
    if (static_cast<std::int64_t>(length) < static_cast<std::int64_t>(consumed)) {
        throw std::out_of_range(error_texts::record_length_too_small);
    }
    const std::uint64_t rest = length - consumed;
    if (rest > 0) {
        if (buffer.size() - buffer.offset() < rest) {  // offset + rest > size, without wrapping
            throw std::out_of_range(error_texts::read_beyond_end);
        }
        buffer.advance(rest);
    }
}

}  // namespace ruv::com::someip::serialization

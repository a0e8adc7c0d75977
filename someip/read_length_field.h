#pragma once
// Reading of a SOME/IP length field from a received payload, the mirror of write_length_field.
// Any thread, on the caller's buffer. Throws std::invalid_argument for a width other than 1, 2
// or 4 and Read_buffer's std::out_of_range when the payload ends inside the field.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "someip/read_buffer.h"
#include "someip/serialization_properties.h"

namespace ruv::com::someip::serialization {

/// Reads a length field `size` bytes wide, one byte at a time, and returns its value zero-extended.
/// Unlike the writer, size 0 is refused.
std::size_t read_length_field(std::size_t size, Read_buffer<std::vector<std::uint8_t>>& buffer,
                              const Serialization_properties& properties);

}  // namespace ruv::com::someip::serialization

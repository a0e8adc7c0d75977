#pragma once
// Writing of SOME/IP length fields and the rule that ties the three length field widths together.
// Pure functions, any thread. Throw std::overflow_error, std::invalid_argument, std::runtime_error
// with fixed texts, or whatever the vector throws when it grows.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "someip/serialization_properties.h"

namespace ruv::com::someip::serialization {

/// Appends a length field `size` bytes wide holding `value`, in the byte order of `properties`.
/// Size 0 appends nothing; a value too large for the field throws std::overflow_error and leaves
/// `out` as it was; a size other than 0, 1, 2 or 4 throws std::invalid_argument.
void write_length_field(std::size_t size, std::size_t value, std::vector<std::uint8_t>& out,
                        const Serialization_properties& properties);

/// Width in bytes of the length field of a tagged member of SOME/IP wire type `wire_type`: the
/// common width for 4 (std::runtime_error unless all three are equal and not 0), 1, 2 and 4 for
/// wire types 5 to 7, and 0 for every other wire type.
std::size_t length_field_size_for_wire_type(unsigned char wire_type, const Serialization_properties& properties);

}  // namespace ruv::com::someip::serialization

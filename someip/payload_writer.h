#pragma once
// Writers of the SOME/IP request values with a length field: strings, maps from string to string,
// byte vectors and fixed byte arrays, appended to the caller's buffer; single bytes go through
// serialize_dispatch. Any thread; no state. Throws std::invalid_argument and std::overflow_error
// with fixed texts and whatever the vector throws; what was appended before a throw stays.

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "someip/byte_order.h"
#include "someip/length_field.h"
#include "someip/serialization_properties.h"
#include "someip/serialize_dispatch.h"

namespace ruv::com::someip::serialization {

/// A length field of `string_length_field_size` bytes and the string's bytes as they stand.
void write_string(std::vector<std::uint8_t>& out, const std::string& value, const Serialization_properties& properties);

/// A 4-byte length field with the size of all entries, then key and value of each entry as
/// strings, in ascending order of the keys.
void write_string_map(std::vector<std::uint8_t>& out, const std::map<std::string, std::string>& value,
                      const Serialization_properties& properties);

/// A 4-byte length field with the number of elements, then the elements.
void write_byte_vector(std::vector<std::uint8_t>& out, const std::vector<std::uint8_t>& value,
                       const Serialization_properties& properties);

/// A 4-byte length field holding N, then the N elements: a fixed array is sent with its length
/// field all the same.
template <std::size_t N>
void write_byte_array(std::vector<std::uint8_t>& out, const std::array<std::uint8_t, N>& value,
                      const Serialization_properties& properties) {
    write_length_field(4, N, out, properties);
    for (const std::uint8_t element : value) {
        serialize_dispatch(out, element, properties);
    }
}

}  // namespace ruv::com::someip::serialization

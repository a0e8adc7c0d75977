#pragma once
// Readers of the SOME/IP values with a length field: byte vectors and fixed byte arrays of the
// responses, and the strings and string maps of the requests, which only the service side reads;
// basic integers go through deserialize_dispatch. Any thread, on the caller's buffer; no state.
// Throw std::out_of_range, std::overflow_error, std::invalid_argument with fixed texts; the value
// is left partly filled and the caller drops it.

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "someip/byte_order.h"
#include "someip/error_texts.h"
#include "someip/read_buffer.h"
#include "someip/read_length_field.h"
#include "someip/serialization_properties.h"

namespace ruv::com::someip::serialization {

/// A 4-byte length field and that many bytes, appended to `value`. The whole record must lie
/// within the payload before the first element is read.
void read_byte_vector(Read_buffer<std::vector<std::uint8_t>>& buffer, std::vector<std::uint8_t>& value,
                      const Serialization_properties& properties);

/// A length field of `string_length_field_size` bytes and that many bytes, taken as they stand.
/// The whole string must lie within the payload before the first byte is taken.
void read_string(Read_buffer<std::vector<std::uint8_t>>& buffer, std::string& value,
                 const Serialization_properties& properties);

/// A 4-byte length field with the size of all entries, then key and value of each entry as
/// strings, until the record is used up; a key that comes again keeps its later value. The record
/// must lie within the payload, and an entry that runs past its end fails the map.
void read_string_map(Read_buffer<std::vector<std::uint8_t>>& buffer, std::map<std::string, std::string>& value,
                     const Serialization_properties& properties);

/// A 4-byte length field of at least N, the N elements, and the surplus the length promises,
/// skipped unread.
template <std::size_t N>
void read_byte_array(Read_buffer<std::vector<std::uint8_t>>& buffer, std::array<std::uint8_t, N>& value,
                     const Serialization_properties& properties) {
    const std::size_t length = read_length_field(4, buffer, properties);
    if (length < N) {
        throw std::out_of_range(error_texts::record_length_smaller_than_expected);
    }
    const std::size_t start = buffer.offset();
    for (std::uint8_t& element : value) {
        // read_bytes finds a payload that ends before the N elements.
        byte_order::read_from_container(
            element, [&buffer](std::uint8_t& byte) { buffer.read_bytes(1, &byte); }, properties.byte_order,
            byte_order::host_byte_order);
    }
    const std::size_t consumed = buffer.offset() - start;
    // Cannot fire once length >= N; kept as the record overrun check of every reader.
    if (static_cast<std::int64_t>(consumed) > static_cast<std::int64_t>(length)) {
        throw std::out_of_range(error_texts::record_length_too_small);
    }
    // A sender may know more members than this side: surplus inside the record is skipped.
    const std::size_t rest = length - consumed;
    if (rest != 0) {
        buffer.check_available(rest);
        buffer.advance(rest);
    }
}

}  // namespace ruv::com::someip::serialization

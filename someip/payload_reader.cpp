// Byte vectors of the payload reader. The record's end is computed and tested against the payload
// before any element is read; the elements are then read by position, not by count.

#include "someip/payload_reader.h"

#include <utility>

namespace ruv::com::someip::serialization {
namespace {

// The end of a record of `length` bytes that begins at the cursor, refused unless the whole
// record lies within the payload.
std::uint64_t record_end(const Read_buffer<std::vector<std::uint8_t>>& buffer, std::uint64_t length) {
    const std::uint64_t start = buffer.offset();
    if (start > ~length) {
        throw std::overflow_error(error_texts::size_overflow);
    }
    const std::uint64_t end = start + length;
    if (buffer.size() < end) {
        throw std::out_of_range(error_texts::invalid_end_position);
    }
    return end;
}

}  // namespace

void read_byte_vector(Read_buffer<std::vector<std::uint8_t>>& buffer, std::vector<std::uint8_t>& value,
                      const Serialization_properties& properties) {
    const std::uint64_t length = static_cast<std::uint32_t>(read_length_field(4, buffer, properties));
    const std::uint64_t start = buffer.offset();
    const std::uint64_t end = record_end(buffer, length);
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

void read_string(Read_buffer<std::vector<std::uint8_t>>& buffer, std::string& value,
                 const Serialization_properties& properties) {
    const std::uint64_t length = read_length_field(properties.string_length_field_size, buffer, properties);
    static_cast<void>(record_end(buffer, length));
    value.assign(static_cast<std::size_t>(length), '\0');
    // Text is taken as it stands: no byte order mark, no terminating zero, no conversion.
    buffer.read_bytes(value.size(), reinterpret_cast<std::uint8_t*>(value.data()));
}

void read_string_map(Read_buffer<std::vector<std::uint8_t>>& buffer, std::map<std::string, std::string>& value,
                     const Serialization_properties& properties) {
    const std::uint64_t length = static_cast<std::uint32_t>(read_length_field(4, buffer, properties));
    const std::uint64_t start = buffer.offset();
    const std::uint64_t end = record_end(buffer, length);
    while (buffer.offset() < end) {
        std::string key;
        std::string text;
        read_string(buffer, key, Serialization_properties{properties});
        read_string(buffer, text, Serialization_properties{properties});
        value.insert_or_assign(std::move(key), std::move(text));
    }
    // The entries are read by position: the last one may run past the record's end, into the
    // next value or the end of the payload. The first case is found here.
    if (buffer.offset() - start > length) {
        throw std::out_of_range(error_texts::record_length_too_small);
    }
}

}  // namespace ruv::com::someip::serialization

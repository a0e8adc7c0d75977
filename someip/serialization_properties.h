#pragma once
// The payload format choices a SOME/IP serialiser works under, and the one set of values in force
// for every service interface of this system. A constant: read it from any thread.

#include <cstdint>

#include "someip/byte_order.h"

namespace ruv::com::someip::serialization {

struct Serialization_properties {
    std::uint64_t option_word;                    ///< carried along in every copy; nothing reads it (0)
    byte_order::Byte_order byte_order;            ///< byte order of the payload (4321)
    std::uint32_t option_flag;                    ///< carried along in every copy; nothing reads it (1)
    std::uint64_t array_length_field_size;        ///< bytes before a vector, a fixed array, a map (4)
    std::uint64_t string_length_field_size;       ///< bytes before a string (4)
    std::uint64_t struct_length_field_size;       ///< bytes before a structure; only the wire type rule reads it (4)
};

/// The record of all ten service interfaces: big-endian, every length field 4 bytes. Serialising
/// code takes a fresh copy per value it writes and passes it on by const reference.
constexpr Serialization_properties serialization_properties_in_force{
    0, byte_order::Byte_order::big_endian, 1, 4, 4, 4};

}  // namespace ruv::com::someip::serialization

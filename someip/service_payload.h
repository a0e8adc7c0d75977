#pragma once
// The service's side of the SOME/IP payloads, the mirror of method_payload.h: a response payload
// written from an Output, a request payload read back into a method's arguments. Used by the
// simulator and the tests on the caller's thread; catches nothing, so the writers' and readers'
// std::invalid_argument, std::overflow_error and std::out_of_range pass through.

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "someip/method_payload.h"
#include "someip/payload_reader.h"
#include "someip/payload_writer.h"
#include "someip/read_buffer.h"
#include "someip/serialization_properties.h"
#include "someip/serialize_dispatch.h"

namespace ruv::com::someip::serialization {

// --- responses: what a request may hold, and 16-bit integers (big-endian) ---

/// Single bytes, byte vectors and fixed byte arrays (with their length field N, as the plug-in's
/// reader accepts them) are written as in a request.
template <class T>
void serialize_field(std::vector<std::uint8_t>& buffer, const T& value, const Serialization_properties& properties) {
    serialize_value(buffer, value, properties);
}

inline void serialize_field(std::vector<std::uint8_t>& buffer, const std::uint16_t& value,
                            const Serialization_properties& properties) {
    serialize_dispatch(buffer, value, properties);
}

/// Appends the members of `output.fields()` in order of declaration.
template <class Output>
void serialize_output(std::vector<std::uint8_t>& buffer, const Output& output) {
    std::apply(
        [&buffer](const auto&... field) {
            (serialize_field(buffer, field, Serialization_properties{serialization_properties_in_force}), ...);
        },
        output.fields());
}

/// The response payload of an answer with `output`.
template <class Output>
std::vector<std::uint8_t> response_payload(const Output& output) {
    std::vector<std::uint8_t> buffer;
    serialize_output(buffer, output);
    return buffer;
}

// --- requests: a map first, then what a response may hold ---

/// Single bytes, byte vectors and fixed byte arrays are read as in a response.
template <class T>
void deserialize_argument(Payload_cursor& buffer, T& value, const Serialization_properties& properties) {
    deserialize_value(buffer, value, properties);
}

inline void deserialize_argument(Payload_cursor& buffer, std::map<std::string, std::string>& value,
                                 const Serialization_properties& properties) {
    read_string_map(buffer, value, properties);
}

/// The arguments of one call of `Method` read from its request payload: std::tuple<Meta_info,
/// ...> after its Signature. Bytes behind the last argument are not looked at.
template <class Method>
Method_arguments_t<Method> deserialize_arguments(const std::vector<std::uint8_t>& payload) {
    Method_arguments_t<Method> arguments{};
    Payload_cursor buffer(payload);
    std::apply(
        [&buffer](auto&... argument) {
            (deserialize_argument(buffer, argument, Serialization_properties{serialization_properties_in_force}), ...);
        },
        arguments);
    return arguments;
}

}  // namespace ruv::com::someip::serialization

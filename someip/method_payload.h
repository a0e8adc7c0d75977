#pragma once
// The SOME/IP payloads of the plug-in's side of every method: request payloads written from a
// method's arguments, response payloads read into its Output, one layer keyed by the method's
// signature and the Output's fields(). Runs on the caller's thread (request path: the host's,
// response path: a runtime thread) on the caller's objects; catches nothing, so the writers' and
// readers' std::invalid_argument, std::overflow_error and std::out_of_range pass through.

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "someip/deserialize_dispatch.h"
#include "someip/payload_reader.h"
#include "someip/payload_writer.h"
#include "someip/read_buffer.h"
#include "someip/serialization_properties.h"
#include "someip/serialize_dispatch.h"

namespace ruv::com::someip::serialization {

// --- requests: maps, single bytes, byte vectors and fixed byte arrays, nothing else ---

template <class T>
void serialize_value(std::vector<std::uint8_t>& buffer, const T& value, const Serialization_properties& properties) =
    delete;

inline void serialize_value(std::vector<std::uint8_t>& buffer, const std::map<std::string, std::string>& value,
                            const Serialization_properties& properties) {
    write_string_map(buffer, value, properties);
}

inline void serialize_value(std::vector<std::uint8_t>& buffer, const std::uint8_t& value,
                            const Serialization_properties& properties) {
    serialize_dispatch(buffer, value, properties);
}

inline void serialize_value(std::vector<std::uint8_t>& buffer, const std::vector<std::uint8_t>& value,
                            const Serialization_properties& properties) {
    write_byte_vector(buffer, value, properties);
}

template <std::size_t N>
void serialize_value(std::vector<std::uint8_t>& buffer, const std::array<std::uint8_t, N>& value,
                     const Serialization_properties& properties) {
    write_byte_array(buffer, value, properties);
}

/// Appends the arguments one behind the other, in their order, each under a fresh copy of the
/// properties in force; no record around them and nothing reserved beforehand.
template <class... Arguments>
void serialize_arguments(std::vector<std::uint8_t>& buffer, const Arguments&... arguments) {
    (serialize_value(buffer, arguments, Serialization_properties{serialization_properties_in_force}), ...);
}

/// The parameters of a method's Signature, as values: std::tuple<Meta_info, ...>.
template <class Signature>
struct Signature_parts;

template <class Result_type, class... Parameters>
struct Signature_parts<Result_type(Parameters...)> {
    using Result = Result_type;
    using Arguments = std::tuple<std::decay_t<Parameters>...>;
};

template <class Method>
using Method_arguments_t = typename Signature_parts<typename Method::Signature>::Arguments;

/// serialize_arguments for `Method`, refused at compile time unless the arguments are exactly
/// the parameters of its Signature (meta_info first).
template <class Method, class... Arguments>
void serialize_request(std::vector<std::uint8_t>& buffer, const Arguments&... arguments) {
    static_assert(std::is_same_v<std::tuple<std::decay_t<Arguments>...>, Method_arguments_t<Method>>,
                  "the arguments must be the parameters of the method's Signature, in order");
    serialize_arguments(buffer, arguments...);
}

/// The request payload of one call of `Method`.
template <class Method, class... Arguments>
std::vector<std::uint8_t> request_payload(const Arguments&... arguments) {
    std::vector<std::uint8_t> buffer;
    serialize_request<Method>(buffer, arguments...);
    return buffer;
}

// --- responses: single bytes, 16-bit integers, byte vectors and fixed byte arrays, nothing else ---

using Payload_cursor = Read_buffer<std::vector<std::uint8_t>>;

template <class T>
void deserialize_value(Payload_cursor& buffer, T& value, const Serialization_properties& properties) = delete;

inline void deserialize_value(Payload_cursor& buffer, std::uint8_t& value, const Serialization_properties& properties) {
    deserialize_dispatch(buffer, value, properties, 0);
}

inline void deserialize_value(Payload_cursor& buffer, std::uint16_t& value, const Serialization_properties& properties) {
    deserialize_dispatch(buffer, value, properties, 0);
}

inline void deserialize_value(Payload_cursor& buffer, std::vector<std::uint8_t>& value,
                              const Serialization_properties& properties) {
    read_byte_vector(buffer, value, properties);
}

template <std::size_t N>
void deserialize_value(Payload_cursor& buffer, std::array<std::uint8_t, N>& value,
                       const Serialization_properties& properties) {
    read_byte_array(buffer, value, properties);
}

/// Reads the members of `output.fields()` in order of declaration. Bytes behind the last member
/// are not looked at. `output` should come fresh: vectors are appended to. After a throw it is
/// partly filled, and the caller drops it.
template <class Output>
void deserialize_output(const std::vector<std::uint8_t>& payload, Output& output) {
    Payload_cursor buffer(payload);
    std::apply(
        [&buffer](auto&... field) {
            (deserialize_value(buffer, field, Serialization_properties{serialization_properties_in_force}), ...);
        },
        output.fields());
}

/// A fresh Output read from `payload`.
template <class Output>
Output read_output(const std::vector<std::uint8_t>& payload) {
    Output output{};
    deserialize_output(payload, output);
    return output;
}

}  // namespace ruv::com::someip::serialization

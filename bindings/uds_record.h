#pragma once
// UDS records of the bindings: request bytes cut into a method's arguments, and a method's Output
// written as response bytes, both by position and type alone. Big-endian, no length fields and
// no alignment. Runs on the job's thread on job-local objects; no locks.

#include <array>
#include <cstddef>
#include <cstdint>
#include <tuple>
#include <vector>

#include "extension/deserialize.h"
#include "extension/serialize.h"

namespace ruv::dm::foundation::extension::uds_record {

// The argument and field types the ten interfaces use; any other type is refused at compile time.
template <class T>
void read_argument(Deserialize& parameters, T& value) = delete;
template <class T>
void write_field(Serialize& record, const T& value) = delete;

inline void read_argument(Deserialize& parameters, std::uint8_t& value) { parameters.deserialize(value); }

template <std::size_t N>
void read_argument(Deserialize& parameters, std::array<std::uint8_t, N>& values) {
    for (std::uint8_t& value : values) {
        parameters.deserialize(value);
    }
}

/// Takes every byte still unread. The count is fixed once, before the first of them is read.
inline void read_argument(Deserialize& parameters, std::vector<std::uint8_t>& values) {
    const std::uint64_t remaining = parameters.data().size() - parameters.read_position();
    for (std::uint32_t index = 0; index < remaining; ++index) {
        std::uint8_t value = 0;
        parameters.deserialize(value);
        values.push_back(value);
    }
}

/// Reads the arguments in their order; a request too short for them throws std::out_of_range.
template <class... Values>
void read_arguments(Deserialize& parameters, std::tuple<Values...>& arguments) {
    std::apply([&](Values&... value) { (read_argument(parameters, value), ...); }, arguments);
}

inline void write_field(Serialize& record, const std::uint8_t& value) { record.write_value(value); }
inline void write_field(Serialize& record, const std::uint16_t& value) { record.write_value(value); }

template <std::size_t N>
void write_field(Serialize& record, const std::array<std::uint8_t, N>& values) {
    for (const std::uint8_t& value : values) {
        record.write_value(value);
    }
}

/// The elements alone: the end of the record is the only length the tester sees.
inline void write_field(Serialize& record, const std::vector<std::uint8_t>& values) {
    for (const std::uint8_t& value : values) {
        record.write_value(value);
    }
}

/// Appends the fields of an Output record (its `fields()` tie) in order of declaration.
template <class Output>
void write_record(Serialize& record, const Output& output) {
    std::apply([&](const auto&... field) { (write_field(record, field), ...); }, output.fields());
}

}  // namespace ruv::dm::foundation::extension::uds_record

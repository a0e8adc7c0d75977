#pragma once
// One answer of a simulated service before it goes out: the return code, the response payload
// and where the payload's first length field stands (so a fault can damage it). Built on the
// runtime thread that handles the call; plain data. Throws std::bad_alloc only.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <type_traits>
#include <vector>

#include "someip/service_payload.h"

namespace zevo::sim {

struct Answer {
    std::uint8_t code = 0;
    std::vector<std::uint8_t> payload;
    std::optional<std::size_t> first_length_field;  ///< offset of the first 4-byte length field
};

namespace detail {

template <class T>
struct has_length_field : std::false_type {};
template <>
struct has_length_field<std::vector<std::uint8_t>> : std::true_type {};
template <std::size_t N>
struct has_length_field<std::array<std::uint8_t, N>> : std::true_type {};

}  // namespace detail

/// Return code 0 with no payload: the answer of Start and Cancel.
inline Answer accepted() { return Answer{}; }

/// Return code 0 with `output` written member by member.
template <class Output>
Answer positive(const Output& output) {
    Answer answer;
    std::apply(
        [&answer](const auto&... field) {
            const auto write = [&answer](const auto& value) {
                if (detail::has_length_field<std::decay_t<decltype(value)>>::value && !answer.first_length_field) {
                    answer.first_length_field = answer.payload.size();
                }
                ruv::com::someip::serialization::serialize_field(
                    answer.payload, value,
                    ruv::com::someip::serialization::Serialization_properties{
                        ruv::com::someip::serialization::serialization_properties_in_force});
            };
            (write(field), ...);
        },
        output.fields());
    return answer;
}

/// Return code 2: a data identifier's error carries one code, a routine's two (results, start);
/// the simulator refuses both methods of a routine with the same code.
inline Answer application_error(std::uint8_t response_code, bool routine) {
    Answer answer;
    answer.code = 2;
    answer.payload = routine ? std::vector<std::uint8_t>{response_code, response_code}
                             : std::vector<std::uint8_t>{response_code};
    return answer;
}

/// The payload less its last byte (nothing for an empty one).
void shorten(Answer& answer);

/// A payload whose first length field claims one byte more than follows it; without a length
/// field, the payload cut to its first byte (either way too short to read). Empty stays empty.
void malform(Answer& answer);

}  // namespace zevo::sim

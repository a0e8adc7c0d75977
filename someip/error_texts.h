#pragma once
// The fixed texts of the exceptions that the SOME/IP serialisation layer throws, for the texts
// that more than one of its components use. Constants only.

namespace ruv::com::someip::serialization::error_texts {

inline constexpr const char* invalid_length_field_size = "Invalid value for length field size.";
inline constexpr const char* read_beyond_end = "Read beyond the end of the data buffer";
inline constexpr const char* record_length_too_small =
    "Violation of [PRS_SOMEIP_00900]: Record length given by sender is too small. This is possibly due to a "
    "mismatch between the data models of sender and receiver.";
inline constexpr const char* record_length_smaller_than_expected =
    "Violation of [PRS_SOMEIP_00900]: Record length provided by sender is smaller than expected. This is possibly "
    "due to a mismatch between the data models of sender and receiver.";
inline constexpr const char* size_overflow = "Deserialization detected std::size_t overflow.";
inline constexpr const char* invalid_end_position = "Deserialization calculated invalid end position.";
inline constexpr const char* null_destination = "destination cannot be NULL";

}  // namespace ruv::com::someip::serialization::error_texts

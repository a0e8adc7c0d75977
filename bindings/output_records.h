#pragma once
// Record shapes that several service interfaces share for their Output. Each interface still
// has its own Output type, derived from one of these with nothing added, so that a record's
// members are declared once per shape. Member names are ours; order and types are the wire's.

#include <array>
#include <cstdint>
#include <tuple>
#include <vector>

namespace talm::services::diag {

/// Two single bytes, then a byte vector of any length.
struct Two_bytes_and_vector_record {
    std::uint8_t field_1;
    std::uint8_t field_2;
    std::vector<std::uint8_t> field_3;
    auto fields() { return std::tie(field_1, field_2, field_3); }
    auto fields() const { return std::tie(field_1, field_2, field_3); }
};

/// Two single bytes.
struct Two_bytes_record {
    std::uint8_t field_1;
    std::uint8_t field_2;
    auto fields() { return std::tie(field_1, field_2); }
    auto fields() const { return std::tie(field_1, field_2); }
};

/// Two one-byte arrays, then a 16-byte array.
struct Two_bytes_and_hash_record {
    std::array<std::uint8_t, 1> field_1;
    std::array<std::uint8_t, 1> field_2;
    std::array<std::uint8_t, 16> field_3;
    auto fields() { return std::tie(field_1, field_2, field_3); }
    auto fields() const { return std::tie(field_1, field_2, field_3); }
};

}  // namespace talm::services::diag

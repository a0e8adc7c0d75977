#include "extension/serialize.h"

#include <type_traits>

namespace ruv::dm::foundation::extension {

Serialize::Serialize(std::vector<std::uint8_t>& target) noexcept : target_(target) {}

// Most significant byte first; a signed value is written as its two's complement pattern.
template <class T>
void Serialize::append_big_endian(T value) {
    const auto pattern = static_cast<std::make_unsigned_t<T>>(value);
    for (std::size_t shift = 8 * sizeof(T); shift > 0; shift -= 8) {
        target_.push_back(static_cast<std::uint8_t>(static_cast<std::uint64_t>(pattern) >> (shift - 8)));
    }
}

void Serialize::write_value(const std::uint8_t& value) { append_big_endian(value); }
void Serialize::write_value(const std::uint16_t& value) { append_big_endian(value); }
void Serialize::write_value(const std::uint32_t& value) { append_big_endian(value); }
void Serialize::write_value(const std::uint64_t& value) { append_big_endian(value); }
void Serialize::write_value(const std::int8_t& value) { append_big_endian(value); }
void Serialize::write_value(const std::int16_t& value) { append_big_endian(value); }
void Serialize::write_value(const std::int32_t& value) { append_big_endian(value); }
void Serialize::write_value(const std::int64_t& value) { append_big_endian(value); }

}  // namespace ruv::dm::foundation::extension

#include "extension/deserialize.h"

#include <type_traits>
#include <utility>

namespace ruv::dm::foundation::extension {

Deserialize::Deserialize(std::vector<std::uint8_t> data, const Meta_info& meta_info)
    : data_(std::move(data)), meta_info_(meta_info), read_position_(0) {}

// Every byte goes through the bounds-tested access, so a short request fails at its first
// missing byte; the value and the position change only once all bytes were there.
template <class T>
void Deserialize::read_big_endian(T& value) {
    using Unsigned = std::make_unsigned_t<T>;
    Unsigned assembled = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i) {
        assembled = static_cast<Unsigned>((static_cast<std::uint64_t>(assembled) << 8U) |
                                          data_.at(read_position_ + i));
    }
    value = static_cast<T>(assembled);
    read_position_ += static_cast<std::uint32_t>(sizeof(T));
}

void Deserialize::deserialize(std::uint8_t& value) { read_big_endian(value); }
void Deserialize::deserialize(std::uint16_t& value) { read_big_endian(value); }
void Deserialize::deserialize(std::uint32_t& value) { read_big_endian(value); }
void Deserialize::deserialize(std::uint64_t& value) { read_big_endian(value); }
void Deserialize::deserialize(std::int8_t& value) { read_big_endian(value); }
void Deserialize::deserialize(std::int16_t& value) { read_big_endian(value); }
void Deserialize::deserialize(std::int32_t& value) { read_big_endian(value); }
void Deserialize::deserialize(std::int64_t& value) { read_big_endian(value); }

}  // namespace ruv::dm::foundation::extension

#pragma once
// Byte order of SOME/IP payloads and the byte-wise copy of a trivially copyable value to or from
// a byte sink or source. Pure functions: any thread; only what the sink or source throws leaves.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>

namespace ruv::com::byte_order {

/// Byte orders in the traditional notation: the digits name the significance of the bytes in
/// memory order.
enum class Byte_order : std::uint32_t {
    little_endian = 1234,
    big_endian = 4321,
};

// The processor's own order is not detected at run time: the plug-in runs on a little-endian
// processor only, and its calling code passes host_byte_order as a constant.
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "this system runs on little-endian processors only");
constexpr Byte_order host_byte_order = Byte_order::little_endian;

static_assert(std::is_same_v<std::uint8_t, unsigned char>, "bytes are handed out as unsigned char");

/// Hands the bytes of `value` one at a time to `sink`, a callable taking one std::uint8_t:
/// in memory order if `target` equals `host`, otherwise last byte first.
template <class T, class Sink, std::enable_if_t<std::is_trivially_copyable_v<T>, int> = 0>
void write_to_container(const T& value, const Sink& sink, Byte_order target, Byte_order host) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(std::addressof(value));
    if (target == host) {
        for (std::size_t index = 0; index < sizeof(T); ++index) {
            sink(bytes[index]);
        }
    } else {
        for (std::size_t index = sizeof(T); index > 0; --index) {
            sink(bytes[index - 1]);
        }
    }
}

/// Has `source`, a callable taking a std::uint8_t&, fill the bytes of `value` in place: in memory
/// order if `target` equals `host`, otherwise from the last byte to the first. Bytes filled before
/// `source` throws stay filled.
template <class T, class Source, std::enable_if_t<std::is_trivially_copyable_v<T>, int> = 0>
void read_from_container(T& value, const Source& source, Byte_order target, Byte_order host) {
    auto* bytes = reinterpret_cast<std::uint8_t*>(std::addressof(value));
    if (target == host) {
        for (std::size_t index = 0; index < sizeof(T); ++index) {
            source(bytes[index]);
        }
    } else {
        for (std::size_t index = sizeof(T); index > 0; --index) {
            source(bytes[index - 1]);
        }
    }
}

}  // namespace ruv::com::byte_order

#pragma once
// A read-only view of outside bytes (a datagram, a TCP chunk, an SD message) and the big-endian
// field access every SOME/IP decoder and encoder of the binding uses. Pure functions; callers
// check the size before they read.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ruv::com::someip_binding {

using Bytes = std::vector<std::uint8_t>;

struct Byte_view {
    const std::uint8_t* data = nullptr;
    std::size_t size = 0;

    Byte_view sub(std::size_t offset, std::size_t count) const noexcept { return {data + offset, count}; }
};

inline Byte_view view_of(const Bytes& bytes) noexcept { return {bytes.data(), bytes.size()}; }

inline std::uint16_t read_u16(const std::uint8_t* at) noexcept {
    return static_cast<std::uint16_t>((at[0] << 8) | at[1]);
}

inline std::uint32_t read_u24(const std::uint8_t* at) noexcept {
    return (std::uint32_t{at[0]} << 16) | (std::uint32_t{at[1]} << 8) | std::uint32_t{at[2]};
}

inline std::uint32_t read_u32(const std::uint8_t* at) noexcept {
    return (std::uint32_t{at[0]} << 24) | (std::uint32_t{at[1]} << 16) | (std::uint32_t{at[2]} << 8) |
           std::uint32_t{at[3]};
}

inline void append_u8(Bytes& out, std::uint8_t value) { out.push_back(value); }

inline void append_u16(Bytes& out, std::uint16_t value) {
    out.push_back(static_cast<std::uint8_t>(value >> 8));
    out.push_back(static_cast<std::uint8_t>(value));
}

inline void append_u24(Bytes& out, std::uint32_t value) {
    out.push_back(static_cast<std::uint8_t>(value >> 16));
    out.push_back(static_cast<std::uint8_t>(value >> 8));
    out.push_back(static_cast<std::uint8_t>(value));
}

inline void append_u32(Bytes& out, std::uint32_t value) {
    append_u16(out, static_cast<std::uint16_t>(value >> 16));
    append_u16(out, static_cast<std::uint16_t>(value));
}

inline void write_u32(std::uint8_t* at, std::uint32_t value) noexcept {
    at[0] = static_cast<std::uint8_t>(value >> 24);
    at[1] = static_cast<std::uint8_t>(value >> 16);
    at[2] = static_cast<std::uint8_t>(value >> 8);
    at[3] = static_cast<std::uint8_t>(value);
}

}  // namespace ruv::com::someip_binding

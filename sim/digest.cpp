#include "sim/digest.h"

#include <cstddef>

namespace zevo::sim {
namespace {

constexpr std::uint64_t fnv_prime = 0x100000001B3ULL;
constexpr std::uint64_t fnv_offset = 0xCBF29CE484222325ULL;

// The finaliser of splitmix64: spreads every input bit over the whole word.
std::uint64_t mix(std::uint64_t value) {
    value ^= value >> 30;
    value *= 0xBF58476D1CE4E5B9ULL;
    value ^= value >> 27;
    value *= 0x94D049BB133111EBULL;
    value ^= value >> 31;
    return value;
}

void put_big_endian(std::uint64_t value, Hash16& out, std::size_t at) {
    for (std::size_t i = 0; i < 8; ++i) {
        out[at + i] = static_cast<std::uint8_t>(value >> (56 - 8 * i));
    }
}

}  // namespace

Hash16 digest16(std::uint8_t domain, const std::vector<std::uint8_t>& data) {
    std::uint64_t first = fnv_offset;
    std::uint64_t second = fnv_offset ^ 0x9E3779B97F4A7C15ULL;
    const auto feed = [&](std::uint8_t byte) {
        first = (first ^ byte) * fnv_prime;
        second = (second ^ static_cast<std::uint8_t>(byte ^ 0x5A)) * fnv_prime;
    };
    feed(domain);
    for (std::uint8_t byte : data) {
        feed(byte);
    }
    Hash16 hash{};
    put_big_endian(mix(first), hash, 0);
    put_big_endian(mix(second ^ first), hash, 8);
    return hash;
}

}  // namespace zevo::sim

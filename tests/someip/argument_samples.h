#pragma once
// Sample arguments of the methods' requests and their bytes on the wire, written out by hand per
// kind of value: meta_info maps, single bytes, byte vectors, fixed byte arrays of 1 and 16.
// Test data only, read on the test's thread.

#include <array>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "someip/method_payload.h"

namespace zevo::test::methods {

using Bytes = std::vector<std::uint8_t>;
using Meta_info = std::map<std::string, std::string>;

inline Bytes concatenated(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

/// A meta_info and its block.
struct Meta_info_sample {
    Meta_info value;
    Bytes bytes;
};

inline Meta_info_sample empty_meta_info() { return {{}, {0x00, 0x00, 0x00, 0x00}}; }

/// One entry "a" -> "b": 14 bytes.
inline Meta_info_sample single_entry_meta_info() {
    return {{{"a", "b"}}, {0x00, 0x00, 0x00, 0x0A, 0x00, 0x00, 0x00, 0x01, 0x61, 0x00, 0x00, 0x00, 0x01, 0x62}};
}

/// Two entries inserted "b" -> "xy" and "a" -> "", which go "a" first: 4 + 9 + 11 bytes.
inline Meta_info_sample two_entry_meta_info() {
    Meta_info value;
    value.emplace("b", "xy");
    value.emplace("a", "");
    return {value,
            {0x00, 0x00, 0x00, 0x14,                                  // 9 + 11 bytes of entries
             0x00, 0x00, 0x00, 0x01, 0x61, 0x00, 0x00, 0x00, 0x00,    // "a" -> ""
             0x00, 0x00, 0x00, 0x01, 0x62, 0x00, 0x00, 0x00, 0x02, 0x78, 0x79}};  // "b" -> "xy"
}

/// A sample value of each kind of Start argument and its bytes.
template <class T>
struct Argument_sample;

template <>
struct Argument_sample<std::uint8_t> {
    static std::uint8_t value() { return 0x07; }
    static Bytes bytes() { return {0x07}; }
};

template <>
struct Argument_sample<std::vector<std::uint8_t>> {
    static std::vector<std::uint8_t> value() { return {0xAA, 0xBB}; }
    static Bytes bytes() { return {0x00, 0x00, 0x00, 0x02, 0xAA, 0xBB}; }
};

template <>
struct Argument_sample<std::array<std::uint8_t, 1>> {
    static std::array<std::uint8_t, 1> value() { return {0x5A}; }
    static Bytes bytes() { return {0x00, 0x00, 0x00, 0x01, 0x5A}; }
};

template <>
struct Argument_sample<std::array<std::uint8_t, 16>> {
    static std::array<std::uint8_t, 16> value() {
        return {0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x18, 0x19, 0x1A, 0x1B, 0x1C, 0x1D, 0x1E, 0x1F};
    }
    static Bytes bytes() {
        return {0x00, 0x00, 0x00, 0x10, 0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17,
                0x18, 0x19, 0x1A, 0x1B, 0x1C, 0x1D, 0x1E, 0x1F};
    }
};

/// The arguments of one call of `Method` with `meta_info` first and the samples behind it, and
/// the request payload they make.
template <class Method>
struct Request_sample {
    using Arguments = ruv::com::someip::serialization::Method_arguments_t<Method>;

    static Arguments arguments(const Meta_info& meta_info) { return make(meta_info, Arguments{}); }
    static Bytes bytes(const Bytes& meta_info_block) { return bytes_of(meta_info_block, Arguments{}); }

private:
    template <class... Rest>
    static Arguments make(const Meta_info& meta_info, const std::tuple<Meta_info, Rest...>&) {
        return Arguments{meta_info, Argument_sample<Rest>::value()...};
    }
    template <class... Rest>
    static Bytes bytes_of(const Bytes& meta_info_block, const std::tuple<Meta_info, Rest...>&) {
        return concatenated({meta_info_block, Argument_sample<Rest>::bytes()...});
    }
};

}  // namespace zevo::test::methods

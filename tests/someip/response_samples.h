#pragma once
// One response per Output of the ten interfaces, written out by hand: the shortest payload that
// holds the whole Output, the Output it gives, and a second Output with every vector filled for
// round trips. Test data only, read on the test's thread.

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "tests/someip/service_methods.h"

namespace zevo::test::methods {

template <class Interface>
struct Response_sample;

template <class Interface>
using Output_of = typename Results_method<Interface>::type::Output;

/// The 17 bytes 0x01 to 0x11, as 0x2C55's second member carries them.
inline std::array<std::uint8_t, 17> seventeen_bytes() {
    return {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x09, 0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F, 0x10, 0x11};
}

/// The 16 bytes 0x20 to 0x2F of a hash.
inline std::array<std::uint8_t, 16> sixteen_bytes() {
    return {0x20, 0x21, 0x22, 0x23, 0x24, 0x25, 0x26, 0x27, 0x28, 0x29, 0x2A, 0x2B, 0x2C, 0x2D, 0x2E, 0x2F};
}

// 0x2C55: array block of 1, array block of 17.
template <>
struct Response_sample<diag::d_2c55::DataIdentifier_ZevoZevovin> {
    using Output = Output_of<diag::d_2c55::DataIdentifier_ZevoZevovin>;
    static constexpr std::size_t minimal_size = 26;
    static std::vector<std::uint8_t> minimal_bytes() {
        return {0x00, 0x00, 0x00, 0x01, 0xA1, 0x00, 0x00, 0x00, 0x11, 0x01, 0x02, 0x03, 0x04,
                0x05, 0x06, 0x07, 0x08, 0x09, 0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F, 0x10, 0x11};
    }
    static Output minimal_output() { return Output{{0xA1}, seventeen_bytes()}; }
    static Output rich_output() { return Output{{0xFE}, seventeen_bytes()}; }
};

// 0x2C56: a byte, a 16-bit integer high byte first.
template <>
struct Response_sample<diag::d_2c56::DataIdentifier_ZevoTrainingCounter> {
    using Output = Output_of<diag::d_2c56::DataIdentifier_ZevoTrainingCounter>;
    static constexpr std::size_t minimal_size = 3;
    static std::vector<std::uint8_t> minimal_bytes() { return {0x07, 0x12, 0x34}; }
    static Output minimal_output() { return Output{0x07, 0x1234}; }
    static Output rich_output() { return Output{0xFF, 0xFFFE}; }
};

// 0x2C57, 0x2C60, 0x0648: two bytes and a vector block, here empty.
template <>
struct Response_sample<diag::d_2c57::DataIdentifier_ZevoMissingKeyHistory> {
    using Output = Output_of<diag::d_2c57::DataIdentifier_ZevoMissingKeyHistory>;
    static constexpr std::size_t minimal_size = 6;
    static std::vector<std::uint8_t> minimal_bytes() { return {0x01, 0x02, 0x00, 0x00, 0x00, 0x00}; }
    static Output minimal_output() { return Output{0x01, 0x02, {}}; }
    static Output rich_output() { return Output{0x03, 0x04, {0xC1, 0xC2, 0xC3, 0xC4}}; }
};

template <>
struct Response_sample<diag::d_2c60::DataIdentifier_ZevoKeyList> {
    using Output = Output_of<diag::d_2c60::DataIdentifier_ZevoKeyList>;
    static constexpr std::size_t minimal_size = 6;
    static std::vector<std::uint8_t> minimal_bytes() { return {0x01, 0x02, 0x00, 0x00, 0x00, 0x00}; }
    static Output minimal_output() { return Output{0x01, 0x02, {}}; }
    static Output rich_output() { return Output{0x05, 0x06, std::vector<std::uint8_t>(300, 0x5A)}; }
};

template <>
struct Response_sample<diag::r_0648::RoutineService_ZevoDebug> {
    using Output = Output_of<diag::r_0648::RoutineService_ZevoDebug>;
    static constexpr std::size_t minimal_size = 6;
    static std::vector<std::uint8_t> minimal_bytes() { return {0x01, 0x02, 0x00, 0x00, 0x00, 0x00}; }
    static Output minimal_output() { return Output{0x01, 0x02, {}}; }
    static Output rich_output() { return Output{0x07, 0x08, {0x00, 0xFF}}; }
};

// 0xC00A, 0xC00B: two bytes.
template <>
struct Response_sample<diag::r_c00a::RoutineService_ZevoHandleDownloadcontainer> {
    using Output = Output_of<diag::r_c00a::RoutineService_ZevoHandleDownloadcontainer>;
    static constexpr std::size_t minimal_size = 2;
    static std::vector<std::uint8_t> minimal_bytes() { return {0x01, 0x02}; }
    static Output minimal_output() { return Output{0x01, 0x02}; }
    static Output rich_output() { return Output{0xFF, 0x00}; }
};

template <>
struct Response_sample<diag::r_c00b::RoutineService_ZevoCheckVerificationHash> {
    using Output = Output_of<diag::r_c00b::RoutineService_ZevoCheckVerificationHash>;
    static constexpr std::size_t minimal_size = 2;
    static std::vector<std::uint8_t> minimal_bytes() { return {0x01, 0x02}; }
    static Output minimal_output() { return Output{0x01, 0x02}; }
    static Output rich_output() { return Output{0x00, 0xFF}; }
};

// 0xC00C, 0xC00D: array blocks of 1, 1 and 16.
template <class Output>
Output hash_output(std::uint8_t first, std::uint8_t second) {
    Output output{};
    output.field_1 = {first};
    output.field_2 = {second};
    output.field_3 = sixteen_bytes();
    return output;
}

template <>
struct Response_sample<diag::r_c00c::RoutineService_ZevoGetIdentityHash> {
    using Output = Output_of<diag::r_c00c::RoutineService_ZevoGetIdentityHash>;
    static constexpr std::size_t minimal_size = 30;
    static std::vector<std::uint8_t> minimal_bytes() {
        return {0x00, 0x00, 0x00, 0x01, 0xA1, 0x00, 0x00, 0x00, 0x01, 0xB2, 0x00, 0x00, 0x00, 0x10, 0x20,
                0x21, 0x22, 0x23, 0x24, 0x25, 0x26, 0x27, 0x28, 0x29, 0x2A, 0x2B, 0x2C, 0x2D, 0x2E, 0x2F};
    }
    static Output minimal_output() { return hash_output<Output>(0xA1, 0xB2); }
    static Output rich_output() { return hash_output<Output>(0x01, 0x02); }
};

template <>
struct Response_sample<diag::r_c00d::RoutineService_ZevoGetPssHash> {
    using Output = Output_of<diag::r_c00d::RoutineService_ZevoGetPssHash>;
    static constexpr std::size_t minimal_size = 30;
    static std::vector<std::uint8_t> minimal_bytes() {
        return Response_sample<diag::r_c00c::RoutineService_ZevoGetIdentityHash>::minimal_bytes();
    }
    static Output minimal_output() { return hash_output<Output>(0xA1, 0xB2); }
    static Output rich_output() { return hash_output<Output>(0x03, 0x04); }
};

// 0xC00F: seven bytes, a 16-bit integer, two bytes.
template <>
struct Response_sample<diag::r_c00f::RoutineService_ZevoGetState> {
    using Output = Output_of<diag::r_c00f::RoutineService_ZevoGetState>;
    static constexpr std::size_t minimal_size = 11;
    static std::vector<std::uint8_t> minimal_bytes() {
        return {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0xAB, 0xCD, 0x09, 0x0A};
    }
    static Output minimal_output() { return Output{0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0xABCD, 0x09, 0x0A}; }
    static Output rich_output() { return Output{0xF1, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7, 0x0102, 0xF9, 0xFA}; }
};

}  // namespace zevo::test::methods

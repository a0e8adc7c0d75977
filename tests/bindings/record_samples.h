#pragma once
// One Output record per service interface and the UDS bytes it must give: Read::Output of the
// four data identifiers, RequestResults::Output of the six routines. Shared by the record and
// job tests; `label` names the identifier in test names.

#include <cstdint>
#include <string>
#include <vector>

#include "bindings/d_2c55/DataIdentifier_ZevoZevovin.h"
#include "bindings/d_2c56/DataIdentifier_ZevoTrainingCounter.h"
#include "bindings/d_2c57/DataIdentifier_ZevoMissingKeyHistory.h"
#include "bindings/d_2c60/DataIdentifier_ZevoKeyList.h"
#include "bindings/r_0648/RoutineService_ZevoDebug.h"
#include "bindings/r_c00a/RoutineService_ZevoHandleDownloadcontainer.h"
#include "bindings/r_c00b/RoutineService_ZevoCheckVerificationHash.h"
#include "bindings/r_c00c/RoutineService_ZevoGetIdentityHash.h"
#include "bindings/r_c00d/RoutineService_ZevoGetPssHash.h"
#include "bindings/r_c00f/RoutineService_ZevoGetState.h"

namespace zevo::test {

using Bytes = std::vector<std::uint8_t>;

template <class Interface>
struct Record_sample;

// 0x2C55: the one element of member 1, then the 17 of member 2: always 18 bytes.
template <>
struct Record_sample<talm::services::diag::d_2c55::DataIdentifier_ZevoZevovin> {
    static constexpr const char* label = "0x2C55";
    using Output = talm::services::diag::d_2c55::DataIdentifier_ZevoZevovin::Read::Output;
    static Output output() {
        Output output{};
        output.field_1 = {0xA1};
        output.field_2 = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x09,
                          0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F, 0x10, 0x11};
        return output;
    }
    static Bytes bytes() {
        return {0xA1, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x09,
                0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F, 0x10, 0x11};
    }
};

// 0x2C56: a byte, then the 16-bit counter high byte first.
template <>
struct Record_sample<talm::services::diag::d_2c56::DataIdentifier_ZevoTrainingCounter> {
    static constexpr const char* label = "0x2C56";
    using Output = talm::services::diag::d_2c56::DataIdentifier_ZevoTrainingCounter::Read::Output;
    static Output output() { return Output{0x07, 0x1234}; }
    static Bytes bytes() { return {0x07, 0x12, 0x34}; }
};

// 0x2C57 and 0x2C60: two bytes, then the vector's elements with no length in front.
template <>
struct Record_sample<talm::services::diag::d_2c57::DataIdentifier_ZevoMissingKeyHistory> {
    static constexpr const char* label = "0x2C57";
    using Output = talm::services::diag::d_2c57::DataIdentifier_ZevoMissingKeyHistory::Read::Output;
    static Output output() { return Output{0x01, 0x02, {0xC1, 0xC2, 0xC3, 0xC4}}; }
    static Bytes bytes() { return {0x01, 0x02, 0xC1, 0xC2, 0xC3, 0xC4}; }
};

template <>
struct Record_sample<talm::services::diag::d_2c60::DataIdentifier_ZevoKeyList> {
    static constexpr const char* label = "0x2C60";
    using Output = talm::services::diag::d_2c60::DataIdentifier_ZevoKeyList::Read::Output;
    static Output output() { return Output{0x01, 0x02, {0x0A, 0x0B, 0x0C}}; }
    static Bytes bytes() { return {0x01, 0x02, 0x0A, 0x0B, 0x0C}; }
};

// 0x0648: two bytes, then the vector's elements.
template <>
struct Record_sample<talm::services::diag::r_0648::RoutineService_ZevoDebug> {
    static constexpr const char* label = "0x0648";
    using Output = talm::services::diag::r_0648::RoutineService_ZevoDebug::RequestResults::Output;
    static Output output() { return Output{0x01, 0x02, {0xAA, 0xBB}}; }
    static Bytes bytes() { return {0x01, 0x02, 0xAA, 0xBB}; }
};

// 0xC00A and 0xC00B: two bytes.
template <>
struct Record_sample<talm::services::diag::r_c00a::RoutineService_ZevoHandleDownloadcontainer> {
    static constexpr const char* label = "0xC00A";
    using Output = talm::services::diag::r_c00a::RoutineService_ZevoHandleDownloadcontainer::RequestResults::Output;
    static Output output() { return Output{0x03, 0x04}; }
    static Bytes bytes() { return {0x03, 0x04}; }
};

template <>
struct Record_sample<talm::services::diag::r_c00b::RoutineService_ZevoCheckVerificationHash> {
    static constexpr const char* label = "0xC00B";
    using Output = talm::services::diag::r_c00b::RoutineService_ZevoCheckVerificationHash::RequestResults::Output;
    static Output output() { return Output{0x05, 0x06}; }
    static Bytes bytes() { return {0x05, 0x06}; }
};

// 0xC00C and 0xC00D: the elements of two 1-byte arrays, then the 16 of the third: 18 bytes.
template <class Output>
Output hash_output() {
    Output output{};
    output.field_1 = {0x11};
    output.field_2 = {0x22};
    output.field_3 = {0x30, 0x31, 0x32, 0x33, 0x34, 0x35, 0x36, 0x37,
                      0x38, 0x39, 0x3A, 0x3B, 0x3C, 0x3D, 0x3E, 0x3F};
    return output;
}

inline Bytes hash_bytes() {
    return {0x11, 0x22, 0x30, 0x31, 0x32, 0x33, 0x34, 0x35, 0x36,
            0x37, 0x38, 0x39, 0x3A, 0x3B, 0x3C, 0x3D, 0x3E, 0x3F};
}

template <>
struct Record_sample<talm::services::diag::r_c00c::RoutineService_ZevoGetIdentityHash> {
    static constexpr const char* label = "0xC00C";
    using Output = talm::services::diag::r_c00c::RoutineService_ZevoGetIdentityHash::RequestResults::Output;
    static Output output() { return hash_output<Output>(); }
    static Bytes bytes() { return hash_bytes(); }
};

template <>
struct Record_sample<talm::services::diag::r_c00d::RoutineService_ZevoGetPssHash> {
    static constexpr const char* label = "0xC00D";
    using Output = talm::services::diag::r_c00d::RoutineService_ZevoGetPssHash::RequestResults::Output;
    static Output output() { return hash_output<Output>(); }
    static Bytes bytes() { return hash_bytes(); }
};

// 0xC00F: seven bytes, the 16-bit member high byte first, two bytes: 11 bytes.
template <>
struct Record_sample<talm::services::diag::r_c00f::RoutineService_ZevoGetState> {
    static constexpr const char* label = "0xC00F";
    using Output = talm::services::diag::r_c00f::RoutineService_ZevoGetState::RequestResults::Output;
    static Output output() { return Output{0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0xABCD, 0x09, 0x0A}; }
    static Bytes bytes() { return {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0xAB, 0xCD, 0x09, 0x0A}; }
};

/// Names typed tests after the identifier of their interface.
struct Identifier_label {
    template <class Interface>
    static std::string GetName(int) {
        return Record_sample<Interface>::label;
    }
};

}  // namespace zevo::test

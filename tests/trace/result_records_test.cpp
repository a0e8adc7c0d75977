// The result record of every Output record of the ten interfaces, byte for byte: field numbering
// inside "1_generated_type", 255 and 65535, a 17-byte array with its trailing zeros, and the
// r_c00f record whose "10_uint8" sorts ahead of "1_uint8".
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>

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
#include "record_lines.h"
#include "spy_log_backend.h"
#include "trace/method_events.h"
#include "trace_samples.h"

namespace {

using namespace ruv::com::log;
using zevo::test::result_line;
using zevo::test::Spy_log_backend;
namespace diag = talm::services::diag;

template <class Output>
std::string traced_result(char const* service, Output const& output) {
    Spy_log_backend spy;
    trace_response_rx(spy, zevo::test::method_trace_info(service, 1), output);
    EXPECT_EQ(zevo::test::only_level(spy), 5);
    return zevo::test::only_line(spy);
}

std::array<std::uint8_t, 16> hash() {
    std::array<std::uint8_t, 16> bytes{};
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(i * 17);
    return bytes;
}

TEST(Result_records, r_0648_request_results_is_uint8_uint8_vector) {
    using Interface = diag::r_0648::RoutineService_ZevoDebug;
    Interface::RequestResults::Output const output{{1, 2, {3, 4}}};
    EXPECT_EQ(traced_result(Interface::name, output),
              result_line(Interface::name, R"({"1_generated_type":{"1_uint8":1,"2_uint8":2,"3_vector":[3,4]}})"));
}

TEST(Result_records, d_2c57_read_is_uint8_uint8_vector_and_an_empty_vector_stays_an_array) {
    using Interface = diag::d_2c57::DataIdentifier_ZevoMissingKeyHistory;
    Interface::Read::Output const output{{0, 255, {}}};
    EXPECT_EQ(traced_result(Interface::name, output),
              result_line(Interface::name, R"({"1_generated_type":{"1_uint8":0,"2_uint8":255,"3_vector":[]}})"));
}

TEST(Result_records, d_2c60_read_is_uint8_uint8_vector) {
    using Interface = diag::d_2c60::DataIdentifier_ZevoKeyList;
    Interface::Read::Output const output{{3, 1, {0x11, 0x22, 0x33}}};
    EXPECT_EQ(traced_result(Interface::name, output),
              result_line(Interface::name, R"({"1_generated_type":{"1_uint8":3,"2_uint8":1,"3_vector":[17,34,51]}})"));
}

TEST(Result_records, r_c00a_request_results_is_two_uint8) {
    using Interface = diag::r_c00a::RoutineService_ZevoHandleDownloadcontainer;
    Interface::RequestResults::Output const output{{5, 6}};
    EXPECT_EQ(traced_result(Interface::name, output),
              result_line(Interface::name, R"({"1_generated_type":{"1_uint8":5,"2_uint8":6}})"));
}

TEST(Result_records, r_c00b_request_results_is_two_uint8_and_255_renders_as_255) {
    using Interface = diag::r_c00b::RoutineService_ZevoCheckVerificationHash;
    Interface::RequestResults::Output const output{{255, 0}};
    EXPECT_EQ(traced_result(Interface::name, output),
              result_line(Interface::name, R"({"1_generated_type":{"1_uint8":255,"2_uint8":0}})"));
}

TEST(Result_records, r_c00c_request_results_is_array_of_1_array_of_1_array_of_16) {
    using Interface = diag::r_c00c::RoutineService_ZevoGetIdentityHash;
    Interface::RequestResults::Output const output{{{{1}}, {{2}}, hash()}};
    EXPECT_EQ(traced_result(Interface::name, output),
              result_line(Interface::name,
                          R"({"1_generated_type":{"1_array":[1],"2_array":[2],)"
                          R"("3_array":[0,17,34,51,68,85,102,119,136,153,170,187,204,221,238,255]}})"));
}

TEST(Result_records, r_c00d_request_results_is_array_of_1_array_of_1_array_of_16_with_trailing_zeros) {
    using Interface = diag::r_c00d::RoutineService_ZevoGetPssHash;
    Interface::RequestResults::Output const output{{{{0}}, {{255}}, {{1}}}};
    EXPECT_EQ(traced_result(Interface::name, output),
              result_line(Interface::name, R"({"1_generated_type":{"1_array":[0],"2_array":[255],)"
                                           R"("3_array":[1,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0]}})"));
}

TEST(Result_records, d_2c55_read_holds_exactly_17_numbers_with_trailing_zeros) {
    using Interface = diag::d_2c55::DataIdentifier_ZevoZevovin;
    Interface::Read::Output const output{{{7}}, {{'V', 'I', 'N'}}};
    auto const line = traced_result(Interface::name, output);
    EXPECT_EQ(line, result_line(Interface::name, R"({"1_generated_type":{"1_array":[7],)"
                                                 R"("2_array":[86,73,78,0,0,0,0,0,0,0,0,0,0,0,0,0,0]}})"));
    EXPECT_EQ(nlohmann::json::parse(line)["2_data"]["1_generated_type"]["2_array"].size(), 17u);
}

TEST(Result_records, d_2c56_read_is_uint8_uint16_and_65535_renders_as_65535) {
    using Interface = diag::d_2c56::DataIdentifier_ZevoTrainingCounter;
    Interface::Read::Output const output{255, 65535};
    EXPECT_EQ(traced_result(Interface::name, output),
              result_line(Interface::name, R"({"1_generated_type":{"1_uint8":255,"2_uint16":65535}})"));
}

TEST(Result_records, r_c00f_request_results_renders_10_uint8_ahead_of_1_uint8) {
    using Interface = diag::r_c00f::RoutineService_ZevoGetState;
    Interface::RequestResults::Output const output{1, 2, 3, 4, 5, 6, 7, 65535, 9, 10};
    EXPECT_EQ(traced_result(Interface::name, output),
              result_line(Interface::name, R"({"1_generated_type":{"10_uint8":10,"1_uint8":1,"2_uint8":2,)"
                                           R"("3_uint8":3,"4_uint8":4,"5_uint8":5,"6_uint8":6,"7_uint8":7,)"
                                           R"("8_uint16":65535,"9_uint8":9}})"));
}

}  // namespace

// The request record of every method, with the argument types taken from each method's own
// Signature: the six Start signatures, and "1_map" alone for Cancel, Read and RequestResults.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <type_traits>
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
#include "record_lines.h"
#include "spy_log_backend.h"
#include "trace/method_events.h"
#include "trace_samples.h"

namespace {

using namespace ruv::com::log;
using zevo::test::only_line;
using zevo::test::request_line;
using zevo::test::Spy_log_backend;
namespace diag = talm::services::diag;
using Meta_info = std::map<std::string, std::string>;
using Bytes = std::vector<std::uint8_t>;

/// The arguments of a method, as values.
template <class Signature>
struct Arguments;
template <class Result, class... Parameters>
struct Arguments<Result(Parameters...)> {
    using type = std::tuple<std::decay_t<Parameters>...>;
};

template <class T>
T sample();
template <>
Meta_info sample<Meta_info>() { return {{"sid", "31"}, {"rid", "0648"}}; }
template <>
std::uint8_t sample<std::uint8_t>() { return 255; }
template <>
Bytes sample<Bytes>() { return {0, 1, 127, 128, 255}; }
template <>
std::array<std::uint8_t, 1> sample<std::array<std::uint8_t, 1>>() { return {{42}}; }
template <>
std::array<std::uint8_t, 16> sample<std::array<std::uint8_t, 16>>() {
    std::array<std::uint8_t, 16> hash{};
    for (std::size_t i = 0; i < hash.size(); ++i) hash[i] = static_cast<std::uint8_t>(i * 17);
    return hash;
}

template <class... Values>
std::tuple<Values...> samples(std::tuple<Values...> const*) {
    return {sample<Values>()...};
}

/// The line that "Method_call_request_tx" writes for a call of `Method` of `Interface` with
/// the sample arguments.
template <class Interface, class Method>
std::string traced_request(typename Arguments<typename Method::Signature>::type const& arguments) {
    Spy_log_backend spy;
    std::apply(
        [&spy](auto const&... values) {
            trace_request_tx(spy, zevo::test::method_trace_info(Interface::name, Method::method_id), values...);
        },
        arguments);
    return only_line(spy);
}

template <class Interface, class Method>
std::string traced_request() {
    using Argument_tuple = typename Arguments<typename Method::Signature>::type;
    return traced_request<Interface, Method>(samples(static_cast<Argument_tuple const*>(nullptr)));
}

constexpr char const map_text[] = R"({"rid":"0648","sid":"31"})";
std::string const byte_and_vector = std::string{R"({"1_map":)"} + map_text + R"(,"2_uint8":255,"3_vector":[0,1,127,128,255]})";
std::string const two_arrays = std::string{R"({"1_map":)"} + map_text +
                               R"(,"2_array":[42],"3_array":[0,17,34,51,68,85,102,119,136,153,170,187,204,221,238,255]})";
std::string const one_byte = std::string{R"({"1_map":)"} + map_text + R"(,"2_uint8":255})";
std::string const map_only = std::string{R"({"1_map":)"} + map_text + "}";

TEST(Request_records, start_of_r_0648_is_map_uint8_vector) {
    using Interface = diag::r_0648::RoutineService_ZevoDebug;
    EXPECT_EQ((traced_request<Interface, Interface::Start>()), request_line(Interface::name, 2, byte_and_vector));
}

TEST(Request_records, start_of_r_c00a_is_map_uint8_vector) {
    using Interface = diag::r_c00a::RoutineService_ZevoHandleDownloadcontainer;
    EXPECT_EQ((traced_request<Interface, Interface::Start>()), request_line(Interface::name, 2, byte_and_vector));
}

TEST(Request_records, start_of_r_c00b_is_map_array_of_1_array_of_16) {
    using Interface = diag::r_c00b::RoutineService_ZevoCheckVerificationHash;
    EXPECT_EQ((traced_request<Interface, Interface::Start>()), request_line(Interface::name, 2, two_arrays));
}

TEST(Request_records, start_of_r_c00c_is_map_array_of_1_array_of_16) {
    using Interface = diag::r_c00c::RoutineService_ZevoGetIdentityHash;
    EXPECT_EQ((traced_request<Interface, Interface::Start>()), request_line(Interface::name, 2, two_arrays));
}

TEST(Request_records, start_of_r_c00d_is_map_uint8) {
    using Interface = diag::r_c00d::RoutineService_ZevoGetPssHash;
    EXPECT_EQ((traced_request<Interface, Interface::Start>()), request_line(Interface::name, 2, one_byte));
}

TEST(Request_records, start_of_r_c00f_is_map_uint8) {
    using Interface = diag::r_c00f::RoutineService_ZevoGetState;
    EXPECT_EQ((traced_request<Interface, Interface::Start>()), request_line(Interface::name, 2, one_byte));
}

TEST(Request_records, a_start_with_empty_map_and_empty_vector_renders_an_empty_object_and_array) {
    using Interface = diag::r_0648::RoutineService_ZevoDebug;
    EXPECT_EQ((traced_request<Interface, Interface::Start>({Meta_info{}, std::uint8_t{0}, Bytes{}})),
              request_line(Interface::name, 2, R"({"1_map":{},"2_uint8":0,"3_vector":[]})"));
}

TEST(Request_records, a_4_kib_vector_is_traced_whole) {
    using Interface = diag::r_0648::RoutineService_ZevoDebug;
    Bytes const large(4096, 0xAB);
    auto const record = nlohmann::json::parse(
        traced_request<Interface, Interface::Start>({Meta_info{}, std::uint8_t{0}, large}));
    EXPECT_EQ(record["2_data"]["3_vector"].size(), 4096u);
    EXPECT_EQ(record["2_data"]["3_vector"].back(), 171);
}

template <class Interface>
class Map_only_requests : public ::testing::Test {};

using Interfaces = ::testing::Types<
    diag::r_0648::RoutineService_ZevoDebug, diag::r_c00a::RoutineService_ZevoHandleDownloadcontainer,
    diag::r_c00b::RoutineService_ZevoCheckVerificationHash, diag::r_c00c::RoutineService_ZevoGetIdentityHash,
    diag::r_c00d::RoutineService_ZevoGetPssHash, diag::r_c00f::RoutineService_ZevoGetState,
    diag::d_2c55::DataIdentifier_ZevoZevovin, diag::d_2c56::DataIdentifier_ZevoTrainingCounter,
    diag::d_2c57::DataIdentifier_ZevoMissingKeyHistory, diag::d_2c60::DataIdentifier_ZevoKeyList>;
TYPED_TEST_SUITE(Map_only_requests, Interfaces, zevo::test::Interface_label);

template <class Interface, class = void>
struct Has_read : std::false_type {};
template <class Interface>
struct Has_read<Interface, std::void_t<typename Interface::Read>> : std::true_type {};

TYPED_TEST(Map_only_requests, cancel_traces_1_map_with_method_0) {
    EXPECT_EQ((traced_request<TypeParam, typename TypeParam::Cancel>()), request_line(TypeParam::name, 0, map_only));
}

TYPED_TEST(Map_only_requests, read_or_request_results_traces_1_map_with_method_1) {
    if constexpr (Has_read<TypeParam>::value) {
        EXPECT_EQ((traced_request<TypeParam, typename TypeParam::Read>()), request_line(TypeParam::name, 1, map_only));
    } else {
        EXPECT_EQ((traced_request<TypeParam, typename TypeParam::RequestResults>()),
                  request_line(TypeParam::name, 1, map_only));
    }
}

}  // namespace

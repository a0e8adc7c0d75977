// Request payloads of the 26 methods, byte for byte: meta_info first, then the arguments of the
// method's signature one behind the other, under the properties in force (big-endian, 4-byte
// length fields, arrays with their length field).

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "someip/method_payload.h"
#include "tests/someip/argument_samples.h"
#include "tests/someip/service_methods.h"

namespace {

using namespace zevo::test::methods;
using ruv::com::someip::serialization::request_payload;
using ruv::com::someip::serialization::serialize_arguments;

/// The payload of `Method` for a tuple of its arguments.
template <class Method, class Arguments>
Bytes payload_of(const Arguments& arguments) {
    return std::apply([](const auto&... argument) { return request_payload<Method>(argument...); }, arguments);
}

struct Method_label {
    template <class Case>
    static std::string GetName(int) {
        return Case::name();
    }
};

template <class Case>
class request_payload_of : public testing::Test {};
using request_payload_of_types = Rebind_t<testing::Types, All_methods>;
TYPED_TEST_SUITE(request_payload_of, request_payload_of_types, Method_label);

TYPED_TEST(request_payload_of, empty_meta_info_gives_four_zero_bytes_then_the_arguments) {
    using Sample = Request_sample<typename TypeParam::Method>;
    const Meta_info_sample meta_info = empty_meta_info();
    EXPECT_EQ(payload_of<typename TypeParam::Method>(Sample::arguments(meta_info.value)), Sample::bytes(meta_info.bytes));
}

TYPED_TEST(request_payload_of, one_entry_meta_info_gives_its_14_bytes_then_the_arguments) {
    using Sample = Request_sample<typename TypeParam::Method>;
    const Meta_info_sample meta_info = single_entry_meta_info();
    EXPECT_EQ(payload_of<typename TypeParam::Method>(Sample::arguments(meta_info.value)), Sample::bytes(meta_info.bytes));
}

TYPED_TEST(request_payload_of, entries_go_in_ascending_order_of_their_keys) {
    using Sample = Request_sample<typename TypeParam::Method>;
    const Meta_info_sample meta_info = two_entry_meta_info();
    EXPECT_EQ(payload_of<typename TypeParam::Method>(Sample::arguments(meta_info.value)), Sample::bytes(meta_info.bytes));
}

TYPED_TEST(request_payload_of, meta_info_block_comes_first_and_cancel_and_results_send_nothing_else) {
    using Sample = Request_sample<typename TypeParam::Method>;
    const Meta_info_sample meta_info = two_entry_meta_info();
    const Bytes payload = payload_of<typename TypeParam::Method>(Sample::arguments(meta_info.value));
    ASSERT_GE(payload.size(), meta_info.bytes.size());
    EXPECT_EQ(Bytes(payload.begin(), payload.begin() + static_cast<std::ptrdiff_t>(meta_info.bytes.size())),
              meta_info.bytes);
    EXPECT_EQ(payload.size() == meta_info.bytes.size(), TypeParam::is_cancel || TypeParam::is_results);
}

TYPED_TEST(request_payload_of, serialize_arguments_appends_behind_what_the_buffer_holds) {
    using Sample = Request_sample<typename TypeParam::Method>;
    const Meta_info_sample meta_info = single_entry_meta_info();
    Bytes buffer{0xDE, 0xAD};
    std::apply([&buffer](const auto&... argument) { serialize_arguments(buffer, argument...); },
               Sample::arguments(meta_info.value));
    EXPECT_EQ(buffer, concatenated({{0xDE, 0xAD}, Sample::bytes(meta_info.bytes)}));
}

// --- single methods ---

TEST(request_payload_0x2C56, read_with_empty_meta_info_sends_exactly_four_zero_bytes) {
    EXPECT_EQ(request_payload<diag::d_2c56::DataIdentifier_ZevoTrainingCounter::Read>(Meta_info{}),
              (Bytes{0x00, 0x00, 0x00, 0x00}));
}

TEST(request_payload_0x0648, start_sends_the_21_bytes_of_map_byte_and_vector) {
    const Bytes payload = request_payload<diag::r_0648::RoutineService_ZevoDebug::Start>(
        Meta_info{{"a", "b"}}, std::uint8_t{0x07}, std::vector<std::uint8_t>{0xAA, 0xBB});
    const Bytes expected{0x00, 0x00, 0x00, 0x0A, 0x00, 0x00, 0x00, 0x01, 0x61, 0x00, 0x00,
                         0x00, 0x01, 0x62, 0x07, 0x00, 0x00, 0x00, 0x02, 0xAA, 0xBB};
    EXPECT_EQ(payload, expected);
    EXPECT_EQ(payload.size(), 21U);
}

TEST(request_payload_0x0648, start_with_an_empty_vector_sends_its_length_field_alone) {
    EXPECT_EQ(request_payload<diag::r_0648::RoutineService_ZevoDebug::Start>(Meta_info{}, std::uint8_t{0x01},
                                                                             std::vector<std::uint8_t>{}),
              (Bytes{0x00, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00}));
}

TEST(request_payload_0xC00C, start_sends_29_bytes_with_both_arrays_behind_their_length_fields) {
    const std::array<std::uint8_t, 1> first{0x42};
    const std::array<std::uint8_t, 16> second{0xF0, 0xF1, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7,
                                              0xF8, 0xF9, 0xFA, 0xFB, 0xFC, 0xFD, 0xFE, 0xFF};
    const Bytes payload =
        request_payload<diag::r_c00c::RoutineService_ZevoGetIdentityHash::Start>(Meta_info{}, first, second);
    const Bytes expected{0x00, 0x00, 0x00, 0x00,                                        // meta_info
                         0x00, 0x00, 0x00, 0x01, 0x42,                                  // argument 2
                         0x00, 0x00, 0x00, 0x10, 0xF0, 0xF1, 0xF2, 0xF3, 0xF4, 0xF5,    // argument 3
                         0xF6, 0xF7, 0xF8, 0xF9, 0xFA, 0xFB, 0xFC, 0xFD, 0xFE, 0xFF};
    EXPECT_EQ(payload, expected);
    EXPECT_EQ(payload.size(), 29U);
}

TEST(request_payload_0xC00F, start_sends_five_bytes_of_empty_map_and_the_byte) {
    EXPECT_EQ(request_payload<diag::r_c00f::RoutineService_ZevoGetState::Start>(Meta_info{}, std::uint8_t{0x01}),
              (Bytes{0x00, 0x00, 0x00, 0x00, 0x01}));
}

TEST(request_payload_0xC00D, start_byte_has_no_length_field) {
    EXPECT_EQ(request_payload<diag::r_c00d::RoutineService_ZevoGetPssHash::Start>(Meta_info{}, std::uint8_t{0xFF}),
              (Bytes{0x00, 0x00, 0x00, 0x00, 0xFF}));
}

TEST(request_payload_meta_info, text_is_copied_as_it_stands_with_zero_and_0xFF_bytes) {
    const Meta_info meta_info{{std::string("k\0", 2), "\xFF"}};
    EXPECT_EQ(request_payload<diag::d_2c60::DataIdentifier_ZevoKeyList::Cancel>(meta_info),
              (Bytes{0x00, 0x00, 0x00, 0x0B, 0x00, 0x00, 0x00, 0x02, 0x6B, 0x00, 0x00, 0x00, 0x00, 0x01, 0xFF}));
}

TEST(request_payload_meta_info, the_hosts_three_entries_make_one_block) {
    const Meta_info meta_info{{"service_id", "0x22"}, {"identifier", "0x2C56"}, {"tester_address", "0x0E80"}};
    // (8 + 10 + 6) + (8 + 10 + 4) + (8 + 14 + 6) = 74 bytes of entries.
    const Bytes payload = request_payload<diag::d_2c56::DataIdentifier_ZevoTrainingCounter::Read>(meta_info);
    ASSERT_EQ(payload.size(), 78U);
    EXPECT_EQ((Bytes(payload.begin(), payload.begin() + 4)), (Bytes{0x00, 0x00, 0x00, 0x4A}));
    // "identifier" sorts first.
    EXPECT_EQ((Bytes(payload.begin() + 4, payload.begin() + 18)),
              (Bytes{0x00, 0x00, 0x00, 0x0A, 'i', 'd', 'e', 'n', 't', 'i', 'f', 'i', 'e', 'r'}));
}

}  // namespace

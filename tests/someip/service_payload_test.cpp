// The service's side of the payloads: strings and string maps read back from a request, the
// arguments of each of the 26 methods read from what the plug-in writes, and the response
// writer's integers, arrays and vectors byte for byte.

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "someip/method_payload.h"
#include "someip/payload_reader.h"
#include "someip/read_buffer.h"
#include "someip/serialization_properties.h"
#include "someip/service_payload.h"
#include "tests/someip/argument_samples.h"
#include "tests/someip/service_methods.h"
#include "tests/someip/thrown.h"

namespace {

using namespace zevo::test::methods;
using ruv::com::Read_buffer;
using ruv::com::someip::serialization::deserialize_arguments;
using ruv::com::someip::serialization::read_string;
using ruv::com::someip::serialization::read_string_map;
using ruv::com::someip::serialization::request_payload;
using ruv::com::someip::serialization::response_payload;
using ruv::com::someip::serialization::Serialization_properties;
using ruv::com::someip::serialization::serialization_properties_in_force;
using zevo::test::thrown_text;

constexpr const char* read_beyond_end = "Read beyond the end of the data buffer";
constexpr const char* invalid_end_position = "Deserialization calculated invalid end position.";
constexpr const char* record_too_small =
    "Violation of [PRS_SOMEIP_00900]: Record length given by sender is too small. This is possibly due to a "
    "mismatch between the data models of sender and receiver.";
constexpr const char* invalid_length_field_size = "Invalid value for length field size.";

const Serialization_properties& properties = serialization_properties_in_force;

// --- read_string ---

TEST(read_string, takes_its_length_field_and_that_many_bytes) {
    const Bytes payload{0x00, 0x00, 0x00, 0x02, 0x61, 0x62, 0xEE};
    Read_buffer<Bytes> buffer(payload);
    std::string value;
    read_string(buffer, value, properties);
    EXPECT_EQ(value, "ab");
    EXPECT_EQ(buffer.offset(), 6U);
}

TEST(read_string, empty_string_is_its_length_field_alone) {
    const Bytes payload{0x00, 0x00, 0x00, 0x00};
    Read_buffer<Bytes> buffer(payload);
    std::string value = "stale";
    read_string(buffer, value, properties);
    EXPECT_EQ(value, "");
    EXPECT_EQ(buffer.offset(), 4U);
}

TEST(read_string, zero_and_0xFF_bytes_are_taken_as_they_stand) {
    const Bytes payload{0x00, 0x00, 0x00, 0x02, 0x00, 0xFF};
    Read_buffer<Bytes> buffer(payload);
    std::string value;
    read_string(buffer, value, properties);
    EXPECT_EQ(value, std::string("\0\xFF", 2));
}

TEST(read_string, bytes_missing_behind_the_length_field_give_invalid_end_position) {
    const Bytes payload{0x00, 0x00, 0x00, 0x03, 0x61, 0x62};
    Read_buffer<Bytes> buffer(payload);
    std::string value;
    EXPECT_EQ(thrown_text<std::out_of_range>([&] { read_string(buffer, value, properties); }), invalid_end_position);
}

TEST(read_string, payload_ending_inside_the_length_field_reads_beyond_the_end) {
    const Bytes payload{0x00, 0x00, 0x00};
    Read_buffer<Bytes> buffer(payload);
    std::string value;
    EXPECT_EQ(thrown_text<std::out_of_range>([&] { read_string(buffer, value, properties); }), read_beyond_end);
}

TEST(read_string, string_length_field_size_0_is_refused) {
    Serialization_properties without_length_field = serialization_properties_in_force;
    without_length_field.string_length_field_size = 0;
    const Bytes payload{0x00, 0x00, 0x00, 0x00};
    Read_buffer<Bytes> buffer(payload);
    std::string value;
    EXPECT_EQ(thrown_text<std::invalid_argument>([&] { read_string(buffer, value, without_length_field); }),
              invalid_length_field_size);
}

// --- read_string_map ---

Meta_info map_from(const Bytes& payload, std::size_t expected_offset) {
    Read_buffer<Bytes> buffer(payload);
    Meta_info value;
    read_string_map(buffer, value, properties);
    EXPECT_EQ(buffer.offset(), expected_offset);
    return value;
}

std::string map_error(const Bytes& payload) {
    Read_buffer<Bytes> buffer(payload);
    Meta_info value;
    return thrown_text<std::out_of_range>([&] { read_string_map(buffer, value, properties); });
}

TEST(read_string_map, four_zero_bytes_are_an_empty_map) {
    EXPECT_EQ(map_from({0x00, 0x00, 0x00, 0x00, 0xEE}, 4), Meta_info{});
}

TEST(read_string_map, reads_the_samples_the_writer_makes) {
    for (const Meta_info_sample& sample : {empty_meta_info(), single_entry_meta_info(), two_entry_meta_info()}) {
        EXPECT_EQ(map_from(sample.bytes, sample.bytes.size()), sample.value);
    }
}

TEST(read_string_map, entries_out_of_order_are_taken_and_a_repeated_key_keeps_its_later_value) {
    const Bytes payload{0x00, 0x00, 0x00, 0x1E,                                      // 3 entries of 10 bytes
                        0x00, 0x00, 0x00, 0x01, 0x62, 0x00, 0x00, 0x00, 0x01, 0x31,  // "b" -> "1"
                        0x00, 0x00, 0x00, 0x01, 0x61, 0x00, 0x00, 0x00, 0x01, 0x32,  // "a" -> "2"
                        0x00, 0x00, 0x00, 0x01, 0x62, 0x00, 0x00, 0x00, 0x01, 0x33}; // "b" -> "3"
    EXPECT_EQ(map_from(payload, payload.size()), (Meta_info{{"a", "2"}, {"b", "3"}}));
}

TEST(read_string_map, record_longer_than_the_payload_gives_invalid_end_position) {
    EXPECT_EQ(map_error({0x00, 0x00, 0x00, 0x0A, 0x00, 0x00, 0x00, 0x01, 0x61}), invalid_end_position);
}

TEST(read_string_map, length_0xFFFFFFFF_is_not_negative_but_past_the_end) {
    EXPECT_EQ(map_error({0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x00, 0x00}), invalid_end_position);
}

TEST(read_string_map, entry_running_past_the_record_into_further_bytes_is_a_record_too_small) {
    // The record claims 5 bytes; its one entry takes 10, the rest of them behind the record.
    const Bytes payload{0x00, 0x00, 0x00, 0x05, 0x00, 0x00, 0x00, 0x01, 0x61,
                        0x00, 0x00, 0x00, 0x01, 0x62, 0xEE};
    EXPECT_EQ(map_error(payload), record_too_small);
}

TEST(read_string_map, value_missing_at_the_end_of_the_payload_reads_beyond_the_end) {
    EXPECT_EQ(map_error({0x00, 0x00, 0x00, 0x05, 0x00, 0x00, 0x00, 0x01, 0x61}), read_beyond_end);
}

TEST(read_string_map, payload_ending_inside_the_length_field_reads_beyond_the_end) {
    EXPECT_EQ(map_error({0x00, 0x00}), read_beyond_end);
}

// --- the arguments of every method ---

struct Method_label {
    template <class Case>
    static std::string GetName(int) {
        return Case::name();
    }
};

template <class Case>
class arguments_of : public testing::Test {};
using arguments_of_types = Rebind_t<testing::Types, All_methods>;
TYPED_TEST_SUITE(arguments_of, arguments_of_types, Method_label);

template <class Method, class Arguments>
Bytes payload_of(const Arguments& arguments) {
    return std::apply([](const auto&... argument) { return request_payload<Method>(argument...); }, arguments);
}

TYPED_TEST(arguments_of, service_reads_back_what_the_plug_in_writes) {
    using Method = typename TypeParam::Method;
    using Sample = Request_sample<Method>;
    for (const Meta_info_sample& meta_info : {empty_meta_info(), two_entry_meta_info()}) {
        const auto arguments = Sample::arguments(meta_info.value);
        EXPECT_EQ(deserialize_arguments<Method>(payload_of<Method>(arguments)), arguments);
    }
}

TYPED_TEST(arguments_of, service_ignores_bytes_behind_the_last_argument) {
    using Method = typename TypeParam::Method;
    using Sample = Request_sample<Method>;
    const auto arguments = Sample::arguments(single_entry_meta_info().value);
    EXPECT_EQ(deserialize_arguments<Method>(concatenated({payload_of<Method>(arguments), {0xEE, 0xEE}})), arguments);
}

TYPED_TEST(arguments_of, service_refuses_a_request_cut_short) {
    using Method = typename TypeParam::Method;
    Bytes payload = payload_of<Method>(Request_sample<Method>::arguments(single_entry_meta_info().value));
    payload.pop_back();
    EXPECT_THROW(static_cast<void>(deserialize_arguments<Method>(payload)), std::out_of_range);
}

// --- the response writer ---

TEST(response_payload_writer, uint16_goes_high_byte_first) {
    EXPECT_EQ(response_payload(diag::d_2c56::DataIdentifier_ZevoTrainingCounter::Read::Output{0x01, 0x0203}),
              (Bytes{0x01, 0x02, 0x03}));
}

TEST(response_payload_writer, vector_goes_behind_its_count) {
    EXPECT_EQ(response_payload(diag::d_2c60::DataIdentifier_ZevoKeyList::Read::Output{0x01, 0x02, {0xAA, 0xBB, 0xCC}}),
              (Bytes{0x01, 0x02, 0x00, 0x00, 0x00, 0x03, 0xAA, 0xBB, 0xCC}));
}

TEST(response_payload_writer, arrays_go_behind_a_length_field_holding_their_size) {
    diag::r_c00d::RoutineService_ZevoGetPssHash::RequestResults::Output output{};
    output.field_1 = {0x01};
    output.field_2 = {0x02};
    EXPECT_EQ(response_payload(output), concatenated({{0x00, 0x00, 0x00, 0x01, 0x01, 0x00, 0x00, 0x00, 0x01, 0x02},
                                                      {0x00, 0x00, 0x00, 0x10},
                                                      Bytes(16, 0x00)}));
}

}  // namespace

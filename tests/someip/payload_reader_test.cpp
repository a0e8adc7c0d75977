// The payload reader: basic integers through deserialize_dispatch, byte vectors and fixed byte
// arrays behind a length field, with every check in order and the treatment of surplus bytes.

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <stdexcept>
#include <vector>

#include "someip/deserialize_dispatch.h"
#include "someip/error_texts.h"
#include "someip/payload_reader.h"
#include "someip/read_buffer.h"
#include "someip/serialization_properties.h"
#include "tests/someip/thrown.h"

namespace {

using ruv::com::Read_buffer;
using ruv::com::byte_order::Byte_order;
using ruv::com::someip::serialization::deserialize_dispatch;
using ruv::com::someip::serialization::read_byte_array;
using ruv::com::someip::serialization::read_byte_vector;
using ruv::com::someip::serialization::Serialization_properties;
using ruv::com::someip::serialization::serialization_properties_in_force;
using zevo::test::thrown_text;
using Bytes = std::vector<std::uint8_t>;

constexpr const char* read_beyond_end = "Read beyond the end of the data buffer";
constexpr const char* invalid_end_position = "Deserialization calculated invalid end position.";
constexpr const char* smaller_than_expected =
    "Violation of [PRS_SOMEIP_00900]: Record length provided by sender is smaller than expected. This is possibly "
    "due to a mismatch between the data models of sender and receiver.";

const Serialization_properties& properties = serialization_properties_in_force;

template <class T>
void read_basic(Read_buffer<Bytes>& buffer, T& value) {
    deserialize_dispatch(buffer, value, properties, 0);
}

// basic integers

TEST(deserialize_dispatch, uint8_is_one_byte_without_length_field) {
    const Bytes payload{0x5A, 0x01};
    Read_buffer<Bytes> buffer(payload);
    std::uint8_t value = 0;
    read_basic(buffer, value);
    EXPECT_EQ(value, 0x5A);
    EXPECT_EQ(buffer.offset(), 1U);
}

TEST(deserialize_dispatch, uint16_takes_the_high_byte_first) {
    const Bytes payload{0x12, 0x34};
    Read_buffer<Bytes> buffer(payload);
    std::uint16_t value = 0;
    read_basic(buffer, value);
    EXPECT_EQ(value, 0x1234);
    EXPECT_EQ(buffer.offset(), 2U);
}

TEST(deserialize_dispatch, uint16_under_1234_takes_the_low_byte_first) {
    const Bytes payload{0x12, 0x34};
    Read_buffer<Bytes> buffer(payload);
    Serialization_properties little = serialization_properties_in_force;
    little.byte_order = Byte_order::little_endian;
    std::uint16_t value = 0;
    deserialize_dispatch(buffer, value, little, 0);
    EXPECT_EQ(value, 0x3412);
}

TEST(deserialize_dispatch, last_argument_takes_no_part) {
    const Bytes payload{0x12, 0x34};
    Read_buffer<Bytes> buffer(payload);
    std::uint16_t value = 0;
    deserialize_dispatch(buffer, value, properties, 0xFFFFFFFFUL);
    EXPECT_EQ(value, 0x1234);
}

TEST(deserialize_dispatch, empty_payload_reads_beyond_the_end) {
    const Bytes payload;
    Read_buffer<Bytes> buffer(payload);
    std::uint8_t value = 0;
    EXPECT_EQ(thrown_text<std::out_of_range>([&] { read_basic(buffer, value); }), read_beyond_end);
}

TEST(deserialize_dispatch, uint16_cut_after_one_byte_reads_beyond_the_end_with_the_high_byte_read) {
    const Bytes payload{0x12};
    Read_buffer<Bytes> buffer(payload);
    std::uint16_t value = 0;
    EXPECT_EQ(thrown_text<std::out_of_range>([&] { read_basic(buffer, value); }), read_beyond_end);
    EXPECT_EQ(value, 0x1200);
    EXPECT_EQ(buffer.offset(), 1U);
}

// byte vectors

TEST(read_byte_vector, reads_its_count_of_bytes) {
    const Bytes payload{0x00, 0x00, 0x00, 0x03, 0x0A, 0x0B, 0x0C};
    Read_buffer<Bytes> buffer(payload);
    Bytes value;
    read_byte_vector(buffer, value, properties);
    EXPECT_EQ(value, (Bytes{0x0A, 0x0B, 0x0C}));
    EXPECT_EQ(buffer.offset(), 7U);
}

TEST(read_byte_vector, length_0_yields_an_empty_vector_and_goes_on_with_the_next_value) {
    const Bytes payload{0x00, 0x00, 0x00, 0x00, 0x77};
    Read_buffer<Bytes> buffer(payload);
    Bytes value;
    read_byte_vector(buffer, value, properties);
    EXPECT_TRUE(value.empty());
    std::uint8_t next = 0;
    read_basic(buffer, next);
    EXPECT_EQ(next, 0x77);
}

TEST(read_byte_vector, length_10_with_nine_bytes_left_is_an_invalid_end_position) {
    Bytes payload{0x00, 0x00, 0x00, 0x0A};
    payload.insert(payload.end(), 9, 0x11);
    Read_buffer<Bytes> buffer(payload);
    Bytes value;
    EXPECT_EQ(thrown_text<std::out_of_range>([&] { read_byte_vector(buffer, value, properties); }),
              invalid_end_position);
    EXPECT_TRUE(value.empty()) << "no element is read before the end is known to be inside the payload";
    EXPECT_EQ(buffer.offset(), 4U);
}

TEST(read_byte_vector, length_0xffffffff_on_a_short_payload_is_an_invalid_end_position_not_negative) {
    const Bytes payload{0xFF, 0xFF, 0xFF, 0xFF, 0x01, 0x02};
    Read_buffer<Bytes> buffer(payload);
    Bytes value;
    EXPECT_EQ(thrown_text<std::out_of_range>([&] { read_byte_vector(buffer, value, properties); }),
              invalid_end_position);
}

TEST(read_byte_vector, cut_inside_the_length_field_reads_beyond_the_end) {
    const Bytes payload{0x00, 0x00};
    Read_buffer<Bytes> buffer(payload);
    Bytes value;
    EXPECT_EQ(thrown_text<std::out_of_range>([&] { read_byte_vector(buffer, value, properties); }), read_beyond_end);
}

TEST(read_byte_vector, appends_to_what_the_vector_holds) {
    const Bytes payload{0x00, 0x00, 0x00, 0x01, 0x0B};
    Read_buffer<Bytes> buffer(payload);
    Bytes value{0x0A};
    read_byte_vector(buffer, value, properties);
    EXPECT_EQ(value, (Bytes{0x0A, 0x0B}));
}

TEST(read_byte_vector, length_field_under_1234_is_least_significant_first) {
    const Bytes payload{0x02, 0x00, 0x00, 0x00, 0x0A, 0x0B};
    Read_buffer<Bytes> buffer(payload);
    Serialization_properties little = serialization_properties_in_force;
    little.byte_order = Byte_order::little_endian;
    Bytes value;
    read_byte_vector(buffer, value, little);
    EXPECT_EQ(value, (Bytes{0x0A, 0x0B}));
}

// fixed byte arrays

TEST(read_byte_array, length_equal_to_n_reads_the_elements_in_order) {
    const Bytes payload{0x00, 0x00, 0x00, 0x02, 0x0A, 0x0B, 0x0C};
    Read_buffer<Bytes> buffer(payload);
    std::array<std::uint8_t, 2> value{};
    read_byte_array(buffer, value, properties);
    EXPECT_EQ(value, (std::array<std::uint8_t, 2>{0x0A, 0x0B}));
    EXPECT_EQ(buffer.offset(), 6U);
}

TEST(read_byte_array, array_of_16_with_length_15_is_smaller_than_expected_even_with_20_bytes_left) {
    Bytes payload{0x00, 0x00, 0x00, 0x0F};
    payload.insert(payload.end(), 20, 0x11);
    Read_buffer<Bytes> buffer(payload);
    std::array<std::uint8_t, 16> value{};
    EXPECT_EQ(thrown_text<std::out_of_range>([&] { read_byte_array(buffer, value, properties); }),
              smaller_than_expected);
    EXPECT_EQ(value, (std::array<std::uint8_t, 16>{})) << "refused before the elements are read";
    EXPECT_EQ(buffer.offset(), 4U);
}

TEST(read_byte_array, array_of_1_with_length_0_is_smaller_than_expected) {
    const Bytes payload{0x00, 0x00, 0x00, 0x00, 0x42};
    Read_buffer<Bytes> buffer(payload);
    std::array<std::uint8_t, 1> value{};
    EXPECT_EQ(thrown_text<std::out_of_range>([&] { read_byte_array(buffer, value, properties); }),
              smaller_than_expected);
}

TEST(read_byte_array, array_of_1_with_length_3_takes_the_first_byte_and_skips_two) {
    const Bytes payload{0x00, 0x00, 0x00, 0x03, 0x42, 0xEE, 0xEE, 0x07};
    Read_buffer<Bytes> buffer(payload);
    std::array<std::uint8_t, 1> value{};
    read_byte_array(buffer, value, properties);
    EXPECT_EQ(value[0], 0x42);
    EXPECT_EQ(buffer.offset(), 7U);
    std::uint8_t next = 0;
    read_basic(buffer, next);
    EXPECT_EQ(next, 0x07) << "the next value begins behind the skipped bytes";
}

TEST(read_byte_array, array_of_1_with_length_3_and_two_bytes_present_reads_the_first_then_fails) {
    const Bytes payload{0x00, 0x00, 0x00, 0x03, 0x42, 0xEE};
    Read_buffer<Bytes> buffer(payload);
    std::array<std::uint8_t, 1> value{};
    EXPECT_EQ(thrown_text<std::out_of_range>([&] { read_byte_array(buffer, value, properties); }), read_beyond_end);
    EXPECT_EQ(value[0], 0x42) << "the element is read before the surplus is checked";
    EXPECT_EQ(buffer.offset(), 5U) << "a refused skip moves nothing";
}

TEST(read_byte_array, payload_ending_before_the_n_elements_reads_beyond_the_end) {
    const Bytes payload{0x00, 0x00, 0x00, 0x10, 0x01, 0x02};
    Read_buffer<Bytes> buffer(payload);
    std::array<std::uint8_t, 16> value{};
    EXPECT_EQ(thrown_text<std::out_of_range>([&] { read_byte_array(buffer, value, properties); }), read_beyond_end);
    EXPECT_EQ(value[0], 0x01);
    EXPECT_EQ(value[1], 0x02);
    EXPECT_EQ(buffer.offset(), 6U);
}

TEST(read_byte_array, cut_inside_the_length_field_reads_beyond_the_end) {
    const Bytes payload{0x00, 0x00, 0x00};
    Read_buffer<Bytes> buffer(payload);
    std::array<std::uint8_t, 1> value{};
    EXPECT_EQ(thrown_text<std::out_of_range>([&] { read_byte_array(buffer, value, properties); }), read_beyond_end);
}

// whole payloads

// A record's end is start plus a length of at most 32 bits, which no payload in memory can carry
// past the end of std::size_t; the reader's overflow refusal cannot be reached through bytes, so
// its text is held to the letter here.
TEST(payload_reader, the_size_overflow_refusal_has_its_fixed_text) {
    EXPECT_STREQ(ruv::com::someip::serialization::error_texts::size_overflow,
                 "Deserialization detected std::size_t overflow.");
}

TEST(payload_reader, surplus_bytes_behind_the_last_value_change_nothing) {
    const Bytes exact{0x00, 0x00, 0x00, 0x01, 0x42, 0x00, 0x00, 0x00, 0x02, 0x0A, 0x0B};
    const Bytes longer = [&exact] {
        Bytes bytes = exact;
        bytes.insert(bytes.end(), {0xDE, 0xAD, 0xBE, 0xEF});
        return bytes;
    }();
    for (const Bytes* payload : {&exact, &longer}) {
        Read_buffer<Bytes> buffer(*payload);
        std::array<std::uint8_t, 1> first{};
        Bytes second;
        read_byte_array(buffer, first, properties);
        read_byte_vector(buffer, second, properties);
        EXPECT_EQ(first[0], 0x42);
        EXPECT_EQ(second, (Bytes{0x0A, 0x0B}));
        EXPECT_EQ(buffer.offset(), exact.size());
    }
}

TEST(payload_reader, zero_byte_payload_reads_beyond_the_end_for_every_kind_of_first_value) {
    const Bytes payload;
    {
        Read_buffer<Bytes> buffer(payload);
        std::uint8_t value = 0;
        EXPECT_EQ(thrown_text<std::out_of_range>([&] { read_basic(buffer, value); }), read_beyond_end);
    }
    {
        Read_buffer<Bytes> buffer(payload);
        Bytes value;
        EXPECT_EQ(thrown_text<std::out_of_range>([&] { read_byte_vector(buffer, value, properties); }),
                  read_beyond_end);
    }
    {
        Read_buffer<Bytes> buffer(payload);
        std::array<std::uint8_t, 17> value{};
        EXPECT_EQ(thrown_text<std::out_of_range>([&] { read_byte_array(buffer, value, properties); }),
                  read_beyond_end);
    }
}

}  // namespace

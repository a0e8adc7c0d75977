// Read_buffer and read_length_field: the cursor's checks in order, a refused read that moves
// nothing, and length fields read one byte at a time.

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <stdexcept>
#include <vector>

#include "someip/read_buffer.h"
#include "someip/read_length_field.h"
#include "someip/serialization_properties.h"
#include "tests/someip/thrown.h"

namespace {

using ruv::com::Read_buffer;
using ruv::com::byte_order::Byte_order;
using ruv::com::someip::serialization::read_length_field;
using ruv::com::someip::serialization::Serialization_properties;
using ruv::com::someip::serialization::serialization_properties_in_force;
using zevo::test::thrown_text;
using Bytes = std::vector<std::uint8_t>;

constexpr const char* read_beyond_end = "Read beyond the end of the data buffer";

TEST(read_buffer, starts_at_the_beginning) {
    const Bytes payload{0x01, 0x02};
    Read_buffer<Bytes> buffer(payload);
    EXPECT_EQ(buffer.offset(), 0U);
    EXPECT_EQ(buffer.size(), 2U);
}

TEST(read_buffer, read_bytes_copies_and_advances) {
    const Bytes payload{0x01, 0x02, 0x03};
    Read_buffer<Bytes> buffer(payload);
    std::uint8_t destination[2] = {};
    buffer.read_bytes(2, destination);
    EXPECT_EQ(destination[0], 0x01);
    EXPECT_EQ(destination[1], 0x02);
    EXPECT_EQ(buffer.offset(), 2U);
    buffer.read_bytes(1, destination);
    EXPECT_EQ(destination[0], 0x03);
    EXPECT_EQ(buffer.offset(), 3U);
}

TEST(read_buffer, read_bytes_of_zero_at_the_end_succeeds_and_moves_nothing) {
    const Bytes payload;
    Read_buffer<Bytes> buffer(payload);
    std::uint8_t destination = 0x5A;
    buffer.read_bytes(0, &destination);
    EXPECT_EQ(destination, 0x5A);
    EXPECT_EQ(buffer.offset(), 0U);
}

TEST(read_buffer, null_destination_throws_invalid_argument_before_the_bounds_test) {
    const Bytes payload;
    Read_buffer<Bytes> buffer(payload);
    EXPECT_EQ(thrown_text<std::invalid_argument>([&] { buffer.read_bytes(5, nullptr); }), "destination cannot be NULL");
    EXPECT_EQ(thrown_text<std::invalid_argument>([&] { buffer.read_bytes(0, nullptr); }), "destination cannot be NULL");
}

TEST(read_buffer, read_past_the_end_throws_out_of_range_and_moves_nothing) {
    const Bytes payload{0x01, 0x02};
    Read_buffer<Bytes> buffer(payload);
    std::uint8_t destination[3] = {0xEE, 0xEE, 0xEE};
    buffer.read_bytes(1, destination);
    EXPECT_EQ(thrown_text<std::out_of_range>([&] { buffer.read_bytes(2, destination); }), read_beyond_end);
    EXPECT_EQ(buffer.offset(), 1U);
    EXPECT_EQ(destination[1], 0xEE);
}

TEST(read_buffer, huge_count_does_not_wrap_around_the_bounds_test) {
    const Bytes payload{0x01, 0x02};
    Read_buffer<Bytes> buffer(payload);
    std::uint8_t destination = 0;
    buffer.read_bytes(1, &destination);
    EXPECT_EQ(thrown_text<std::out_of_range>(
                  [&] { buffer.read_bytes(std::numeric_limits<std::size_t>::max(), &destination); }),
              read_beyond_end);
}

TEST(read_buffer, check_available_moves_nothing) {
    const Bytes payload{0x01, 0x02};
    Read_buffer<Bytes> buffer(payload);
    buffer.check_available(2);
    EXPECT_EQ(buffer.offset(), 0U);
    EXPECT_EQ(thrown_text<std::out_of_range>([&] { buffer.check_available(3); }), read_beyond_end);
    buffer.advance(2);
    buffer.check_available(0);
    EXPECT_EQ(thrown_text<std::out_of_range>([&] { buffer.check_available(1); }), read_beyond_end);
}

TEST(read_buffer, reads_the_payload_size_afresh) {
    Bytes payload{0x01};
    payload.reserve(16);  // no reallocation below: the cursor stays valid
    Read_buffer<Bytes> buffer(payload);
    std::uint8_t destination = 0;
    buffer.read_bytes(1, &destination);
    payload.push_back(0x02);
    EXPECT_EQ(buffer.size(), 2U);
    buffer.read_bytes(1, &destination);
    EXPECT_EQ(destination, 0x02);
}

// read_length_field

TEST(read_length_field, size_4_is_most_significant_first_under_4321) {
    const Bytes payload{0x00, 0x00, 0x01, 0x02, 0x99};
    Read_buffer<Bytes> buffer(payload);
    EXPECT_EQ(read_length_field(4, buffer, serialization_properties_in_force), 258U);
    EXPECT_EQ(buffer.offset(), 4U);
}

TEST(read_length_field, size_4_is_least_significant_first_under_1234) {
    const Bytes payload{0x02, 0x01, 0x00, 0x00};
    Read_buffer<Bytes> buffer(payload);
    Serialization_properties little = serialization_properties_in_force;
    little.byte_order = Byte_order::little_endian;
    EXPECT_EQ(read_length_field(4, buffer, little), 258U);
}

TEST(read_length_field, size_4_with_high_bit_set_is_zero_extended) {
    const Bytes payload{0xFF, 0xFF, 0xFF, 0xFF};
    Read_buffer<Bytes> buffer(payload);
    EXPECT_EQ(read_length_field(4, buffer, serialization_properties_in_force), 0xFFFFFFFFU);
}

TEST(read_length_field, size_2_and_size_1_read_their_widths) {
    const Bytes payload{0x01, 0x02, 0xFF, 0x80, 0x01};
    Read_buffer<Bytes> buffer(payload);
    EXPECT_EQ(read_length_field(2, buffer, serialization_properties_in_force), 0x0102U);
    EXPECT_EQ(read_length_field(1, buffer, serialization_properties_in_force), 0xFFU);
    Serialization_properties little = serialization_properties_in_force;
    little.byte_order = Byte_order::little_endian;
    EXPECT_EQ(read_length_field(2, buffer, little), 0x0180U);
    EXPECT_EQ(buffer.offset(), 5U);
}

TEST(read_length_field, size_0_throws_invalid_argument_and_moves_nothing) {
    const Bytes payload{0x00, 0x00, 0x00, 0x00};
    Read_buffer<Bytes> buffer(payload);
    EXPECT_EQ(thrown_text<std::invalid_argument>(
                  [&] { read_length_field(0, buffer, serialization_properties_in_force); }),
              "Invalid value for length field size.");
    EXPECT_EQ(buffer.offset(), 0U);
}

TEST(read_length_field, sizes_3_and_8_throw_invalid_argument) {
    const Bytes payload(8, 0x00);
    Read_buffer<Bytes> buffer(payload);
    for (const std::size_t size : {3U, 8U}) {
        EXPECT_EQ(thrown_text<std::invalid_argument>(
                      [&] { read_length_field(size, buffer, serialization_properties_in_force); }),
                  "Invalid value for length field size.");
    }
    EXPECT_EQ(buffer.offset(), 0U);
}

TEST(read_length_field, size_4_on_three_bytes_reads_beyond_the_end_having_consumed_the_three) {
    const Bytes payload{0x00, 0x00, 0x01};
    Read_buffer<Bytes> buffer(payload);
    EXPECT_EQ(thrown_text<std::out_of_range>([&] { read_length_field(4, buffer, serialization_properties_in_force); }),
              read_beyond_end);
    EXPECT_EQ(buffer.offset(), 3U);
}

}  // namespace

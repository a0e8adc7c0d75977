// Deserialize and Serialize: big-endian UDS parameters, bounds-tested reads that change nothing
// when they fail, appending writes.

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "extension/deserialize.h"
#include "extension/serialize.h"

namespace {

using ruv::dm::foundation::extension::Deserialize;
using ruv::dm::foundation::extension::Meta_info;
using ruv::dm::foundation::extension::Serialize;
using Bytes = std::vector<std::uint8_t>;

const Meta_info no_meta_info;

std::string range_check_text(std::size_t index, std::size_t size) {
    return "vector::_M_range_check: __n (which is " + std::to_string(index) + ") >= this->size() (which is " +
           std::to_string(size) + ")";
}

template <class T>
void expect_out_of_range(Deserialize& reader, T& value, const std::string& text) {
    try {
        reader.deserialize(value);
        FAIL() << "no exception";
    } catch (const std::out_of_range& error) {
        EXPECT_EQ(std::string(error.what()), text);
    }
}

TEST(uds_codec, uint8_read_on_empty_data_fails_at_index_0_of_size_0) {
    Deserialize reader({}, no_meta_info);
    std::uint8_t value = 0x5A;
    expect_out_of_range(reader, value, range_check_text(0, 0));
    EXPECT_EQ(value, 0x5A);
    EXPECT_EQ(reader.read_position(), 0U);
}

TEST(uds_codec, uint16_read_with_one_byte_left_fails_at_the_missing_byte_and_moves_nothing) {
    Deserialize reader({0x11, 0x22, 0x33}, no_meta_info);
    std::uint16_t first = 0;
    reader.deserialize(first);
    EXPECT_EQ(first, 0x1122);
    std::uint16_t second = 0xBEEF;
    expect_out_of_range(reader, second, range_check_text(3, 3));
    EXPECT_EQ(second, 0xBEEF);
    EXPECT_EQ(reader.read_position(), 2U);
    std::uint8_t last = 0;
    reader.deserialize(last);
    EXPECT_EQ(last, 0x33) << "a failed read leaves the position for a shorter read";
}

TEST(uds_codec, uint32_read_with_three_bytes_left_fails_at_the_fourth) {
    Deserialize reader({1, 2, 3}, no_meta_info);
    std::uint32_t value = 7;
    expect_out_of_range(reader, value, range_check_text(3, 3));
    EXPECT_EQ(value, 7U);
    std::uint8_t byte = 0;
    reader.deserialize(byte);
    EXPECT_EQ(byte, 1);
}

TEST(uds_codec, int16_from_ff_fe_is_minus_two_and_back) {
    Deserialize reader({0xFF, 0xFE}, no_meta_info);
    std::int16_t value = 0;
    reader.deserialize(value);
    EXPECT_EQ(value, -2);
    Bytes written;
    Serialize(written).write_value(std::int16_t{-2});
    EXPECT_EQ(written, (Bytes{0xFF, 0xFE}));
}

TEST(uds_codec, uint64_from_01_to_08_is_0102030405060708) {
    Deserialize reader({1, 2, 3, 4, 5, 6, 7, 8}, no_meta_info);
    std::uint64_t value = 0;
    reader.deserialize(value);
    EXPECT_EQ(value, 0x0102030405060708ULL);
    EXPECT_EQ(reader.read_position(), 8U);
}

TEST(uds_codec, value_0x0102_is_stored_as_01_02) {
    Bytes written;
    Serialize(written).write_value(std::uint16_t{0x0102});
    EXPECT_EQ(written, (Bytes{0x01, 0x02}));
}

TEST(uds_codec, write_appends_behind_existing_bytes) {
    Bytes written{0xAA, 0xBB};
    Serialize writer(written);
    writer.write_value(std::uint8_t{0x01});
    writer.write_value(std::uint32_t{0x02030405});
    EXPECT_EQ(written, (Bytes{0xAA, 0xBB, 0x01, 0x02, 0x03, 0x04, 0x05}));
}

TEST(uds_codec, deserialize_moves_from_the_vector_it_is_given) {
    Bytes request{0x10, 0x20};
    Deserialize reader(std::move(request), no_meta_info);
    EXPECT_TRUE(request.empty());  // NOLINT(bugprone-use-after-move): the move is what is tested
    EXPECT_EQ(reader.data(), (Bytes{0x10, 0x20}));
    EXPECT_EQ(&reader.meta_info(), &no_meta_info);
}

TEST(uds_codec, surplus_bytes_are_no_error) {
    Deserialize reader({0x01, 0x02, 0x03}, no_meta_info);
    std::uint8_t value = 0;
    reader.deserialize(value);
    EXPECT_EQ(reader.data().size() - reader.read_position(), 2U);
}

template <class T>
void expect_round_trip(T value, std::size_t size) {
    Bytes written;
    Serialize(written).write_value(value);
    ASSERT_EQ(written.size(), size);
    Deserialize reader(written, no_meta_info);
    T read_back{};
    reader.deserialize(read_back);
    EXPECT_EQ(read_back, value);
    EXPECT_EQ(reader.read_position(), size);
}

TEST(uds_codec, every_type_reads_back_what_was_written) {
    expect_round_trip<std::uint8_t>(0xA5, 1);
    expect_round_trip<std::uint16_t>(0xA55A, 2);
    expect_round_trip<std::uint32_t>(0xDEADBEEF, 4);
    expect_round_trip<std::uint64_t>(0xFEDCBA9876543210ULL, 8);
    expect_round_trip<std::int8_t>(std::numeric_limits<std::int8_t>::min(), 1);
    expect_round_trip<std::int16_t>(-12345, 2);
    expect_round_trip<std::int32_t>(std::numeric_limits<std::int32_t>::min(), 4);
    expect_round_trip<std::int64_t>(-2, 8);
}

TEST(uds_codec, signed_values_are_written_as_twos_complement_most_significant_first) {
    Bytes written;
    Serialize writer(written);
    writer.write_value(std::int32_t{-2});
    writer.write_value(std::int8_t{-128});
    EXPECT_EQ(written, (Bytes{0xFF, 0xFF, 0xFF, 0xFE, 0x80}));
}

}  // namespace

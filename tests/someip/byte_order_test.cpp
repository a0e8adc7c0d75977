// write_to_container and read_from_container: memory order when target and host agree, reversed
// otherwise; the byte order values in their traditional notation.

#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <type_traits>
#include <vector>

#include "someip/byte_order.h"

namespace {

using ruv::com::byte_order::Byte_order;
using ruv::com::byte_order::host_byte_order;
using ruv::com::byte_order::read_from_container;
using ruv::com::byte_order::write_to_container;
using Bytes = std::vector<std::uint8_t>;

template <class T>
Bytes written(const T& value, Byte_order target, Byte_order host) {
    Bytes out;
    write_to_container(value, [&out](std::uint8_t byte) { out.push_back(byte); }, target, host);
    return out;
}

template <class T>
T read(const Bytes& in, Byte_order target, Byte_order host) {
    T value{};
    std::size_t next = 0;
    read_from_container(value, [&in, &next](std::uint8_t& byte) { byte = in.at(next++); }, target, host);
    return value;
}

TEST(byte_order, values_are_the_traditional_notation_in_32_bits) {
    EXPECT_EQ(static_cast<std::uint32_t>(Byte_order::little_endian), 1234U);
    EXPECT_EQ(static_cast<std::uint32_t>(Byte_order::big_endian), 4321U);
    EXPECT_EQ(sizeof(Byte_order), 4U);
    EXPECT_EQ(host_byte_order, Byte_order::little_endian);
}

TEST(byte_order, write_in_foreign_order_gives_the_most_significant_byte_first) {
    EXPECT_EQ(written(std::uint32_t{0x01020304}, Byte_order::big_endian, Byte_order::little_endian),
              (Bytes{0x01, 0x02, 0x03, 0x04}));
    EXPECT_EQ(written(std::uint16_t{0xA1B2}, Byte_order::big_endian, Byte_order::little_endian),
              (Bytes{0xA1, 0xB2}));
}

TEST(byte_order, write_in_host_order_gives_memory_order) {
    EXPECT_EQ(written(std::uint32_t{0x01020304}, Byte_order::little_endian, Byte_order::little_endian),
              (Bytes{0x04, 0x03, 0x02, 0x01}));
}

TEST(byte_order, write_compares_target_with_host_not_with_the_processor) {
    EXPECT_EQ(written(std::uint16_t{0xA1B2}, Byte_order::big_endian, Byte_order::big_endian), (Bytes{0xB2, 0xA1}));
    EXPECT_EQ(written(std::uint16_t{0xA1B2}, static_cast<Byte_order>(7), Byte_order::little_endian),
              (Bytes{0xA1, 0xB2}));
}

TEST(byte_order, a_single_byte_is_the_same_in_both_orders) {
    EXPECT_EQ(written(std::uint8_t{0x7E}, Byte_order::big_endian, Byte_order::little_endian), (Bytes{0x7E}));
    EXPECT_EQ(written(std::uint8_t{0x7E}, Byte_order::little_endian, Byte_order::little_endian), (Bytes{0x7E}));
    EXPECT_EQ(read<std::uint8_t>({0x7E}, Byte_order::big_endian, Byte_order::little_endian), 0x7E);
}

TEST(byte_order, read_in_foreign_order_takes_the_first_byte_as_most_significant) {
    EXPECT_EQ(read<std::uint16_t>({0xA1, 0xB2}, Byte_order::big_endian, Byte_order::little_endian), 0xA1B2);
    EXPECT_EQ(read<std::uint32_t>({0x01, 0x02, 0x03, 0x04}, Byte_order::big_endian, Byte_order::little_endian),
              0x01020304U);
}

TEST(byte_order, read_in_host_order_fills_memory_order) {
    EXPECT_EQ(read<std::uint16_t>({0xA1, 0xB2}, Byte_order::little_endian, Byte_order::little_endian), 0xB2A1);
}

TEST(byte_order, read_keeps_the_bytes_filled_before_the_source_throws) {
    const Bytes in{0xA1};
    std::uint16_t value = 0;
    std::size_t next = 0;
    EXPECT_THROW(read_from_container(value, [&in, &next](std::uint8_t& byte) { byte = in.at(next++); },
                                     Byte_order::big_endian, Byte_order::little_endian),
                 std::out_of_range);
    EXPECT_EQ(value, 0xA100) << "the first byte read is the high byte";
}

struct Discarding_sink {
    void operator()(std::uint8_t /*byte*/) const {}
};

template <class T, class = void>
struct Writable : std::false_type {};
template <class T>
struct Writable<T, std::void_t<decltype(write_to_container(std::declval<const T&>(), Discarding_sink{},
                                                           Byte_order::big_endian, Byte_order::little_endian))>>
    : std::true_type {};

TEST(byte_order, only_trivially_copyable_types_are_accepted) {
    EXPECT_TRUE(Writable<std::uint32_t>::value);
    EXPECT_FALSE(Writable<std::vector<std::uint8_t>>::value);
}

}  // namespace

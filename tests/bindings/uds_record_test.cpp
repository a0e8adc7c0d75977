// The UDS records of the bindings: every Output written byte by byte as its identifier's table
// says, and request bytes cut into Start's arguments, short requests refused.

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <stdexcept>
#include <tuple>
#include <vector>

#include "bindings/uds_record.h"
#include "record_samples.h"

namespace {

using namespace talm::services::diag;
using ruv::dm::foundation::extension::Deserialize;
using ruv::dm::foundation::extension::Meta_info;
using ruv::dm::foundation::extension::Serialize;
using ruv::dm::foundation::extension::uds_record::read_arguments;
using ruv::dm::foundation::extension::uds_record::write_record;
using zevo::test::Bytes;
using zevo::test::Record_sample;

const Meta_info meta_info{{"service_id", "0x31"}};

template <class Interface>
class uds_record : public testing::Test {};

using All_interfaces =
    testing::Types<d_2c55::DataIdentifier_ZevoZevovin, d_2c56::DataIdentifier_ZevoTrainingCounter,
                   d_2c57::DataIdentifier_ZevoMissingKeyHistory, d_2c60::DataIdentifier_ZevoKeyList,
                   r_0648::RoutineService_ZevoDebug, r_c00a::RoutineService_ZevoHandleDownloadcontainer,
                   r_c00b::RoutineService_ZevoCheckVerificationHash, r_c00c::RoutineService_ZevoGetIdentityHash,
                   r_c00d::RoutineService_ZevoGetPssHash, r_c00f::RoutineService_ZevoGetState>;
TYPED_TEST_SUITE(uds_record, All_interfaces, zevo::test::Identifier_label);

template <class Output>
Bytes written(const Output& output, Bytes response = {}) {
    Serialize record(response);
    write_record(record, output);
    return response;
}

TYPED_TEST(uds_record, output_gives_the_bytes_of_its_table) {
    using Sample = Record_sample<TypeParam>;
    EXPECT_EQ(written(Sample::output()), Sample::bytes());
}

TYPED_TEST(uds_record, output_is_appended_behind_existing_bytes) {
    using Sample = Record_sample<TypeParam>;
    Bytes expected{0xDE, 0xAD};
    const Bytes record = Sample::bytes();
    expected.insert(expected.end(), record.begin(), record.end());
    EXPECT_EQ(written(Sample::output(), {0xDE, 0xAD}), expected);
}

TEST(uds_record_0x2C56, counter_0x1234_gives_0x12_0x34) {
    EXPECT_EQ(written(d_2c56::DataIdentifier_ZevoTrainingCounter::Read::Output{0x00, 0x1234}),
              (Bytes{0x00, 0x12, 0x34}));
}

TEST(uds_record_0x2C60, three_elements_behind_0x01_0x02_give_five_bytes) {
    EXPECT_EQ(written(d_2c60::DataIdentifier_ZevoKeyList::Read::Output{0x01, 0x02, {0x07, 0x08, 0x09}}),
              (Bytes{0x01, 0x02, 0x07, 0x08, 0x09}));
}

TEST(uds_record_0x2C57, an_empty_vector_gives_exactly_two_bytes) {
    EXPECT_EQ(written(d_2c57::DataIdentifier_ZevoMissingKeyHistory::Read::Output{0x05, 0x06, {}}),
              (Bytes{0x05, 0x06}));
}

TEST(uds_record_0x2C60, an_empty_vector_gives_exactly_two_bytes) {
    EXPECT_EQ(written(d_2c60::DataIdentifier_ZevoKeyList::Read::Output{0x05, 0x06, {}}), (Bytes{0x05, 0x06}));
}

TEST(uds_record_0x0648, an_empty_vector_gives_exactly_two_bytes) {
    EXPECT_EQ(written(r_0648::RoutineService_ZevoDebug::RequestResults::Output{0x05, 0x06, {}}),
              (Bytes{0x05, 0x06}));
}

TEST(uds_record_0x2C55, always_gives_18_bytes) {
    EXPECT_EQ(written(d_2c55::DataIdentifier_ZevoZevovin::Read::Output{}).size(), 18U);
}

TEST(uds_record_0xC00F, always_gives_11_bytes_with_the_counter_high_byte_first) {
    r_c00f::RoutineService_ZevoGetState::RequestResults::Output output{};
    output.field_8 = 0x0102;
    EXPECT_EQ(written(output), (Bytes{0, 0, 0, 0, 0, 0, 0, 0x01, 0x02, 0, 0}));
}

// Decoding Start's arguments: one byte, fixed arrays, and a vector that takes the rest.
Deserialize request_of(const Bytes& bytes) { return Deserialize(bytes, meta_info); }

TEST(uds_record_start_arguments, a_byte_and_the_rest_as_a_vector) {
    Deserialize parameters = request_of({0x05, 0x01, 0x02, 0x03});
    std::tuple<std::uint8_t, Bytes> arguments;
    read_arguments(parameters, arguments);
    EXPECT_EQ(arguments, std::make_tuple(std::uint8_t{0x05}, Bytes{0x01, 0x02, 0x03}));
    EXPECT_EQ(parameters.read_position(), 4U);
}

TEST(uds_record_start_arguments, a_single_byte_leaves_the_vector_empty) {
    Deserialize parameters = request_of({0x05});
    std::tuple<std::uint8_t, Bytes> arguments;
    read_arguments(parameters, arguments);
    EXPECT_EQ(arguments, std::make_tuple(std::uint8_t{0x05}, Bytes{}));
}

TEST(uds_record_start_arguments, arrays_take_their_exact_length_and_leave_the_rest) {
    Bytes request(18);
    for (std::size_t index = 0; index < request.size(); ++index) {
        request[index] = static_cast<std::uint8_t>(0x40 + index);
    }
    Deserialize parameters = request_of(request);
    std::tuple<std::array<std::uint8_t, 1>, std::array<std::uint8_t, 16>> arguments;
    read_arguments(parameters, arguments);
    EXPECT_EQ(std::get<0>(arguments)[0], 0x40);
    EXPECT_EQ(std::get<1>(arguments)[0], 0x41);
    EXPECT_EQ(std::get<1>(arguments)[15], 0x50);
    EXPECT_EQ(parameters.read_position(), 17U) << "byte 17 is not read";
}

TEST(uds_record_start_arguments, too_few_bytes_for_the_arrays_throw_out_of_range) {
    Deserialize parameters = request_of(Bytes(16, 0x01));
    std::tuple<std::array<std::uint8_t, 1>, std::array<std::uint8_t, 16>> arguments;
    EXPECT_THROW(read_arguments(parameters, arguments), std::out_of_range);
}

TEST(uds_record_start_arguments, an_empty_request_throws_out_of_range_for_the_first_byte) {
    Deserialize parameters = request_of({});
    std::tuple<std::uint8_t> arguments{0x77};
    EXPECT_THROW(read_arguments(parameters, arguments), std::out_of_range);
    EXPECT_EQ(std::get<0>(arguments), 0x77) << "a failed read leaves its argument";
}

TEST(uds_record_start_arguments, a_vector_alone_takes_the_whole_request) {
    Deserialize parameters = request_of({0x09, 0x08});
    std::tuple<Bytes> arguments;
    read_arguments(parameters, arguments);
    EXPECT_EQ(std::get<0>(arguments), (Bytes{0x09, 0x08}));
}

}  // namespace

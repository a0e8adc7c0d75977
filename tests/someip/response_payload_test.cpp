// Response payloads of the ten methods with an Output: each read member by member in order of
// declaration, a payload cut short refused with the reader's own exception, surplus bytes behind
// the last member ignored, and the service side's writer agreeing with the reader.

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "bindings/uds_record.h"
#include "extension/serialize.h"
#include "someip/method_payload.h"
#include "someip/service_payload.h"
#include "tests/someip/argument_samples.h"
#include "tests/someip/response_samples.h"
#include "tests/someip/service_methods.h"
#include "tests/someip/thrown.h"

namespace {

using namespace zevo::test::methods;
using ruv::com::someip::serialization::deserialize_output;
using ruv::com::someip::serialization::read_output;
using ruv::com::someip::serialization::response_payload;
using ruv::com::someip::serialization::serialize_output;
using zevo::test::thrown_text;

constexpr const char* read_beyond_end = "Read beyond the end of the data buffer";
constexpr const char* invalid_end_position = "Deserialization calculated invalid end position.";
constexpr const char* smaller_than_expected =
    "Violation of [PRS_SOMEIP_00900]: Record length provided by sender is smaller than expected. This is possibly "
    "due to a mismatch between the data models of sender and receiver.";

struct Method_label {
    template <class Case>
    static std::string GetName(int) {
        return Case::name();
    }
};

template <class Case>
class response_of : public testing::Test {};
using response_of_types = Rebind_t<testing::Types, Results_methods>;
TYPED_TEST_SUITE(response_of, response_of_types, Method_label);

template <class Output>
std::string out_of_range_reading(const Bytes& payload) {
    return thrown_text<std::out_of_range>([&payload] { static_cast<void>(read_output<Output>(payload)); });
}

TYPED_TEST(response_of, minimal_payload_has_the_size_of_the_table_and_fills_every_member) {
    using Sample = Response_sample<typename TypeParam::Interface>;
    using Output = typename TypeParam::Method::Output;
    const Bytes payload = Sample::minimal_bytes();
    ASSERT_EQ(payload.size(), Sample::minimal_size);
    EXPECT_EQ(read_output<Output>(payload).fields(), Sample::minimal_output().fields());
}

TYPED_TEST(response_of, one_byte_short_reads_beyond_the_end) {
    using Sample = Response_sample<typename TypeParam::Interface>;
    Bytes payload = Sample::minimal_bytes();
    payload.pop_back();
    EXPECT_EQ(out_of_range_reading<typename TypeParam::Method::Output>(payload), read_beyond_end);
}

TYPED_TEST(response_of, every_shorter_payload_down_to_none_reads_beyond_the_end) {
    const Bytes minimal = Response_sample<typename TypeParam::Interface>::minimal_bytes();
    for (std::size_t size = 0; size < minimal.size(); ++size) {
        const Bytes payload(minimal.begin(), minimal.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(out_of_range_reading<typename TypeParam::Method::Output>(payload), read_beyond_end)
            << "payload of " << size << " bytes";
    }
}

TYPED_TEST(response_of, trailing_bytes_are_ignored) {
    using Sample = Response_sample<typename TypeParam::Interface>;
    using Output = typename TypeParam::Method::Output;
    const Bytes payload = concatenated({Sample::minimal_bytes(), {0xEE, 0x00, 0x00, 0x00, 0xFF}});
    EXPECT_EQ(read_output<Output>(payload).fields(), Sample::minimal_output().fields());
}

TYPED_TEST(response_of, deserialize_output_fills_the_callers_record) {
    using Sample = Response_sample<typename TypeParam::Interface>;
    typename TypeParam::Method::Output output{};
    deserialize_output(Sample::minimal_bytes(), output);
    EXPECT_EQ(output.fields(), Sample::minimal_output().fields());
}

TYPED_TEST(response_of, service_writes_the_minimal_output_as_the_minimal_payload) {
    using Sample = Response_sample<typename TypeParam::Interface>;
    EXPECT_EQ(response_payload(Sample::minimal_output()), Sample::minimal_bytes());
}

TYPED_TEST(response_of, what_the_service_writes_the_plug_in_reads_back) {
    using Sample = Response_sample<typename TypeParam::Interface>;
    using Output = typename TypeParam::Method::Output;
    const Output sent = Sample::rich_output();
    Bytes payload{0xDE, 0xAD};
    serialize_output(payload, sent);
    const Bytes written(payload.begin() + 2, payload.end());
    EXPECT_EQ(read_output<Output>(written).fields(), sent.fields());
}

// --- single methods ---

using Zevovin = diag::d_2c55::DataIdentifier_ZevoZevovin;
using Training_counter = diag::d_2c56::DataIdentifier_ZevoTrainingCounter;
using Key_list = diag::d_2c60::DataIdentifier_ZevoKeyList;
using Download_container = diag::r_c00a::RoutineService_ZevoHandleDownloadcontainer;
using Identity_hash = diag::r_c00c::RoutineService_ZevoGetIdentityHash;
using Get_state = diag::r_c00f::RoutineService_ZevoGetState;

TEST(response_0x2C60, nine_bytes_give_two_members_and_three_elements_and_their_uds_record) {
    const Bytes payload{0x01, 0x02, 0x00, 0x00, 0x00, 0x03, 0xAA, 0xBB, 0xCC};
    const auto output = read_output<Key_list::Read::Output>(payload);
    EXPECT_EQ(output.field_1, 0x01);
    EXPECT_EQ(output.field_2, 0x02);
    EXPECT_EQ(output.field_3, (Bytes{0xAA, 0xBB, 0xCC}));

    Bytes record;
    ruv::dm::foundation::extension::Serialize writer(record);
    ruv::dm::foundation::extension::uds_record::write_record(writer, output);
    EXPECT_EQ(record, (Bytes{0x01, 0x02, 0xAA, 0xBB, 0xCC}));
}

TEST(response_0x2C60, vector_cut_inside_its_elements_gives_invalid_end_position) {
    const Bytes payload{0x01, 0x02, 0x00, 0x00, 0x00, 0x03, 0xAA, 0xBB};
    EXPECT_EQ(out_of_range_reading<Key_list::Read::Output>(payload), invalid_end_position);
}

TEST(response_0x2C60, vector_length_0xFFFFFFFF_is_not_negative_but_past_the_end) {
    const Bytes payload{0x01, 0x02, 0xFF, 0xFF, 0xFF, 0xFF, 0xAA};
    EXPECT_EQ(out_of_range_reading<Key_list::Read::Output>(payload), invalid_end_position);
}

TEST(response_0x2C55, usual_response_is_one_byte_and_seventeen_behind_their_length_fields) {
    const Bytes payload = concatenated({{0x00, 0x00, 0x00, 0x01, 0x5C},
                                        {0x00, 0x00, 0x00, 0x11},
                                        {0x57, 0x30, 0x4C, 0x30, 0x30, 0x30, 0x30, 0x34, 0x33,
                                         0x4D, 0x42, 0x35, 0x34, 0x31, 0x33, 0x32, 0x36}});
    const auto output = read_output<Zevovin::Read::Output>(payload);
    EXPECT_EQ(output.field_1, (std::array<std::uint8_t, 1>{0x5C}));
    EXPECT_EQ(output.field_2, (std::array<std::uint8_t, 17>{0x57, 0x30, 0x4C, 0x30, 0x30, 0x30, 0x30, 0x34, 0x33,
                                                            0x4D, 0x42, 0x35, 0x34, 0x31, 0x33, 0x32, 0x36}));
}

TEST(response_0x2C55, widened_first_array_takes_its_first_byte_and_skips_two) {
    const Bytes payload = concatenated({{0x00, 0x00, 0x00, 0x03, 0xA1, 0xEE, 0xEE},
                                        {0x00, 0x00, 0x00, 0x11},
                                        {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x09,
                                         0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F, 0x10, 0x11}});
    const auto output = read_output<Zevovin::Read::Output>(payload);
    EXPECT_EQ(output.field_1, (std::array<std::uint8_t, 1>{0xA1}));
    EXPECT_EQ(output.field_2, seventeen_bytes());
}

// Both length fields wider than their arrays: the surplus goes in the reader, so the UDS record
// is the 18 bytes of the two arrays and nothing of what the sender added.
TEST(response_0x2C55, arrays_behind_wider_length_fields_still_give_an_18_byte_uds_record) {
    const Bytes payload = concatenated({{0x00, 0x00, 0x00, 0x03, 0xA1, 0xEE, 0xEE},
                                        {0x00, 0x00, 0x00, 0x14},
                                        {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x09,
                                         0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F, 0x10, 0x11},
                                        {0xEE, 0xEE, 0xEE}});
    const auto output = read_output<Zevovin::Read::Output>(payload);

    Bytes record;
    ruv::dm::foundation::extension::Serialize writer(record);
    ruv::dm::foundation::extension::uds_record::write_record(writer, output);
    const Bytes expected = concatenated({{0xA1}, {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x09,
                                                  0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F, 0x10, 0x11}});
    ASSERT_EQ(expected.size(), 18U);
    EXPECT_EQ(record, expected);
}

TEST(response_0x2C55, widened_first_array_whose_surplus_is_missing_reads_beyond_the_end) {
    EXPECT_EQ(out_of_range_reading<Zevovin::Read::Output>({0x00, 0x00, 0x00, 0x03, 0xA1, 0xEE}), read_beyond_end);
}

TEST(response_0x2C55, first_length_field_of_0_is_smaller_than_expected) {
    const Bytes payload = concatenated({{0x00, 0x00, 0x00, 0x00}, Response_sample<Zevovin>::minimal_bytes()});
    EXPECT_EQ(out_of_range_reading<Zevovin::Read::Output>(payload), smaller_than_expected);
}

TEST(response_0xC00C, hash_length_field_of_15_is_smaller_than_expected_with_bytes_to_spare) {
    Bytes payload = concatenated({Response_sample<Identity_hash>::minimal_bytes(), {0x30, 0x31, 0x32, 0x33}});
    payload[13] = 0x0F;  // the third length field
    EXPECT_EQ(out_of_range_reading<Identity_hash::RequestResults::Output>(payload), smaller_than_expected);
}

TEST(response_0x2C56, counter_takes_its_high_byte_first) {
    EXPECT_EQ(read_output<Training_counter::Read::Output>({0x00, 0xAB, 0xCD}).field_2, 0xABCD);
}

TEST(response_0xC00F, ten_bytes_read_beyond_the_end) {
    const Bytes payload{0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0xAB, 0xCD, 0x09};
    EXPECT_EQ(out_of_range_reading<Get_state::RequestResults::Output>(payload), read_beyond_end);
}

TEST(response_0xC00F, twelve_bytes_are_good_and_the_last_is_ignored) {
    const Bytes payload{0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0xAB, 0xCD, 0x09, 0x0A, 0x0B};
    const auto output = read_output<Get_state::RequestResults::Output>(payload);
    EXPECT_EQ(output.fields(), Response_sample<Get_state>::minimal_output().fields());
}

TEST(response_0xC00A, one_byte_reads_beyond_the_end) {
    EXPECT_EQ(out_of_range_reading<Download_container::RequestResults::Output>({0x01}), read_beyond_end);
}

TEST(response_0xC00A, two_bytes_or_more_are_good) {
    EXPECT_EQ(read_output<Download_container::RequestResults::Output>({0x01, 0x02}).fields(),
              (Download_container::RequestResults::Output{0x01, 0x02}.fields()));
    EXPECT_EQ(read_output<Download_container::RequestResults::Output>({0x01, 0x02, 0x03}).fields(),
              (Download_container::RequestResults::Output{0x01, 0x02}.fields()));
}

// The Start response on return code 0 is not read by this layer at all: a method without an
// Output has no reader here, and whether its payload is looked at is the response path's matter.

}  // namespace

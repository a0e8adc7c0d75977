// The text entries that describe a request to the extensions.

#include "host/request_meta_info.h"

#include <gtest/gtest.h>

namespace zevo::host {
namespace {

using ruv::dm::foundation::extension::Meta_info;

TEST(host_request_meta_info, read_request_has_service_identifier_and_tester) {
    const Meta_info expected = {{"service_id", "0x22"}, {"identifier", "0x2C56"}, {"tester_address", "0x0E80"}};
    EXPECT_EQ(make_request_meta_info(0x22, std::nullopt, 0x2C56, 0x0E80), expected);
}

TEST(host_request_meta_info, routine_request_adds_the_sub_function) {
    const Meta_info expected = {{"service_id", "0x31"},
                                {"sub_function", "0x81"},
                                {"identifier", "0x0648"},
                                {"tester_address", "0x0F01"}};
    EXPECT_EQ(make_request_meta_info(0x31, 0x81, 0x0648, 0x0F01), expected);
}

TEST(host_request_meta_info, values_have_fixed_width_and_upper_case_digits) {
    const Meta_info meta_info = make_request_meta_info(0x2E, 0x03, 0x000A, 0x00ab);
    EXPECT_EQ(meta_info.at(meta_key::service_id), "0x2E");
    EXPECT_EQ(meta_info.at(meta_key::sub_function), "0x03");
    EXPECT_EQ(meta_info.at(meta_key::identifier), "0x000A");
    EXPECT_EQ(meta_info.at(meta_key::tester_address), "0x00AB");
}

}  // namespace
}  // namespace zevo::host

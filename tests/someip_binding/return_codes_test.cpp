// Return codes across the wire: what a client hands its response handler for each RESPONSE and
// ERROR code, and what a server sends for each code of its provider's answer.

#include "com/someip/return_codes.h"

#include <gtest/gtest.h>

#include "com/someip/message_header.h"

namespace {

using namespace ruv::com::someip_binding;

TEST(Return_codes, response_e_ok_is_success) {
    EXPECT_EQ(to_runtime_code(message_type::response, 0x00), 0);
}

TEST(Return_codes, error_with_e_ok_is_invalid) {
    EXPECT_EQ(to_runtime_code(message_type::error, 0x00), 0x80);
}

TEST(Return_codes, specific_codes_become_application_errors_in_response_and_error) {
    for (std::uint8_t type : {message_type::response, message_type::error}) {
        EXPECT_EQ(to_runtime_code(type, 0x21), 2);
        EXPECT_EQ(to_runtime_code(type, 0x20), 1);
        EXPECT_EQ(to_runtime_code(type, 0x5E), 0x3F);
    }
}

TEST(Return_codes, generic_codes_become_0x40_plus_code) {
    EXPECT_EQ(to_runtime_code(message_type::error, 0x01), 0x41);
    EXPECT_EQ(to_runtime_code(message_type::error, 0x09), 0x49);
    EXPECT_EQ(to_runtime_code(message_type::response, 0x1F), 0x5F);
}

TEST(Return_codes, codes_above_the_specific_range_are_invalid) {
    for (int code : {0x5F, 0x80, 0x81, 0x86, 0xFF}) {
        EXPECT_EQ(to_runtime_code(message_type::error, static_cast<std::uint8_t>(code)), 0x80) << code;
    }
}

TEST(Return_codes, a_server_sends_success_as_response) {
    const auto answer = to_wire_answer(0);
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->message_type, message_type::response);
    EXPECT_EQ(answer->return_code, 0);
}

TEST(Return_codes, a_server_sends_application_error_c_as_error_0x1F_plus_c) {
    const auto answer = to_wire_answer(2);
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->message_type, message_type::error);
    EXPECT_EQ(answer->return_code, 0x21);
    EXPECT_EQ(to_wire_answer(0x3F)->return_code, 0x5E);
}

TEST(Return_codes, application_errors_and_generic_codes_survive_the_round_trip) {
    for (int code = 1; code <= 0x5F; ++code) {
        if (code == 0x40) {
            continue;
        }
        const auto answer = to_wire_answer(static_cast<std::uint8_t>(code));
        ASSERT_TRUE(answer) << code;
        EXPECT_EQ(to_runtime_code(answer->message_type, answer->return_code), code) << code;
    }
}

TEST(Return_codes, the_runtimes_own_codes_are_never_sent) {
    for (int code : {0x81, 0x82, 0x86, 0xFF}) {
        EXPECT_FALSE(to_wire_answer(static_cast<std::uint8_t>(code))) << code;
    }
}

TEST(Return_codes, other_codes_are_sent_as_e_not_ok) {
    for (int code : {0x40, 0x60, 0x80, 0x8A, 0xFE}) {
        EXPECT_EQ(to_wire_answer(static_cast<std::uint8_t>(code))->return_code, 0x01) << code;
    }
}

}  // namespace

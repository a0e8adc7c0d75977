// The server's request checks, one rule each, and their order: protocol version, service id,
// interface version, method id, message type, payload. Only a REQUEST is answered.

#include "com/someip/request_check.h"

#include <gtest/gtest.h>

#include "wire_samples.h"

namespace {

using namespace ruv::com::someip_binding;
using namespace zevo::test::someip_wire;

const Served_interface served{0x4C55, 1, {0x0001, 0x0002, 0x0003}};

TEST(Request_check, a_good_request_passes) {
    EXPECT_TRUE(check_request(request_header(2), &served).passed());
}

TEST(Request_check, wrong_protocol_version_is_answered_0x07) {
    Message_header header = request_header();
    header.protocol_version = 2;
    const Request_verdict verdict = check_request(header, &served);
    EXPECT_EQ(verdict.return_code, 0x07);
    EXPECT_TRUE(verdict.answer);
}

TEST(Request_check, unknown_service_is_answered_0x02) {
    Message_header header = request_header();
    header.service_id = 0x1234;
    EXPECT_EQ(check_request(header, &served).return_code, 0x02);
    EXPECT_EQ(check_request(request_header(), nullptr).return_code, 0x02);
}

TEST(Request_check, wrong_interface_version_is_answered_0x08) {
    Message_header header = request_header();
    header.interface_version = 2;
    EXPECT_EQ(check_request(header, &served).return_code, 0x08);
}

TEST(Request_check, unknown_or_reserved_method_is_answered_0x03) {
    for (int method_number : {0x0000, 0x0004, 0x7FFF, 0x8000, 0x8001, 0xFFFF}) {
        const auto method = static_cast<std::uint16_t>(method_number);
        EXPECT_EQ(check_request(request_header(method), &served).return_code, 0x03) << method;
    }
    const Served_interface with_reserved{0x4C55, 1, {0x0000, 0x8001}};
    EXPECT_EQ(check_request(request_header(0x0000), &with_reserved).return_code, 0x03);
    EXPECT_EQ(check_request(request_header(0x8001), &with_reserved).return_code, 0x03);
}

TEST(Request_check, other_message_types_fail_0x0A_and_are_never_answered) {
    for (int type_number : {0x01, 0x02, 0x80, 0x81, 0x20, 0x21}) {
        const auto type = static_cast<std::uint8_t>(type_number);
        Message_header header = request_header();
        header.message_type = type;
        const Request_verdict verdict = check_request(header, &served);
        EXPECT_EQ(verdict.return_code, 0x0A) << int{type};
        EXPECT_FALSE(verdict.answer) << int{type};
    }
}

TEST(Request_check, a_request_that_carries_a_return_code_is_dropped_unanswered) {
    Message_header header = request_header();
    header.return_code = 0x01;
    Request_verdict verdict = check_request(header, &served);
    EXPECT_FALSE(verdict.passed());
    EXPECT_FALSE(verdict.answer);
    header.interface_version = 9;  // an earlier check fails: still no answer
    verdict = check_request(header, &served);
    EXPECT_EQ(verdict.return_code, 0x08);
    EXPECT_FALSE(verdict.answer);
}

TEST(Request_check, failures_of_a_request_no_return_are_never_answered) {
    Message_header header = request_header();
    header.message_type = message_type::request_no_return;
    header.protocol_version = 0;
    EXPECT_FALSE(check_request(header, &served).answer);
    header.protocol_version = 1;
    header.service_id = 1;
    EXPECT_FALSE(check_request(header, &served).answer);
}

TEST(Request_check, checks_in_order_protocol_service_interface_method_type) {
    Message_header header = request_header(0x7FFF);
    header.message_type = message_type::request;
    header.interface_version = 7;
    header.service_id = 0x1111;
    header.protocol_version = 3;
    EXPECT_EQ(check_request(header, &served).return_code, 0x07);
    header.protocol_version = 1;
    EXPECT_EQ(check_request(header, &served).return_code, 0x02);
    header.service_id = served.service_id;
    EXPECT_EQ(check_request(header, &served).return_code, 0x08);
    header.interface_version = 1;
    EXPECT_EQ(check_request(header, &served).return_code, 0x03);
    header.method_id = 1;
    header.message_type = message_type::notification;
    EXPECT_EQ(check_request(header, &served).return_code, 0x0A);
}

TEST(Request_check, a_malformed_payload_is_answered_0x09) {
    const Request_verdict verdict = malformed_payload(request_header());
    EXPECT_EQ(verdict.return_code, 0x09);
    EXPECT_TRUE(verdict.answer);
}

TEST(Request_check, the_error_copies_ids_and_interface_version_with_protocol_version_1) {
    Message_header request = request_header(3);
    request.protocol_version = 5;
    request.interface_version = 4;
    request.length = 99;
    const Message_header error = make_error_header(request, 0x07);
    EXPECT_EQ(error.service_id, request.service_id);
    EXPECT_EQ(error.method_id, 3);
    EXPECT_EQ(error.client_id, request.client_id);
    EXPECT_EQ(error.session_id, request.session_id);
    EXPECT_EQ(error.interface_version, 4);
    EXPECT_EQ(error.protocol_version, 1);
    EXPECT_EQ(error.message_type, message_type::error);
    EXPECT_EQ(error.return_code, 0x07);
    EXPECT_EQ(error.length, 8U);
}

}  // namespace

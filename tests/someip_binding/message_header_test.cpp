// The SOME/IP header codec: field order and byte order, the length field, the magic cookies.

#include "com/someip/message_header.h"

#include <gtest/gtest.h>

#include "wire_samples.h"

namespace {

using namespace ruv::com::someip_binding;
using namespace zevo::test::someip_wire;

TEST(Message_header, encodes_fields_big_endian_with_length_eight_plus_payload) {
    Message_header header = request_header(0x0203);
    header.return_code = 0x21;
    const Bytes bytes = message(header, {0xAA, 0xBB, 0xCC});
    const Bytes expected = {0x4C, 0x55, 0x02, 0x03, 0x00, 0x00, 0x00, 0x0B, 0x01, 0x01,
                            0x00, 0x07, 0x01, 0x01, 0x00, 0x21, 0xAA, 0xBB, 0xCC};
    EXPECT_EQ(bytes, expected);
}

TEST(Message_header, reads_back_what_it_wrote) {
    Message_header header = request_header(0x7FFE);
    header.session_id = 0xFFFF;
    header.message_type = message_type::error;
    header.return_code = 0x5E;
    const Bytes bytes = message(header, {1, 2});
    header.length = 10;
    EXPECT_EQ(read_header(bytes.data()), header);
}

TEST(Message_header, recognises_both_magic_cookies) {
    const Bytes to_server = magic_cookie(true);
    const Bytes to_client = magic_cookie(false);
    const Bytes expected_to_server = {0xFF, 0xFF, 0x00, 0x00, 0x00, 0x00, 0x00, 0x08,
                                      0xDE, 0xAD, 0xBE, 0xEF, 0x01, 0x01, 0x01, 0x00};
    EXPECT_EQ(to_server, expected_to_server);
    EXPECT_TRUE(is_magic_cookie(read_header(to_server.data())));
    EXPECT_TRUE(is_magic_cookie(read_header(to_client.data())));
}

TEST(Message_header, a_cookie_with_any_other_field_is_not_one) {
    const Bytes cookie = magic_cookie(false);
    for (std::size_t offset = 0; offset < header_size; ++offset) {
        Bytes changed = cookie;
        changed[offset] ^= 0x04;
        EXPECT_FALSE(is_magic_cookie(read_header(changed.data()))) << "byte " << offset;
    }
}

}  // namespace

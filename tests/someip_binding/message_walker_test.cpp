// Walking datagrams and TCP streams by the length field: several messages per datagram or chunk,
// a message split over chunks, short and huge length fields, magic cookies skipped.

#include "com/someip/message_walker.h"

#include <gtest/gtest.h>

#include <vector>

#include "wire_samples.h"

namespace {

using namespace ruv::com::someip_binding;
using namespace zevo::test::someip_wire;

struct Seen {
    std::vector<Message_header> headers;
    std::vector<Bytes> payloads;

    Message_callback callback() {
        return [this](const Message_view& view) {
            headers.push_back(view.header);
            payloads.emplace_back(view.payload.data, view.payload.data + view.payload.size);
        };
    }
};

TEST(Walk_datagram, hands_out_every_message_in_order) {
    const Bytes datagram = joined(joined(message(request_header(1), {1}), message(request_header(2), {})),
                                  message(request_header(3), {3, 3, 3}));
    Seen seen;
    const Walk_result result = walk_datagram(view_of(datagram), seen.callback());
    EXPECT_EQ(result.messages, 3U);
    EXPECT_EQ(result.dropped_bytes, 0U);
    ASSERT_EQ(seen.headers.size(), 3U);
    EXPECT_EQ(seen.headers[1].method_id, 2);
    EXPECT_EQ(seen.payloads[0], Bytes{1});
    EXPECT_TRUE(seen.payloads[1].empty());
    EXPECT_EQ(seen.payloads[2], (Bytes{3, 3, 3}));
}

TEST(Walk_datagram, drops_a_tail_shorter_than_a_header) {
    Bytes datagram = joined(message(request_header(1), {}), Bytes{0x4C, 0x55, 0x00});
    Seen seen;
    const Walk_result result = walk_datagram(view_of(datagram), seen.callback());
    EXPECT_EQ(result.messages, 1U);
    EXPECT_EQ(result.dropped_bytes, 3U);
}

TEST(Walk_datagram, stops_at_a_length_below_eight) {
    Bytes second = message(request_header(2), {});
    second[7] = 7;
    const Bytes datagram = joined(joined(message(request_header(1), {}), second), message(request_header(3), {}));
    Seen seen;
    const Walk_result result = walk_datagram(view_of(datagram), seen.callback());
    EXPECT_EQ(result.messages, 1U);
    EXPECT_EQ(result.dropped_bytes, 32U);
}

TEST(Walk_datagram, stops_at_a_length_past_the_end_even_the_largest) {
    for (std::uint32_t length : {0x0000000DU, 0x7FFFFFFFU, 0xFFFFFFFFU, 0xFFFFFFF8U}) {
        Bytes bad = message(request_header(2), {1, 2, 3, 4});
        write_u32(bad.data() + 4, length);
        Seen seen;
        const Walk_result result = walk_datagram(view_of(joined(message(request_header(1), {}), bad)), seen.callback());
        EXPECT_EQ(result.messages, 1U) << length;
        EXPECT_EQ(result.dropped_bytes, 20U) << length;
    }
}

TEST(Walk_datagram, skips_magic_cookies) {
    const Bytes datagram = joined(joined(magic_cookie(false), message(request_header(1), {})), magic_cookie(true));
    Seen seen;
    const Walk_result result = walk_datagram(view_of(datagram), seen.callback());
    EXPECT_EQ(result.messages, 1U);
    EXPECT_EQ(result.cookies, 2U);
    EXPECT_EQ(seen.headers.at(0).method_id, 1);
}

TEST(Walk_datagram, an_empty_datagram_holds_nothing) {
    Seen seen;
    const Walk_result result = walk_datagram(Byte_view{}, seen.callback());
    EXPECT_EQ(result.messages, 0U);
    EXPECT_EQ(result.dropped_bytes, 0U);
}

TEST(Stream_buffer, joins_a_message_split_at_every_byte) {
    const Bytes stream = joined(message(request_header(1), {1, 2, 3}), message(request_header(2), {4}));
    for (std::size_t cut = 0; cut <= stream.size(); ++cut) {
        Stream_buffer buffer(1024);
        Seen seen;
        Walk_result result;
        ASSERT_TRUE(buffer.append(Byte_view{stream.data(), cut}, seen.callback(), result));
        ASSERT_TRUE(buffer.append(Byte_view{stream.data() + cut, stream.size() - cut}, seen.callback(), result));
        ASSERT_EQ(seen.headers.size(), 2U) << "cut at " << cut;
        EXPECT_EQ(seen.payloads[0], (Bytes{1, 2, 3}));
        EXPECT_EQ(seen.payloads[1], Bytes{4});
        EXPECT_EQ(buffer.buffered(), 0U);
    }
}

TEST(Stream_buffer, delivers_one_byte_at_a_time) {
    const Bytes stream = joined(magic_cookie(true), message(request_header(5), {9, 8}));
    Stream_buffer buffer(1024);
    Seen seen;
    Walk_result result;
    for (std::uint8_t byte : stream) {
        ASSERT_TRUE(buffer.append(Byte_view{&byte, 1}, seen.callback(), result));
    }
    EXPECT_EQ(result.messages, 1U);
    EXPECT_EQ(result.cookies, 1U);
    EXPECT_EQ(seen.payloads.at(0), (Bytes{9, 8}));
}

TEST(Stream_buffer, keeps_a_partial_message_until_it_completes) {
    const Bytes whole = message(request_header(1), Bytes(100, 7));
    Stream_buffer buffer(1024);
    Seen seen;
    Walk_result result;
    ASSERT_TRUE(buffer.append(Byte_view{whole.data(), 50}, seen.callback(), result));
    EXPECT_TRUE(seen.headers.empty());
    EXPECT_EQ(buffer.buffered(), 50U);
}

TEST(Stream_buffer, breaks_on_a_length_below_eight) {
    Bytes bad = message(request_header(1), {});
    bad[7] = 0;
    Stream_buffer buffer(1024);
    Seen seen;
    Walk_result result;
    EXPECT_FALSE(buffer.append(view_of(joined(bad, message(request_header(2), {}))), seen.callback(), result));
    EXPECT_TRUE(buffer.broken());
    EXPECT_TRUE(seen.headers.empty());
    EXPECT_FALSE(buffer.append(view_of(message(request_header(3), {})), seen.callback(), result));
    EXPECT_TRUE(seen.headers.empty());
}

TEST(Stream_buffer, breaks_on_a_length_above_its_maximum_without_waiting_for_it) {
    Bytes huge = message(request_header(1), {});
    write_u32(huge.data() + 4, 0xFFFFFFFF);
    Stream_buffer buffer(8 + 1024);
    Seen seen;
    Walk_result result;
    EXPECT_FALSE(buffer.append(view_of(huge), seen.callback(), result));
    EXPECT_EQ(buffer.buffered(), 0U);
}

TEST(Stream_buffer, accepts_a_length_at_its_maximum) {
    const Bytes largest = message(request_header(1), Bytes(1024, 1));
    Stream_buffer buffer(8 + 1024);
    Seen seen;
    Walk_result result;
    EXPECT_TRUE(buffer.append(view_of(largest), seen.callback(), result));
    EXPECT_EQ(seen.payloads.at(0).size(), 1024U);
}

}  // namespace

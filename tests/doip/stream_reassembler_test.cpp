// The TCP reassembler: frames split across segments, several in one segment, dropped payloads
// skipped, a closing verdict ending the stream, a frame cut by the peer.

#include "host/doip/stream_reassembler.h"

#include <gtest/gtest.h>

namespace zevo::doip {
namespace {

using Kind = Stream_reassembler::Event::Kind;

Bytes diagnostic(std::uint8_t sid) { return encode_diagnostic_message(0x02, {0x0E80, 0x0010, {sid, 0x01}}); }

void append(Stream_reassembler& sut, const Bytes& bytes) { sut.append(bytes.data(), bytes.size()); }

TEST(doip_stream_reassembler, frame_split_byte_by_byte_comes_out_whole) {
    Stream_reassembler sut(Receiver::entity_tcp);
    Bytes frame = diagnostic(0x22);
    for (std::size_t i = 0; i + 1 < frame.size(); ++i) {
        sut.append(&frame[i], 1);
        EXPECT_EQ(sut.next({}).kind, Kind::need_more) << i;
    }
    sut.append(&frame.back(), 1);
    Stream_reassembler::Event event = sut.next({});
    ASSERT_EQ(event.kind, Kind::frame);
    EXPECT_EQ(event.frame.header.payload_type, 0x8001);
    EXPECT_EQ(event.frame.payload, Bytes(frame.begin() + 8, frame.end()));
    EXPECT_FALSE(sut.partial());
}

TEST(doip_stream_reassembler, coalesced_frames_come_out_one_by_one) {
    Stream_reassembler sut(Receiver::entity_tcp);
    Bytes both = diagnostic(0x10);
    Bytes second = diagnostic(0x3E);
    both.insert(both.end(), second.begin(), second.end());
    both.push_back(0x02);  // the start of a third
    append(sut, both);
    Stream_reassembler::Event first = sut.next({});
    ASSERT_EQ(first.kind, Kind::frame);
    EXPECT_EQ(first.frame.payload[4], 0x10);
    Stream_reassembler::Event next = sut.next({});
    ASSERT_EQ(next.kind, Kind::frame);
    EXPECT_EQ(next.frame.payload[4], 0x3E);
    EXPECT_EQ(sut.next({}).kind, Kind::need_more);
    EXPECT_TRUE(sut.partial());  // the peer stopped in the middle of the third
}

TEST(doip_stream_reassembler, dropped_payload_is_skipped_also_when_it_arrives_later) {
    Stream_reassembler sut(Receiver::entity_tcp);
    Bytes unknown = encode_frame(0x02, 0x1234, Bytes(10, 0xAA));
    append(sut, Bytes(unknown.begin(), unknown.begin() + 12));
    Stream_reassembler::Event rejected = sut.next({});
    ASSERT_EQ(rejected.kind, Kind::rejected);
    EXPECT_EQ(rejected.verdict.nack_code, 0x01);
    EXPECT_EQ(rejected.verdict.action, Header_verdict::Action::drop);
    Bytes rest(unknown.begin() + 12, unknown.end());
    Bytes good = diagnostic(0x22);
    rest.insert(rest.end(), good.begin(), good.end());
    append(sut, rest);
    Stream_reassembler::Event event = sut.next({});
    ASSERT_EQ(event.kind, Kind::frame);
    EXPECT_EQ(event.frame.payload[4], 0x22);
}

TEST(doip_stream_reassembler, too_large_payload_is_dropped_with_0x02) {
    Stream_reassembler sut(Receiver::entity_tcp);
    Header_limits limits;
    limits.max_payload = 6;
    append(sut, encode_diagnostic_message(0x02, {0x0E80, 0x0010, {0x22, 0xF1, 0x90}}));
    append(sut, diagnostic(0x3E));
    Stream_reassembler::Event rejected = sut.next(limits);
    ASSERT_EQ(rejected.kind, Kind::rejected);
    EXPECT_EQ(rejected.verdict.nack_code, 0x02);
    EXPECT_EQ(sut.next(limits).kind, Kind::frame);
}

TEST(doip_stream_reassembler, closing_verdict_ends_the_stream) {
    Stream_reassembler sut(Receiver::entity_tcp);
    Bytes bad = {0x02, 0xFD, 0x00, 0x05, 0, 0, 0, 1, 0x00};
    append(sut, bad);
    append(sut, diagnostic(0x22));
    Stream_reassembler::Event rejected = sut.next({});
    ASSERT_EQ(rejected.kind, Kind::rejected);
    EXPECT_EQ(rejected.verdict.nack_code, 0x04);
    EXPECT_TRUE(sut.closed());
    EXPECT_EQ(sut.next({}).kind, Kind::need_more);
}

TEST(doip_stream_reassembler, reserves_the_payload_of_the_frame_being_collected) {
    Stream_reassembler sut(Receiver::entity_tcp);
    Bytes frame = diagnostic(0x22);
    append(sut, Bytes(frame.begin(), frame.begin() + 9));
    EXPECT_EQ(sut.next({}).kind, Kind::need_more);
    EXPECT_EQ(sut.reserved(), 6u);
    EXPECT_TRUE(sut.partial());
}

}  // namespace
}  // namespace zevo::doip

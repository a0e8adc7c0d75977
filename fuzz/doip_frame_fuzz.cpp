// doip_frame_fuzz: arbitrary bytes as what a tester sends to the DoIP entity. Each input is
// (a) one datagram: its header checked for every receiver, and its payload decoded and encoded
// again where the check accepts it, which must give the same bytes; (b) a TCP stream cut at
// places the input chooses and given to the reassembler piece by piece, which must yield the
// same frames and rejections as the whole stream at once, each frame as long as its header says.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/fuzz_check.h"
#include "host/doip/stream_reassembler.h"

namespace {

using namespace zevo::doip;
using zevo::fuzz::expect;

// Decodes a checked payload and encodes it again: the frame must come back byte for byte.
void round_trip(const Header& header, const Bytes& payload, const Bytes& frame) {
    std::uint8_t v = header.version;
    switch (header.payload_type) {
        case payload_type::vehicle_announcement:
            expect(encode_vehicle_identification(v, *decode_vehicle_identification(payload)) == frame,
                   "vehicle identification round trip");
            break;
        case payload_type::routing_activation_request:
            expect(encode_routing_activation_request(v, *decode_routing_activation_request(payload)) == frame,
                   "routing activation request round trip");
            break;
        case payload_type::routing_activation_response:
            expect(encode_routing_activation_response(v, *decode_routing_activation_response(payload)) == frame,
                   "routing activation response round trip");
            break;
        case payload_type::entity_status_response:
            expect(encode_entity_status(v, *decode_entity_status(payload)) == frame, "entity status round trip");
            break;
        case payload_type::diagnostic_message:
            expect(encode_diagnostic_message(v, *decode_diagnostic_message(payload)) == frame,
                   "diagnostic message round trip");
            break;
        case payload_type::diagnostic_ack:
        case payload_type::diagnostic_nack:
            expect(encode_diagnostic_ack(v, header.payload_type, *decode_diagnostic_ack(payload)) == frame,
                   "diagnostic acknowledge round trip");
            break;
        default:
            break;
    }
}

void check_datagram(const std::uint8_t* data, std::size_t size) {
    std::optional<Header> header = decode_header(data, size);
    if (!header) return;
    for (Receiver receiver : {Receiver::entity_udp, Receiver::entity_tcp, Receiver::tester_udp, Receiver::tester_tcp}) {
        Header_verdict verdict = check_header(*header, receiver, {});
        if (!verdict.accepted()) {
            expect(verdict.nack_code <= 0x04, "a generic NACK code of the table");
            expect((verdict.action == Header_verdict::Action::close) ==
                       (verdict.nack_code == 0x00 || verdict.nack_code == 0x04),
                   "0x00 and 0x04 close, the others drop");
            continue;
        }
        expect(pattern_valid(*header) && payload_length_valid(header->payload_type, header->payload_length),
               "an accepted header has a valid pattern and length");
        if (header->payload_length != size - header_size) continue;
        Bytes payload(data + header_size, data + size);
        round_trip(*header, payload, Bytes(data, data + size));
    }
}

bool same(const Stream_reassembler::Event& a, const Stream_reassembler::Event& b) {
    if (a.kind != b.kind) return false;
    if (a.kind == Stream_reassembler::Event::Kind::frame) {
        return a.frame.header.payload_type == b.frame.header.payload_type && a.frame.payload == b.frame.payload;
    }
    return a.verdict.nack_code == b.verdict.nack_code && a.verdict.action == b.verdict.action;
}

std::vector<Stream_reassembler::Event> reassemble(const std::uint8_t* data, std::size_t size,
                                                  const std::vector<std::size_t>& cuts, const Header_limits& limits) {
    Stream_reassembler sut(Receiver::entity_tcp);
    std::vector<Stream_reassembler::Event> events;
    std::size_t start = 0;
    for (std::size_t i = 0; i <= cuts.size(); ++i) {
        std::size_t end = i < cuts.size() ? cuts[i] : size;
        sut.append(data + start, end - start);
        start = end;
        for (;;) {
            Stream_reassembler::Event event = sut.next(limits);
            if (event.kind == Stream_reassembler::Event::Kind::need_more) break;
            if (event.kind == Stream_reassembler::Event::Kind::frame) {
                expect(event.frame.payload.size() == event.frame.header.payload_length,
                       "a frame carries the payload length of its header");
                expect(check_header(event.frame.header, Receiver::entity_tcp, limits).accepted(),
                       "only accepted headers become frames");
            }
            expect(!sut.closed() || event.kind == Stream_reassembler::Event::Kind::rejected,
                   "nothing after a closing verdict");
            events.push_back(std::move(event));
        }
    }
    return events;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    check_datagram(data, size);
    if (size < 2) return 0;
    // The first byte chooses the limits, the second the cutting step; the rest is the stream.
    Header_limits limits;
    limits.max_payload = 16u + data[0] * 4u;
    limits.free_memory = 8u + (data[0] & 0x0F) * 16u;
    std::size_t step = 1 + data[1] % 13;
    const std::uint8_t* stream = data + 2;
    std::size_t length = size - 2;
    std::vector<std::size_t> cuts;
    for (std::size_t at = step; at < length; at += step + (at % 3)) cuts.push_back(at);
    std::vector<Stream_reassembler::Event> whole = reassemble(stream, length, {}, limits);
    std::vector<Stream_reassembler::Event> pieces = reassemble(stream, length, cuts, limits);
    expect(whole.size() == pieces.size(), "the same events whether the stream comes whole or in pieces");
    for (std::size_t i = 0; i < whole.size(); ++i) expect(same(whole[i], pieces[i]), "event " + std::to_string(i));
    std::size_t framed = 0;
    for (const auto& event : whole) framed += event.frame.payload.size() + header_size;
    expect(framed <= length, "no frame holds bytes that were not sent");
    return 0;
}

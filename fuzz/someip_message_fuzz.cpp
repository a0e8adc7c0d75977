// someip_message_fuzz: arbitrary bytes as what arrives on a SOME/IP socket. Each input is walked
// as a UDP datagram and fed to TCP stream buffers cut into two chunks at a place its first byte
// chooses. Every byte must be accounted for (a message, a cookie or the dropped tail), a message
// must encode back to the bytes it came from, a stream must yield the datagram's messages, a
// buffer must never hold more than its largest message, and the request checks must answer only
// an untouched REQUEST.

#include <cstddef>
#include <algorithm>
#include <cstdint>
#include <vector>

#include "com/someip/message_walker.h"
#include "com/someip/request_check.h"
#include "fuzz/fuzz_check.h"

namespace {

using namespace ruv::com::someip_binding;
using zevo::fuzz::expect;

struct Message_copy {
    Message_header header;
    Bytes payload;
    bool operator==(const Message_copy& other) const { return header == other.header && payload == other.payload; }
};

Message_callback collect(std::vector<Message_copy>& into) {
    return [&into](const Message_view& view) {
        into.push_back({view.header, Bytes(view.payload.data, view.payload.data + view.payload.size)});
    };
}

void check_requests(const std::vector<Message_copy>& messages) {
    const Served_interface served{0x4C55, 1, {0x0001, 0x0002, 0x0003}};
    for (const Message_copy& message : messages) {
        const Request_verdict verdict = check_request(message.header, &served);
        expect(!verdict.answer || (message.header.message_type == message_type::request &&
                                   message.header.return_code == wire_code::ok),
               "an answer to something that was not an untouched REQUEST");
        expect(!verdict.answer || !verdict.passed(), "an answer to a request that passed");
        const Message_header error = make_error_header(message.header, wire_code::unknown_method);
        expect(error.message_type == message_type::error && error.length == length_base, "error header");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Byte_view input{data, size};
    std::vector<Message_copy> datagram_messages;
    const Walk_result walked = walk_datagram(input, collect(datagram_messages));
    std::size_t accounted = walked.dropped_bytes + walked.cookies * header_size;
    for (const Message_copy& message : datagram_messages) {
        expect(message.header.length == length_base + message.payload.size(), "length and payload differ");
        accounted += header_size + message.payload.size();
    }
    expect(accounted == size, "bytes of the datagram not accounted for");
    // Re-encoding every message in order gives the datagram back (cookies aside).
    if (walked.cookies == 0) {
        Bytes again;
        for (const Message_copy& message : datagram_messages) {
            const Bytes encoded = encode_message(message.header, view_of(message.payload));
            again.insert(again.end(), encoded.begin(), encoded.end());
        }
        expect(std::equal(again.begin(), again.end(), data), "messages do not encode back to their bytes");
    }
    check_requests(datagram_messages);

    const std::size_t cut = size == 0 ? 0 : data[0] % (size + 1);
    std::vector<Message_copy> stream_messages;
    Stream_buffer unbounded(0xFFFFFFFF);
    Walk_result streamed;
    const bool whole = unbounded.append(input.sub(0, cut), collect(stream_messages), streamed) &&
                       unbounded.append(input.sub(cut, size - cut), collect(stream_messages), streamed);
    if (whole) {
        expect(stream_messages == datagram_messages, "the stream and the datagram differ");
        expect(unbounded.buffered() == walked.dropped_bytes, "the stream keeps other bytes than the datagram drops");
    } else {
        expect(stream_messages.size() <= datagram_messages.size(), "a broken stream gave more messages");
    }

    constexpr std::uint32_t small_maximum = 8 + 64;
    std::vector<Message_copy> bounded_messages;
    Stream_buffer bounded(small_maximum);
    Walk_result bounded_result;
    if (bounded.append(input.sub(0, cut), collect(bounded_messages), bounded_result)) {
        expect(bounded.buffered() < header_size + small_maximum, "the buffer holds more than one message");
    }
    for (const Message_copy& message : bounded_messages) {
        expect(message.header.length <= small_maximum, "a message above the maximum came through");
    }
    return 0;
}

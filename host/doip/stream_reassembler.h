#pragma once
// Cuts a TCP byte stream into DoIP frames: messages may arrive split across segments or several
// in one. Each header is checked as it completes (check_header); a dropped message's payload
// is skipped as it arrives, a closing verdict ends the stream. One reassembler per connection,
// used on one thread; nothing throws except std::bad_alloc.

#include <cstdint>
#include <deque>
#include <optional>

#include "host/doip/frame_codec.h"

namespace zevo::doip {

struct Frame {
    Header header;
    Bytes payload;
};

class Stream_reassembler {
public:
    struct Event {
        enum class Kind { need_more, frame, rejected };
        Kind kind = Kind::need_more;
        Frame frame;             // kind == frame
        Header header;           // kind == rejected: the header that failed
        Header_verdict verdict;  // kind == rejected: the NACK code and drop or close
    };

    explicit Stream_reassembler(Receiver receiver) : receiver_(receiver) {}

    // Appends received bytes. After a closing verdict further bytes are ignored.
    void append(const std::uint8_t* data, std::size_t size);

    // The next frame or rejection from what was appended, checked against `limits` (the free
    // memory given there counts the payload this call would start to buffer).
    Event next(const Header_limits& limits);

    // Bytes held for a frame not yet complete (header bytes and payload so far).
    std::size_t buffered() const { return pending_.size(); }
    // Payload bytes that the frame being collected will hold once complete (0 between frames).
    std::size_t reserved() const { return current_ ? current_->payload_length : 0; }
    // True when the peer's stream stopped in the middle of a frame (call at end of stream).
    bool partial() const { return !pending_.empty() || current_.has_value() || skip_ > 0; }
    bool closed() const { return closed_; }

private:
    Receiver receiver_;
    std::deque<std::uint8_t> pending_;   // bytes not yet consumed
    std::optional<Header> current_;      // accepted header whose payload is being collected
    std::uint64_t skip_ = 0;             // payload bytes of a dropped message still to discard
    bool closed_ = false;
};

}  // namespace zevo::doip

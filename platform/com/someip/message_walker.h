#pragma once
// Splits what arrives into SOME/IP messages by their length fields: walk_datagram for a UDP
// datagram (several messages, the rest dropped at the first that does not fit), Stream_buffer for
// a TCP connection (messages split over segments are buffered). Magic cookies are recognised and
// skipped. Used on the binding's I/O thread; not thread-safe; nothing throws but std::bad_alloc
// (and what the message callback throws).

#include <cstddef>
#include <cstdint>
#include <functional>

#include "com/someip/byte_view.h"
#include "com/someip/message_header.h"

namespace ruv::com::someip_binding {

struct Message_view {
    Message_header header;
    Byte_view payload;  ///< valid only during the callback
};

using Message_callback = std::function<void(const Message_view&)>;

/// What a walk found, for the binding's counters and its warnings.
struct Walk_result {
    std::size_t messages = 0;      ///< handed to the callback
    std::size_t cookies = 0;       ///< magic cookies skipped
    std::size_t dropped_bytes = 0; ///< the tail that held no whole message (UDP), 0 otherwise
};

/// Hands every whole message of the datagram to `on_message`, in order. The walk stops at the
/// first header that is cut short, whose length is below 8 or reaches past the datagram's end;
/// the rest of the datagram is dropped and counted in dropped_bytes.
Walk_result walk_datagram(Byte_view datagram, const Message_callback& on_message);

class Stream_buffer {
public:
    /// A length field beyond `max_length` (8 + the largest payload accepted) breaks the stream:
    /// waiting for that many bytes would only hold memory for a peer that lies.
    explicit Stream_buffer(std::uint32_t max_length) noexcept : max_length_(max_length) {}

    /// Appends a received chunk and hands every message it completes to `on_message`. False when
    /// the stream is broken (a length below 8 or above the maximum): the connection must be
    /// closed, since the next message's start cannot be found; the buffer stays broken.
    bool append(Byte_view chunk, const Message_callback& on_message, Walk_result& result);

    bool broken() const noexcept { return broken_; }
    std::size_t buffered() const noexcept { return buffer_.size(); }

private:
    const std::uint32_t max_length_;
    Bytes buffer_;       ///< the start of a message not yet complete
    bool broken_ = false;
};

}  // namespace ruv::com::someip_binding

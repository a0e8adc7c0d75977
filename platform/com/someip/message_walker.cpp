#include "com/someip/message_walker.h"

namespace ruv::com::someip_binding {
namespace {

/// Hands the message at `at` (complete, length already checked) to the callback or skips it.
void deliver(const std::uint8_t* at, const Message_header& header, const Message_callback& on_message,
             Walk_result& result) {
    if (is_magic_cookie(header)) {
        ++result.cookies;
        return;
    }
    ++result.messages;
    on_message(Message_view{header, Byte_view{at + header_size, header.length - length_base}});
}

}  // namespace

Walk_result walk_datagram(Byte_view datagram, const Message_callback& on_message) {
    Walk_result result;
    std::size_t offset = 0;
    while (offset < datagram.size) {
        const std::size_t left = datagram.size - offset;
        if (left < header_size) {
            break;
        }
        const Message_header header = read_header(datagram.data + offset);
        // Compared in 64 bits: the length field may be anything up to 0xFFFFFFFF.
        if (header.length < length_base || std::uint64_t{header.length} + length_base > left) {
            break;
        }
        deliver(datagram.data + offset, header, on_message, result);
        offset += std::size_t{header.length} + length_base;
    }
    result.dropped_bytes = datagram.size - offset;
    return result;
}

bool Stream_buffer::append(Byte_view chunk, const Message_callback& on_message, Walk_result& result) {
    if (broken_) {
        return false;
    }
    buffer_.insert(buffer_.end(), chunk.data, chunk.data + chunk.size);
    std::size_t offset = 0;
    while (buffer_.size() - offset >= header_size) {
        const Message_header header = read_header(buffer_.data() + offset);
        if (header.length < length_base || header.length > max_length_) {
            broken_ = true;
            buffer_.clear();
            return false;
        }
        const std::size_t whole = std::size_t{header.length} + length_base;
        if (buffer_.size() - offset < whole) {
            break;
        }
        deliver(buffer_.data() + offset, header, on_message, result);
        offset += whole;
    }
    buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(offset));
    return true;
}

}  // namespace ruv::com::someip_binding

#include "host/doip/stream_reassembler.h"

#include <algorithm>
#include <iterator>

namespace zevo::doip {

void Stream_reassembler::append(const std::uint8_t* data, std::size_t size) {
    if (closed_) return;
    std::size_t skipped = static_cast<std::size_t>(std::min<std::uint64_t>(skip_, size));
    skip_ -= skipped;
    pending_.insert(pending_.end(), data + skipped, data + size);
}

Stream_reassembler::Event Stream_reassembler::next(const Header_limits& limits) {
    Event event;
    if (closed_) return event;
    if (skip_ > 0) {  // bytes appended before a drop verdict was taken
        std::size_t skipped = static_cast<std::size_t>(std::min<std::uint64_t>(skip_, pending_.size()));
        pending_.erase(pending_.begin(), pending_.begin() + static_cast<std::ptrdiff_t>(skipped));
        skip_ -= skipped;
        if (skip_ > 0) return event;
    }
    if (!current_) {
        if (pending_.size() < header_size) return event;
        std::uint8_t raw[header_size];
        std::copy_n(pending_.begin(), header_size, raw);
        Header header = *decode_header(raw, header_size);
        Header_verdict verdict = check_header(header, receiver_, limits);
        pending_.erase(pending_.begin(), pending_.begin() + header_size);
        if (!verdict.accepted()) {
            event.kind = Event::Kind::rejected;
            event.header = header;
            event.verdict = verdict;
            if (verdict.action == Header_verdict::Action::close) {
                closed_ = true;
                pending_.clear();
            } else {
                skip_ = header.payload_length;
                std::size_t skipped = static_cast<std::size_t>(std::min<std::uint64_t>(skip_, pending_.size()));
                pending_.erase(pending_.begin(), pending_.begin() + static_cast<std::ptrdiff_t>(skipped));
                skip_ -= skipped;
            }
            return event;
        }
        current_ = header;
    }
    if (pending_.size() < current_->payload_length) return event;
    auto end = pending_.begin() + static_cast<std::ptrdiff_t>(current_->payload_length);
    event.kind = Event::Kind::frame;
    event.frame.header = *current_;
    event.frame.payload.assign(pending_.begin(), end);
    pending_.erase(pending_.begin(), end);
    current_.reset();
    return event;
}

}  // namespace zevo::doip

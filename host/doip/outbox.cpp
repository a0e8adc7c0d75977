#include "host/doip/outbox.h"

#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <array>
#include <cerrno>

namespace zevo::doip {

Outbox::Outbox(int descriptor, std::size_t max_waiting, const Clock& clock, Notify notify)
    : descriptor_(descriptor), max_waiting_(max_waiting), clock_(clock), notify_(std::move(notify)) {}

bool Outbox::send(Bytes frame) {
    const std::lock_guard<std::mutex> lock(mutex_);
    return send_locked(std::move(frame));
}

bool Outbox::send_answer(Bytes frame) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!accepting_) return false;
    note_activity(clock_.now());
    return send_locked(std::move(frame));
}

bool Outbox::send_locked(Bytes frame) {
    if (!accepting_) return false;
    waiting_bytes_ += frame.size();
    waiting_.push_back(std::move(frame));
    // Behind what the kernel would not take the frame waits for the I/O thread's flush().
    if (!blocked_ && !corked_) write_locked();
    if (!accepting_) return false;  // the connection broke
    if (waiting_bytes_ > max_waiting_) {  // this frame will not go out: the connection is reset
        accepting_ = false;
        notify_(Need::reset_slow_reader);
        return false;
    }
    return true;
}

void Outbox::write_locked() {
    switch (write_waiting_locked()) {
        case Written::all:
            break;
        case Written::blocked:
            blocked_ = true;
            notify_(Need::wait_writable);
            break;
        case Written::broken:
            accepting_ = false;
            notify_(Need::close_broken);
            break;
    }
}

void Outbox::cork() {
    const std::lock_guard<std::mutex> lock(mutex_);
    corked_ = true;
}

void Outbox::uncork() {
    const std::lock_guard<std::mutex> lock(mutex_);
    corked_ = false;
    if (!blocked_ && descriptor_ >= 0) write_locked();
}

Outbox::Written Outbox::write_waiting_locked() {
    constexpr std::size_t most_frames = 16;
    while (!waiting_.empty()) {
        if (descriptor_ < 0) return Written::broken;
        // The waiting frames in one write: the tester gets them in one segment.
        std::array<iovec, most_frames> parts{};
        std::size_t count = 0;
        for (auto frame = waiting_.begin(); frame != waiting_.end() && count < most_frames; ++frame, ++count) {
            const std::size_t skip = count == 0 ? front_written_ : 0;
            parts[count].iov_base = const_cast<std::uint8_t*>(frame->data() + skip);
            parts[count].iov_len = frame->size() - skip;
        }
        msghdr message{};
        message.msg_iov = parts.data();
        message.msg_iovlen = count;
        // MSG_DONTWAIT: never blocks the sending thread, whatever the descriptor's mode;
        // MSG_NOSIGNAL: a tester gone is an error here, not SIGPIPE.
        const ssize_t sent = ::sendmsg(descriptor_, &message, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (sent < 0) {
            if (errno == EINTR) continue;
            if (errno == EAGAIN || errno == EWOULDBLOCK) return Written::blocked;
            return Written::broken;
        }
        if (sent == 0) return Written::blocked;
        for (auto left = static_cast<std::size_t>(sent); left > 0;) {
            const std::size_t rest = waiting_.front().size() - front_written_;
            if (left < rest) {
                front_written_ += left;
                break;
            }
            left -= rest;
            waiting_bytes_ -= waiting_.front().size();
            waiting_.pop_front();
            front_written_ = 0;
        }
    }
    return Written::all;
}

Outbox::Flushed Outbox::flush() {
    const std::lock_guard<std::mutex> lock(mutex_);
    switch (write_waiting_locked()) {
        case Written::all:
            blocked_ = false;
            return Flushed::all;
        case Written::blocked:
            return Flushed::waiting;
        case Written::broken:
            break;
    }
    accepting_ = false;
    return Flushed::broken;
}

void Outbox::stop_accepting() {
    const std::lock_guard<std::mutex> lock(mutex_);
    accepting_ = false;
}

bool Outbox::empty() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return waiting_.empty();
}

bool Outbox::delivered() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!waiting_.empty()) return false;
    if (descriptor_ < 0) return true;
    int unacknowledged = 0;  // the kernel's send queue: bytes not yet acknowledged, and the FIN
    if (::ioctl(descriptor_, SIOCOUTQ, &unacknowledged) != 0) return false;
    return unacknowledged == 0;
}

void Outbox::release() {
    const std::lock_guard<std::mutex> lock(mutex_);
    accepting_ = false;
    descriptor_ = -1;
    waiting_.clear();
    waiting_bytes_ = 0;
    front_written_ = 0;
}

}  // namespace zevo::doip

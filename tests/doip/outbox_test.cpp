// The outbox on a real TCP connection over 127.0.0.1: a frame sent from any thread is written
// at once, without the I/O thread; what the kernel does not take waits in order until flush();
// frames held while corked; the limit of what may wait, a broken connection, and nothing
// written once stopped.

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <mutex>
#include <thread>
#include <vector>

#include "host/doip/manual_clock.h"
#include "host/doip/outbox.h"

namespace zevo::doip::testing {
namespace {

// A connected pair of TCP sockets on 127.0.0.1 with small buffers, closed at the end.
class Socket_pair {
public:
    Socket_pair() {
        const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        const int small = 4096;
        sender_ = ::socket(AF_INET, SOCK_STREAM, 0);
        ::setsockopt(sender_, SOL_SOCKET, SO_SNDBUF, &small, sizeof small);
        const bool connected =
            ::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 && ::listen(listener, 1) == 0 &&
            ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length) == 0 &&
            ::connect(sender_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
        receiver_ = connected ? ::accept(listener, nullptr, nullptr) : -1;
        ::setsockopt(receiver_, SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
        ::close(listener);
    }
    ~Socket_pair() {
        ::close(sender_);
        if (receiver_ >= 0) ::close(receiver_);
    }
    Socket_pair(const Socket_pair&) = delete;
    Socket_pair& operator=(const Socket_pair&) = delete;

    int sender() const { return sender_; }
    bool connected() const { return receiver_ >= 0; }

    // Reads exactly `size` bytes, each wait bounded by 2 s; fewer when none came in time.
    Bytes receive(std::size_t size) {
        Bytes bytes;
        std::uint8_t chunk[4096];
        while (bytes.size() < size) {
            pollfd entry{receiver_, POLLIN, 0};
            if (::poll(&entry, 1, 2000) <= 0) break;
            const ssize_t n = ::recv(receiver_, chunk, std::min(sizeof chunk, size - bytes.size()), 0);
            if (n <= 0) break;
            bytes.insert(bytes.end(), chunk, chunk + n);
        }
        return bytes;
    }
    // Whatever has arrived, without waiting.
    Bytes receive_available() {
        Bytes bytes;
        std::uint8_t chunk[4096];
        for (;;) {
            const ssize_t n = ::recv(receiver_, chunk, sizeof chunk, MSG_DONTWAIT);
            if (n <= 0) return bytes;
            bytes.insert(bytes.end(), chunk, chunk + n);
        }
    }
    void reset_receiver() {
        const linger hard{1, 0};
        ::setsockopt(receiver_, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
        ::close(receiver_);
        receiver_ = -1;
    }

private:
    int sender_ = -1;
    int receiver_ = -1;
};

// The needs an outbox reported, in order. Thread-safe.
class Needs {
public:
    Outbox::Notify notify() {
        return [this](Outbox::Need need) {
            const std::lock_guard<std::mutex> lock(mutex_);
            seen_.push_back(need);
        };
    }
    std::vector<Outbox::Need> seen() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return seen_;
    }

private:
    mutable std::mutex mutex_;
    std::vector<Outbox::Need> seen_;  ///< guarded by mutex_
};

Bytes frame_of(std::size_t size, std::uint8_t fill) { return Bytes(size, fill); }

class doip_outbox : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(pair_.connected()); }

    // Sends 1000-byte frames numbered from 0 until the kernel takes no more (bounded); their
    // bytes, in order, are appended to `sent`.
    void fill_kernel(Outbox& sut, Bytes& sent) {
        for (int number = 0; number < 10000 && needs_.seen().empty(); ++number) {
            Bytes frame = frame_of(1000, static_cast<std::uint8_t>(number));
            sent.insert(sent.end(), frame.begin(), frame.end());
            ASSERT_TRUE(sut.send(std::move(frame)));
        }
        ASSERT_EQ(needs_.seen(), std::vector<Outbox::Need>{Outbox::Need::wait_writable});
    }

    Socket_pair pair_;
    Manual_clock clock_;
    Needs needs_;
};

TEST_F(doip_outbox, a_frame_sent_from_another_thread_is_written_at_once) {
    Outbox sut(pair_.sender(), 1 << 20, clock_, needs_.notify());
    bool sent = false;
    std::thread([&] { sent = sut.send_answer({0x02, 0xFD, 0x80, 0x01}); }).join();
    EXPECT_TRUE(sent);
    EXPECT_EQ(pair_.receive(4), (Bytes{0x02, 0xFD, 0x80, 0x01}));
    EXPECT_TRUE(needs_.seen().empty());  // nothing asked of the I/O thread
    EXPECT_TRUE(sut.empty());
    EXPECT_EQ(sut.last_activity(), clock_.now());  // an answer counts as activity
}

TEST_F(doip_outbox, frames_the_kernel_does_not_take_wait_in_order_until_flush) {
    Outbox sut(pair_.sender(), 1 << 20, clock_, needs_.notify());
    Bytes sent;
    fill_kernel(sut, sent);
    for (std::uint8_t later = 0xA0; later < 0xA4; ++later) {  // behind the waiting ones
        Bytes frame = frame_of(700, later);
        sent.insert(sent.end(), frame.begin(), frame.end());
        ASSERT_TRUE(sut.send(std::move(frame)));
    }
    EXPECT_FALSE(sut.empty());
    EXPECT_FALSE(sut.delivered());
    EXPECT_EQ(needs_.seen().size(), 1u);  // one wait for writability, not one per frame
    Bytes received;
    Outbox::Flushed flushed = Outbox::Flushed::waiting;
    for (int round = 0; round < 100000 && flushed == Outbox::Flushed::waiting; ++round) {
        Bytes arrived = pair_.receive(1);  // waits (bounded) for the next byte
        ASSERT_FALSE(arrived.empty());
        received.insert(received.end(), arrived.begin(), arrived.end());
        arrived = pair_.receive_available();
        received.insert(received.end(), arrived.begin(), arrived.end());
        flushed = sut.flush();
    }
    ASSERT_EQ(flushed, Outbox::Flushed::all);
    EXPECT_TRUE(sut.empty());
    Bytes rest = pair_.receive(sent.size() - received.size());
    received.insert(received.end(), rest.begin(), rest.end());
    EXPECT_EQ(received, sent);
}

TEST_F(doip_outbox, more_than_the_limit_waiting_refuses_every_later_frame) {
    Outbox sut(pair_.sender(), 4096, clock_, needs_.notify());
    Bytes sent;
    fill_kernel(sut, sent);
    // Less than 1000 bytes of the last frame wait; the fifth 1000 bytes more are above the limit.
    int taken = 0;
    while (taken < 10 && sut.send(frame_of(1000, 0xEE))) ++taken;
    EXPECT_GE(taken, 3);
    EXPECT_LE(taken, 4);
    EXPECT_EQ(needs_.seen(), (std::vector<Outbox::Need>{Outbox::Need::wait_writable, Outbox::Need::reset_slow_reader}));
    EXPECT_FALSE(sut.send({0x01}));
}

TEST_F(doip_outbox, frames_sent_while_corked_are_written_together_at_uncork) {
    Outbox sut(pair_.sender(), 1 << 20, clock_, needs_.notify());
    sut.cork();
    EXPECT_TRUE(sut.send({0x01, 0x02}));
    bool answered = false;
    std::thread([&] { answered = sut.send_answer({0x03}); }).join();
    EXPECT_TRUE(answered);
    EXPECT_TRUE(pair_.receive_available().empty());
    EXPECT_FALSE(sut.empty());
    sut.uncork();
    EXPECT_TRUE(sut.empty());
    EXPECT_EQ(pair_.receive(3), (Bytes{0x01, 0x02, 0x03}));
    EXPECT_TRUE(needs_.seen().empty());
}

TEST_F(doip_outbox, nothing_is_written_after_stop_accepting_or_release) {
    Outbox sut(pair_.sender(), 1 << 20, clock_, needs_.notify());
    sut.stop_accepting();
    EXPECT_FALSE(sut.send({0x01}));
    EXPECT_FALSE(sut.send_answer({0x02}));
    sut.release();
    EXPECT_FALSE(sut.send({0x03}));
    EXPECT_TRUE(pair_.receive_available().empty());
    EXPECT_TRUE(needs_.seen().empty());
}

TEST_F(doip_outbox, frames_waiting_at_stop_accepting_still_go_out) {
    Outbox sut(pair_.sender(), 1 << 20, clock_, needs_.notify());
    Bytes sent;
    fill_kernel(sut, sent);
    sut.stop_accepting();
    EXPECT_FALSE(sut.send(frame_of(10, 0xFF)));
    Bytes received;
    Outbox::Flushed flushed = Outbox::Flushed::waiting;
    for (int round = 0; round < 100000 && flushed == Outbox::Flushed::waiting; ++round) {
        Bytes arrived = pair_.receive(1);
        ASSERT_FALSE(arrived.empty());
        received.insert(received.end(), arrived.begin(), arrived.end());
        flushed = sut.flush();
    }
    ASSERT_EQ(flushed, Outbox::Flushed::all);
    Bytes rest = pair_.receive(sent.size() - received.size());
    received.insert(received.end(), rest.begin(), rest.end());
    EXPECT_EQ(received, sent);
}

TEST_F(doip_outbox, a_write_to_a_peer_that_reset_reports_a_broken_connection) {
    Outbox sut(pair_.sender(), 1 << 20, clock_, needs_.notify());
    pair_.reset_receiver();
    // The reset has reached the sender once a write fails; a first write may still be taken.
    bool sent = true;
    for (int attempt = 0; attempt < 2 && sent; ++attempt) sent = sut.send({0x01, 0x02});
    EXPECT_FALSE(sent);
    EXPECT_EQ(needs_.seen(), std::vector<Outbox::Need>{Outbox::Need::close_broken});
    EXPECT_FALSE(sut.send({0x03}));
}

}  // namespace
}  // namespace zevo::doip::testing

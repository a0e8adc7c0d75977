// The threads a call over SOME/IP passes: the request leaves from the caller's thread (UDP, and
// TCP once connected) and the server's answer from the thread of the provider, both while the
// I/O thread is held busy; the response handler runs on the client's I/O thread; a TCP request
// larger than what the send buffer takes now stays whole and ahead of the next one.

#include <gtest/gtest.h>

#include <netinet/in.h>
#include <sys/socket.h>

#include <chrono>
#include <future>
#include <memory>
#include <thread>
#include <vector>

#include <asio/post.hpp>

#include "someip_calls_fixture.h"
#include "wire_samples.h"

namespace {

using namespace std::chrono_literals;
using ruv::com::someip_binding::Message_header;
using ruv::com::someip_binding::encode_message;
using ruv::com::someip_binding::read_header;
using zevo::test::Handler_probe;
using zevo::test::payload_of;
using zevo::test::ready;
using zevo::test::Someip_calls;
using zevo::test::someip_wire::Raw_peer;

/// Keeps an I/O thread inside one task until destroyed (at most 10 s), so that nothing else of
/// it runs meanwhile.
class Io_thread_held {
public:
    explicit Io_thread_held(ruv::com::someip_binding::Io_thread& io) {
        std::promise<void> entered;
        std::future<void> inside = entered.get_future();
        asio::post(io.context(), [entered = std::move(entered), released = released_]() mutable {
            entered.set_value();
            static_cast<void>(released.wait_for(10s));
        });
        held_ = ready(inside);
    }
    ~Io_thread_held() { release_.set_value(); }
    Io_thread_held(const Io_thread_held&) = delete;
    Io_thread_held& operator=(const Io_thread_held&) = delete;

    bool held() const { return held_; }

private:
    std::promise<void> release_;
    std::shared_future<void> released_ = release_.get_future().share();
    bool held_ = false;
};

/// The id of the thread that runs the I/O thread's tasks.
std::thread::id io_thread_id(ruv::com::someip_binding::Io_thread& io) {
    std::promise<std::thread::id> ran;
    std::future<std::thread::id> id = ran.get_future();
    asio::post(io.context(), [&ran] { ran.set_value(std::this_thread::get_id()); });
    return ready(id) ? id.get() : std::thread::id();
}

/// A TCP listener on 127.0.0.1 that accepts one connection, bounded by 5 s.
class Raw_listener {
public:
    /// `receive_buffer` > 0 makes the accepted socket's receive buffer that small.
    explicit Raw_listener(int receive_buffer = 0) : socket_(SOCK_STREAM) {
        if (receive_buffer > 0) {
            ::setsockopt(socket_.fd(), SOL_SOCKET, SO_RCVBUF, &receive_buffer, sizeof receive_buffer);
        }
        ::listen(socket_.fd(), 1);
    }
    ~Raw_listener() {
        if (accepted_ >= 0) ::close(accepted_);
    }
    Raw_listener(const Raw_listener&) = delete;
    Raw_listener& operator=(const Raw_listener&) = delete;

    std::uint16_t port() const { return socket_.port(); }

    bool accept() {
        accepted_ = ::accept(socket_.fd(), nullptr, nullptr);
        if (accepted_ < 0) return false;
        timeval bound{5, 0};
        ::setsockopt(accepted_, SOL_SOCKET, SO_RCVTIMEO, &bound, sizeof bound);
        return true;
    }

    /// Exactly `count` bytes of the accepted stream, or nothing.
    std::optional<std::vector<std::uint8_t>> receive_exactly(std::size_t count) {
        return zevo::test::someip_wire::receive_exactly_from(accepted_, count);
    }

    /// Answers a request read from the stream with an empty RESPONSE.
    void answer(Message_header request) {
        request.message_type = 0x80;
        const std::vector<std::uint8_t> bytes = encode_message(request, {});
        ::send(accepted_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    }

    /// The next whole SOME/IP message of the accepted stream: its header and payload.
    std::optional<std::pair<Message_header, std::vector<std::uint8_t>>> receive_message() {
        const auto header_bytes = receive_exactly(16);
        if (!header_bytes) return std::nullopt;
        const Message_header header = read_header(header_bytes->data());
        const auto payload = receive_exactly(header.length - 8);
        if (!payload) return std::nullopt;
        return std::make_pair(header, *payload);
    }

private:
    Raw_peer socket_;  ///< bound with a 5 s receive bound, which accept keeps too
    int accepted_ = -1;
};

TEST_F(Someip_calls, a_udp_request_leaves_from_the_callers_thread_while_the_io_thread_is_busy) {
    Raw_peer peer(SOCK_DGRAM);
    Remote_target raw = target(Transport::udp);
    raw.port = peer.port();
    Remote_service service(client, runtime, raw);
    const Io_thread_held busy(io);
    ASSERT_TRUE(busy.held());
    Handler_probe probe;
    service.call(1, payload_of({4, 5}), probe.handler());
    const auto request = peer.receive();
    ASSERT_TRUE(request) << "the request waited for the I/O thread";
    EXPECT_EQ(request->size(), 18U);
    EXPECT_EQ(read_header(request->data()).method_id, 0x0002);
}

TEST_F(Someip_calls, a_tcp_request_on_an_open_connection_leaves_while_the_io_thread_is_busy) {
    Raw_listener listener;
    Remote_target raw = target(Transport::tcp);
    raw.port = listener.port();
    Remote_service service(client, runtime, raw);
    Handler_probe first;
    service.call(1, payload_of({1}), first.handler());  // opens the connection, on the I/O thread
    ASSERT_TRUE(listener.accept());
    const auto opening = listener.receive_message();
    ASSERT_TRUE(opening);
    // Its answer is read after the I/O thread has seen its write done: the connection is idle.
    listener.answer(opening->first);
    ASSERT_TRUE(ready(first.response));
    const Io_thread_held busy(io);
    ASSERT_TRUE(busy.held());
    Handler_probe second;
    service.call(2, payload_of({2, 2}), second.handler());
    const auto request = listener.receive_message();
    ASSERT_TRUE(request) << "the request waited for the I/O thread";
    EXPECT_EQ(request->first.method_id, 0x0003);
    EXPECT_EQ(request->second, (std::vector<std::uint8_t>{2, 2}));
}

TEST_F(Someip_calls, the_response_handler_runs_on_the_clients_io_thread) {
    const std::thread::id io_id = io_thread_id(io);
    for (Transport transport : {Transport::udp, Transport::tcp}) {
        const zevo::test::Response response = call_answered(transport, 0, {3});
        EXPECT_EQ(response.code, 0);
        EXPECT_EQ(response.thread, io_id);
    }
}

TEST_F(Someip_calls, the_server_answers_over_udp_from_the_providers_thread_while_the_io_thread_is_busy) {
    Raw_peer peer(SOCK_DGRAM);
    Message_header header = zevo::test::someip_wire::request_header(0x0002);
    header.service_id = zevo::test::someip_calls::service_id;
    peer.send_to(encode_message(header, {}), udp_port);
    auto received = inbox.next();
    ASSERT_TRUE(received);
    const Io_thread_held busy(io);
    ASSERT_TRUE(busy.held());
    received->reply.answer(0, {6});
    const auto answer = peer.receive();
    ASSERT_TRUE(answer) << "the answer waited for the I/O thread";
    ASSERT_EQ(answer->size(), 17U);
    EXPECT_EQ(read_header(answer->data()).message_type, 0x80);
    EXPECT_EQ(answer->back(), 6);
}

TEST_F(Someip_calls, the_server_answers_over_tcp_from_the_providers_thread_while_the_io_thread_is_busy) {
    Raw_peer peer(SOCK_STREAM);
    peer.connect(tcp_port);
    Message_header header = zevo::test::someip_wire::request_header(0x0002);
    header.service_id = zevo::test::someip_calls::service_id;
    peer.send(encode_message(header, {}));
    auto received = inbox.next();
    ASSERT_TRUE(received);
    const Io_thread_held busy(io);
    ASSERT_TRUE(busy.held());
    received->reply.answer(2, {0x22});
    const auto answer = peer.receive_exactly(17);
    ASSERT_TRUE(answer) << "the answer waited for the I/O thread";
    EXPECT_EQ(read_header(answer->data()).return_code, 0x21);
    EXPECT_EQ(answer->back(), 0x22);
}

// The peer reads nothing until both requests are sent, through a small receive window: the send
// buffer takes only part of the first, whose rest the I/O thread writes before the second.
TEST_F(Someip_calls, a_tcp_request_beyond_the_send_buffer_stays_whole_and_ahead_of_the_next) {
    Raw_listener listener(4096);
    Remote_target raw = target(Transport::tcp);
    raw.port = listener.port();
    Remote_service service(client, runtime, raw);
    Handler_probe opening;
    service.call(0, payload_of({}), opening.handler());
    ASSERT_TRUE(listener.accept());
    const auto opening_request = listener.receive_message();
    ASSERT_TRUE(opening_request);
    listener.answer(opening_request->first);
    ASSERT_TRUE(ready(opening.response));
    std::vector<std::uint8_t> large(8 << 20);  // beyond what the kernel buffers for an idle peer
    for (std::size_t index = 0; index < large.size(); ++index) large[index] = static_cast<std::uint8_t>(index * 7);
    Handler_probe first;
    Handler_probe second;
    service.call(1, payload_of(large), first.handler());
    service.call(2, payload_of({9}), second.handler());
    const auto one = listener.receive_message();
    ASSERT_TRUE(one);
    EXPECT_EQ(one->first.method_id, 0x0002);
    EXPECT_TRUE(one->second == large) << "the large request arrived changed";
    const auto two = listener.receive_message();
    ASSERT_TRUE(two);
    EXPECT_EQ(two->first.method_id, 0x0003);
    EXPECT_EQ(two->first.session_id, static_cast<std::uint16_t>(one->first.session_id + 1));
    EXPECT_EQ(two->second, std::vector<std::uint8_t>{9});
}

}  // namespace

#pragma once
// One tester's TCP connection to the entity: reads and reassembles frames, queues frames to
// send (one write at a time), closes at once or after what is queued has gone out, and owns
// the connection's timer and the gate through which replies from other threads reach it.
// Everything but the gate runs on the entity's I/O thread.

#include <asio/ip/tcp.hpp>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "host/doip/clock.h"
#include "host/doip/stream_reassembler.h"

namespace zevo::doip {

class Connection;

// What a connection reports to its owner, on the I/O thread.
class Connection_events {
public:
    virtual ~Connection_events() = default;
    virtual Header_limits limits_for(const Connection& connection) = 0;
    virtual void on_frame(Connection& connection, Frame frame) = 0;
    virtual void on_rejected(Connection& connection, const Header& header, Header_verdict verdict) = 0;
    // Once, when the connection stops carrying messages (closed by either side).
    virtual void on_closed(Connection& connection, const std::string& reason) = 0;
};

// Lets other threads hand work to a live connection. Thread-safe.
class Reply_gate {
public:
    Reply_gate(asio::io_context& io, std::weak_ptr<Connection> connection) : io_(io), connection_(std::move(connection)) {}
    // Runs `work` on the I/O thread if the connection is still open then; false if it is closed now.
    bool post(std::function<void(Connection&)> work);
    void shut();

private:
    std::mutex mutex_;
    bool open_ = true;  ///< guarded by mutex_
    asio::io_context& io_;
    std::weak_ptr<Connection> connection_;
};

class Connection : public std::enable_shared_from_this<Connection> {
public:
    // How long frames queued before a close may still take to go out; then the socket closes.
    static constexpr std::chrono::seconds close_linger{2};

    Connection(asio::ip::tcp::socket socket, std::uint64_t id, Connection_events& events, Clock& clock,
               std::size_t max_send_queue);

    void start();
    // Queues a frame; a tester that lets more than max_send_queue bytes pile up is closed.
    void send(Bytes frame);
    // Stops reading and closes once the queued frames are written (at most close_linger later,
    // so that a tester that does not read cannot hold the socket).
    void close_after_send(const std::string& reason);
    // Closes now; queued frames are dropped.
    void close(const std::string& reason);
    bool open() const { return !closing_; }

    std::uint64_t id() const { return id_; }
    const std::string& peer() const { return peer_; }
    Timer& timer() { return *timer_; }
    const std::shared_ptr<Reply_gate>& gate() const { return gate_; }
    std::size_t buffered() const { return reassembler_.buffered() + reassembler_.reserved(); }

    // State kept by the entity (I/O thread only).
    std::optional<std::uint16_t> source;          // the activated tester address
    std::uint8_t version = version::iso_2012;    // of the last routing activation request
    Time_point connected_at{};
    Time_point last_activity{};
    std::optional<Time_point> alive_check_deadline;

private:
    void read();
    void write();
    // No more reading, timers or replies; the socket is left to the caller.
    void stop_serving();
    void reset_on_close();

    asio::ip::tcp::socket socket_;
    std::uint64_t id_;
    Connection_events& events_;
    Clock& clock_;
    std::unique_ptr<Timer> timer_;
    std::size_t max_send_queue_;
    std::string peer_;
    Stream_reassembler reassembler_{Receiver::entity_tcp};
    std::array<std::uint8_t, 4096> read_buffer_{};
    std::deque<Bytes> queue_;
    std::size_t queued_bytes_ = 0;
    bool writing_ = false;
    bool closing_ = false;  // no more reading; the socket closes when the queue is empty
    std::shared_ptr<Reply_gate> gate_;
};

}  // namespace zevo::doip

#pragma once
// One tester's TCP connection to the entity: reads and reassembles frames, sends through its
// Outbox (which other threads may use too, for replies), closes at once or after what was sent
// has reached the tester, and owns the connection's timer. Everything but the outbox runs on
// the entity's I/O thread.

#include <array>
#include <asio/ip/tcp.hpp>
#include <memory>
#include <optional>
#include <string>

#include "host/doip/clock.h"
#include "host/doip/outbox.h"
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

class Connection : public std::enable_shared_from_this<Connection> {
public:
    // How long what was sent before a close may still take to reach the tester; then the
    // connection is reset.
    static constexpr std::chrono::seconds close_linger{2};

    Connection(asio::ip::tcp::socket socket, std::uint64_t id, Connection_events& events, Clock& clock,
               std::size_t max_send_queue);

    void start();
    // Sends a frame (written at once unless earlier ones still wait); a tester that lets more
    // than max_send_queue bytes pile up is reset and closed.
    void send(Bytes frame);
    // Serves no more and sends nothing new; what was sent goes out, followed by a FIN. The
    // socket closes when the tester has taken it all and closes its side, or close_linger
    // after this call: then with a reset if the tester has not taken it all, so that a
    // tester that does not read cannot hold the socket. Reports on_closed at once.
    void close_after_send(const std::string& reason);
    // Closes now; frames still waiting are dropped (a lingering connection whose tester has
    // not taken everything is reset).
    void close(const std::string& reason);
    bool open() const { return state_ == State::open; }
    // The socket is closed (a lingering connection is neither open nor closed).
    bool closed() const { return state_ == State::closed; }

    std::uint64_t id() const { return id_; }
    const std::string& peer() const { return peer_; }
    Timer& timer() { return *timer_; }
    // For replies from other threads; outlives the connection as long as they hold it.
    const std::shared_ptr<Outbox>& outbox() const { return outbox_; }
    std::size_t buffered() const { return reassembler_.buffered() + reassembler_.reserved(); }
    // The tester's last message or answer (after start()).
    Time_point last_activity() const { return outbox_->last_activity(); }
    void note_activity(Time_point at) { outbox_->note_activity(at); }

    // State kept by the entity (I/O thread only).
    std::optional<std::uint16_t> source;          // the activated tester address
    std::uint8_t version = version::iso_2012;    // of the last routing activation request
    Time_point connected_at{};
    std::optional<Time_point> alive_check_deadline;
    std::optional<Time_point> timer_deadline;  // when timer() fires for the entity's deadlines

private:
    enum class State {
        open,       // serving
        lingering,  // after close_after_send: what was sent drains, what comes in is dropped
        closed,
    };

    void read();
    void on_outbox(Outbox::Need need);
    void wait_writable();
    // What was sent has left the outbox: a lingering connection now sends its FIN.
    void sent_all();
    void end_linger();
    // Closes the socket; with a reset, what the kernel still holds for the tester is dropped.
    void close_socket(bool reset);

    asio::ip::tcp::socket socket_;
    std::uint64_t id_;
    Connection_events& events_;
    Clock& clock_;
    std::unique_ptr<Timer> timer_;
    std::size_t max_send_queue_;
    std::string peer_;
    Stream_reassembler reassembler_{Receiver::entity_tcp};
    std::array<std::uint8_t, 4096> read_buffer_{};
    State state_ = State::open;
    std::shared_ptr<Outbox> outbox_;  // made by start(), which knows the connection's owner
};

}  // namespace zevo::doip

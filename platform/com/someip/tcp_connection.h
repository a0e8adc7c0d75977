#pragma once
// One TCP connection of the SOME/IP binding, client or server side, on the node's I/O thread:
// TCP_NODELAY, a read loop that splits the stream into messages (a stream with a length out of
// range is closed), and a write queue that keeps the messages in order. send and close may be
// called from any thread; the callbacks run on the I/O thread, on_closed exactly once.

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <system_error>

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>

#include "com/someip/binding_log.h"
#include "com/someip/message_walker.h"

namespace ruv::com::someip_binding {

class Tcp_connection : public std::enable_shared_from_this<Tcp_connection> {
public:
    using On_message = std::function<void(const Message_view& message, Tcp_connection& connection)>;
    /// `error` is empty for a close of our own.
    using On_closed = std::function<void(Tcp_connection& connection, const std::error_code& error)>;

    /// The largest message taken: its length field is at most 8 + this.
    static constexpr std::uint32_t max_payload = 1U << 20;

    Tcp_connection(asio::ip::tcp::socket socket, Binding_log& log) noexcept;

    /// Connects to `remote` from `local_address` (port any), then starts like start. A failed
    /// connect closes with its error. Any thread.
    void connect(const asio::ip::tcp::endpoint& local, const asio::ip::tcp::endpoint& remote,
                 On_message on_message, On_closed on_closed);

    /// Starts reading a connected socket. Any thread.
    void start(On_message on_message, On_closed on_closed);

    /// Queues one message; written after those before it. After close it is dropped.
    void send(std::shared_ptr<const Bytes> message);

    /// Closes the connection (on_closed with an empty error), once.
    void close();

    /// Set once the connect has succeeded; I/O thread only.
    bool connected() const noexcept { return connected_; }

    const asio::ip::tcp::endpoint& remote() const noexcept { return remote_; }

private:
    void begin();
    void read();
    void write();
    void end(const std::error_code& error);

    asio::ip::tcp::socket socket_;
    Binding_log& log_;
    On_message on_message_;      ///< set before the loop starts, then I/O thread only
    On_closed on_closed_;        ///< I/O thread only; cleared when called
    asio::ip::tcp::endpoint remote_;
    bool connected_ = false;     ///< I/O thread only
    bool closed_ = false;        ///< I/O thread only
    bool writing_ = false;       ///< I/O thread only
    std::deque<std::shared_ptr<const Bytes>> queue_;  ///< I/O thread only
    Stream_buffer stream_{length_base + max_payload};  ///< I/O thread only
    Bytes buffer_ = Bytes(65536);                      ///< I/O thread only
};

}  // namespace ruv::com::someip_binding

#pragma once
// One TCP connection of the SOME/IP binding, client or server side, on the node's I/O thread:
// TCP_NODELAY, a read loop that splits the stream into messages (a stream with a length out of
// range is closed), and writes that keep the messages in order. A message sent while the
// connection is idle leaves at once from the sending thread; the I/O thread writes only what
// waits (sent while connecting, while another write runs, or beyond a full send buffer). send and
// close may be called from any thread; the callbacks run on the I/O thread, on_closed exactly once.

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <system_error>

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>

#include "com/someip/binding_log.h"
#include "com/someip/message_walker.h"
#include "com/someip/send_descriptor.h"

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
    /// Writes what waits in the queue; the I/O thread holds the writer's turn while it runs.
    void write();
    /// Gives the writer's turn back, or passes it to the I/O thread when messages wait.
    void release_writer();
    void end(const std::error_code& error);

    asio::ip::tcp::socket socket_;
    Binding_log& log_;
    On_message on_message_;      ///< set before the loop starts, then I/O thread only
    On_closed on_closed_;        ///< I/O thread only; cleared when called
    asio::ip::tcp::endpoint remote_;
    bool connected_ = false;     ///< I/O thread only
    bool closed_ = false;        ///< I/O thread only
    Stream_buffer stream_{length_base + max_payload};  ///< I/O thread only
    Bytes buffer_ = Bytes(65536);                      ///< I/O thread only

    // One writer at a time, so that messages never interleave: a sending thread or the I/O thread.
    std::mutex write_mutex_;
    bool writer_busy_ = false;                        ///< guarded by write_mutex_
    bool write_closed_ = false;                       ///< guarded by write_mutex_
    std::shared_ptr<const Send_descriptor> direct_;   ///< guarded by write_mutex_; set once connected
    std::deque<std::shared_ptr<const Bytes>> queue_;  ///< guarded by write_mutex_; what waits, in order
};

}  // namespace ruv::com::someip_binding

#pragma once
// One UDP socket of the SOME/IP binding on the node's I/O thread: a receive loop that hands each
// datagram and its sender to a callback. A send leaves at once from the thread that sends it
// (a caller, a runtime worker answering a request) and goes by the I/O thread only when the
// socket's send buffer is full. send and close may be called from any thread; the callbacks run
// on the I/O thread.

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <system_error>

#include <asio/io_context.hpp>
#include <asio/ip/udp.hpp>

#include "com/someip/byte_view.h"
#include "com/someip/send_descriptor.h"

namespace ruv::com::someip_binding {

class Udp_socket : public std::enable_shared_from_this<Udp_socket> {
public:
    using Receive = std::function<void(Byte_view datagram, const asio::ip::udp::endpoint& sender)>;
    using Sent = std::function<void(const std::error_code& error)>;

    /// Binds to `local` (port 0: any free port) with address reuse, so that several nodes may
    /// share SD's port on one host. Throws std::system_error.
    Udp_socket(asio::io_context& context, const asio::ip::udp::endpoint& local);

    /// Starts the receive loop. Call once.
    void start(Receive on_receive);

    /// Sends one datagram, from this thread when the send buffer takes it now. `done`, if given,
    /// runs on the I/O thread with the error when the datagram could not be sent.
    void send(std::shared_ptr<const Bytes> datagram, const asio::ip::udp::endpoint& to, Sent done = {});

    /// Closes the socket on the I/O thread; the receive loop ends, later sends fail.
    void close();

    asio::ip::udp::endpoint local_endpoint() const { return local_; }

    /// For SD's multicast options; only on the I/O thread or before start.
    asio::ip::udp::socket& socket() noexcept { return socket_; }

private:
    void receive();
    void send_from_io_thread(std::shared_ptr<const Bytes> datagram, const asio::ip::udp::endpoint& to, Sent done);

    asio::ip::udp::socket socket_;
    asio::ip::udp::endpoint local_;
    Receive on_receive_;                  ///< set before the loop starts, then read on the I/O thread
    asio::ip::udp::endpoint sender_;      ///< I/O thread only
    Bytes buffer_ = Bytes(65536);         ///< I/O thread only

    mutable std::mutex direct_mutex_;
    std::shared_ptr<const Send_descriptor> direct_;  ///< guarded by direct_mutex_; null once closed
};

}  // namespace ruv::com::someip_binding

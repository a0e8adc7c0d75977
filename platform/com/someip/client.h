#pragma once
// The client side of a SOME/IP node: one client id, one session counter and one UDP socket for
// all calls, one TCP connection per server endpoint (opened on first use, closed when the peer
// is lost), and the table of open calls by session id. call runs on the caller's thread, never
// blocks and holds no lock across I/O: the request leaves from that thread by a non-blocking
// send (through the I/O thread only to open a connection or past a full send buffer). Responses
// are read on the I/O thread, which runs the response handler itself rather than waking a
// runtime worker for it; every other end of a call (time-out, withdrawal, lost connection)
// hands the handler to a worker. Thread-safe.

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <unordered_map>

#include <asio/ip/address_v4.hpp>
#include <asio/ip/tcp.hpp>

#include "com/local/pending_call.h"
#include "com/manifest/manifest.h"
#include "com/someip/binding_log.h"
#include "com/someip/io_thread.h"
#include "com/someip/message_walker.h"
#include "com/someip/session_counter.h"
#include "com/someip/tcp_connection.h"
#include "com/someip/udp_socket.h"
#include "ruv/com/runtime/runtime.h"
#include "ruv/com/runtime/service_binding.h"

namespace ruv::com::someip_binding {

/// Where and how one remote service instance takes requests, as its offer said.
struct Remote_target {
    std::uint16_t service_id = 0;
    std::uint8_t major_version = 1;
    std::array<std::uint16_t, method_indexes> method_ids{};  ///< 0: no such method
    Transport transport = Transport::udp;
    asio::ip::address_v4 address;
    std::uint16_t port = 0;  ///< of `transport`
};

/// The largest payload sent over UDP; larger requests are refused (0x82), not fragmented.
inline constexpr std::size_t max_udp_payload = 1400;

class Client final : public local::detail::Call_owner, public std::enable_shared_from_this<Client> {
public:
    using Response_handler = runtime::Service_binding::Response_handler;

    /// `unicast` is the address requests leave from. Throws nothing.
    Client(Io_thread& io, std::shared_ptr<runtime::Runtime> runtime, asio::ip::address_v4 unicast,
           std::uint16_t client_id, std::chrono::milliseconds request_timeout, Binding_log& log) noexcept;
    ~Client() override;

    /// Opens the UDP socket. Throws std::system_error.
    void start();

    /// Sends one request of `caller` (the service binding, to end its calls later) to `target`.
    /// Every failure arrives through the handler: 0x82 not sent, 0x81 connection lost, 0x86 no
    /// answer in time. Throws std::bad_alloc.
    std::shared_ptr<kel::com::runtime::Method_call> call(const Remote_target& target, const void* caller,
                                                         std::uint16_t method_index,
                                                         const kel::com::runtime::Serialized_payload& request,
                                                         Response_handler handler);

    /// Ends every open call of `caller` with `return_code` (0xFF: the service went away).
    void end_calls_of(const void* caller, std::uint8_t return_code) noexcept;

    /// Closes the TCP connections to `address` (its node rebooted).
    void close_connections_to(const asio::ip::address_v4& address);

    /// Closes the TCP connection to `remote`, if one is open (no service uses it any more).
    void close_connection(const asio::ip::tcp::endpoint& remote);

    void forget(std::uint64_t call_id) noexcept override;

    std::size_t open_calls() const;

    std::uint16_t client_id() const noexcept { return client_id_; }

    /// Closes the socket and connections; open calls end with 0x81.
    void stop();

private:
    struct Open_call {
        std::shared_ptr<local::detail::Pending_call> call;
        std::uint16_t service_id = 0;
        std::uint16_t method_id = 0;
        const void* caller = nullptr;
        const Tcp_connection* connection = nullptr;  ///< the connection it went over, if TCP
    };

    void send(std::uint16_t session, const Remote_target& target, std::shared_ptr<const Bytes> message);
    /// On the I/O thread: opens the connection to `remote` when none is open, then sends.
    void send_tcp(std::uint16_t session, const asio::ip::tcp::endpoint& remote, std::shared_ptr<const Bytes> message);
    /// The connection to `remote` if one is open, noted as the way of the open call `session`.
    std::shared_ptr<Tcp_connection> connection_for(std::uint16_t session, const asio::ip::tcp::endpoint& remote);
    void receive(const Message_view& message, const char* transport);
    void connection_closed(Tcp_connection& connection, const std::error_code& error);
    /// Takes the call out of the table and ends it with the code.
    void end_call(std::uint16_t session, std::uint8_t return_code, kel::com::runtime::Serialized_payload response = {});
    /// Takes the call out of the table; null when it has ended already.
    std::shared_ptr<local::detail::Pending_call> take_call(std::uint16_t session);

    Io_thread& io_;
    const std::shared_ptr<runtime::Runtime> runtime_;
    const asio::ip::address_v4 unicast_;
    const std::uint16_t client_id_;
    const std::chrono::milliseconds request_timeout_;
    Binding_log& log_;
    std::shared_ptr<Udp_socket> udp_;  ///< set by start

    mutable std::mutex mutex_;
    Session_counter sessions_;                          ///< guarded by mutex_
    std::map<std::uint16_t, Open_call> open_;           ///< guarded by mutex_: by session id
    std::unordered_map<std::uint64_t, std::uint16_t> session_of_;  ///< guarded by mutex_: call id to session
    /// Guarded by mutex_: the connection per server endpoint; made and removed on the I/O thread.
    std::map<asio::ip::tcp::endpoint, std::shared_ptr<Tcp_connection>> connections_;
};

}  // namespace ruv::com::someip_binding

#pragma once
// The server side of a SOME/IP node: UDP sockets and TCP acceptors on the ports of the services
// it exports, the request checks with their ERROR answers, and the hand-over of each good
// request to the service's own binding (the local provider, on a runtime worker) with the answer
// sent back the way the request came, from the thread the provider answered on. Sockets run on
// the I/O thread; add and remove are thread-safe.

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <utility>

#include <asio/ip/address_v4.hpp>
#include <asio/ip/tcp.hpp>

#include "com/manifest/manifest.h"
#include "com/someip/binding_log.h"
#include "com/someip/io_thread.h"
#include "com/someip/request_check.h"
#include "com/someip/tcp_connection.h"
#include "com/someip/udp_socket.h"
#include "ruv/com/runtime/service_record.h"

namespace ruv::com::someip_binding {

/// One service made reachable over the wire: its numbers and the record of its provider.
struct Export {
    Served_interface served;
    std::array<std::uint16_t, method_indexes> method_ids{};  ///< method index to wire id
    std::shared_ptr<runtime::Service_record> record;         ///< must not be null
};

class Server final : public std::enable_shared_from_this<Server> {
public:
    Server(Io_thread& io, asio::ip::address_v4 unicast, Binding_log& log) noexcept;
    ~Server();

    /// Opens the UDP socket or TCP acceptor on `port` (0: any free one) unless open already, and
    /// returns the port. Throws std::system_error.
    std::uint16_t listen(Transport transport, std::uint16_t port);

    /// Serves `service` on the given transport and port from now on (listen first).
    void add(Transport transport, std::uint16_t port, Export service);

    /// Stops serving the service id on every port; requests for it are then E_UNKNOWN_SERVICE.
    void remove(std::uint16_t service_id);

    /// Closes sockets, acceptors and connections.
    void stop();

    /// Requests handed to a provider so far.
    std::uint64_t requests_served() const noexcept { return served_.load(std::memory_order_relaxed); }

private:
    using Port_key = std::pair<Transport, std::uint16_t>;
    /// Where an answer goes: back to the UDP sender, or on the TCP connection it came by.
    struct Route {
        std::weak_ptr<Udp_socket> udp;
        asio::ip::udp::endpoint sender;
        std::weak_ptr<Tcp_connection> tcp;
    };

    void accept(const std::shared_ptr<asio::ip::tcp::acceptor>& acceptor, std::uint16_t port);
    void handle(const Message_view& message, const Port_key& key, const Route& route);
    static void send(const Route& route, std::shared_ptr<const Bytes> message);

    Io_thread& io_;
    const asio::ip::address_v4 unicast_;
    Binding_log& log_;
    std::atomic<std::uint64_t> served_{0};

    mutable std::mutex mutex_;
    std::map<Port_key, std::map<std::uint16_t, std::shared_ptr<const Export>>> exports_;  ///< guarded by mutex_
    std::map<std::uint16_t, std::shared_ptr<Udp_socket>> udp_;                          ///< guarded by mutex_
    std::map<std::uint16_t, std::shared_ptr<asio::ip::tcp::acceptor>> acceptors_;       ///< guarded by mutex_
    std::set<std::shared_ptr<Tcp_connection>> connections_;                             ///< I/O thread only
};

}  // namespace ruv::com::someip_binding

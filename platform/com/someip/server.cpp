#include "com/someip/server.h"

#include <utility>
#include <vector>

#include <asio/post.hpp>

#include "com/someip/return_codes.h"

namespace ruv::com::someip_binding {
namespace {

kel::com::runtime::Serialized_payload payload_of(Byte_view bytes) {
    kel::com::runtime::Serialized_payload payload;
    payload.buffer = std::make_shared<std::vector<std::uint8_t>>(bytes.data, bytes.data + bytes.size);
    payload.begin = payload.buffer->data();
    payload.end = payload.begin + payload.buffer->size();
    return payload;
}

}  // namespace

Server::Server(Io_thread& io, asio::ip::address_v4 unicast, Binding_log& log) noexcept
    : io_(io), unicast_(unicast), log_(log) {}

Server::~Server() = default;

std::uint16_t Server::listen(Transport transport, std::uint16_t port) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (transport == Transport::udp) {
        if (port != 0 && udp_.count(port) != 0) {
            return port;
        }
        auto socket = std::make_shared<Udp_socket>(io_.context(), asio::ip::udp::endpoint(unicast_, port));
        const std::uint16_t bound = socket->local_endpoint().port();
        const std::weak_ptr<Udp_socket> weak_socket = socket;
        socket->start([weak = weak_from_this(), weak_socket, bound](Byte_view datagram,
                                                                    const asio::ip::udp::endpoint& sender) {
            const std::shared_ptr<Server> self = weak.lock();
            if (self == nullptr) {
                return;
            }
            const Route route{weak_socket, sender, {}};
            const Walk_result result = walk_datagram(datagram, [&](const Message_view& message) {
                self->handle(message, Port_key{Transport::udp, bound}, route);
            });
            if (result.dropped_bytes != 0) {
                self->log_.warn(Anomaly::datagram_tail, std::to_string(result.dropped_bytes) +
                                                            " bytes without a whole message from " +
                                                            sender.address().to_string() + " dropped");
            }
        });
        udp_.emplace(bound, std::move(socket));
        return bound;
    }
    if (port != 0 && acceptors_.count(port) != 0) {
        return port;
    }
    auto acceptor = std::make_shared<asio::ip::tcp::acceptor>(io_.context());
    const asio::ip::tcp::endpoint local(unicast_, port);
    acceptor->open(local.protocol());
    acceptor->set_option(asio::socket_base::reuse_address(true));
    acceptor->bind(local);
    acceptor->listen();
    const std::uint16_t bound = acceptor->local_endpoint().port();
    acceptors_.emplace(bound, acceptor);
    asio::post(io_.context(), [self = shared_from_this(), acceptor, bound] { self->accept(acceptor, bound); });
    return bound;
}

void Server::accept(const std::shared_ptr<asio::ip::tcp::acceptor>& acceptor, std::uint16_t port) {
    acceptor->async_accept([weak = weak_from_this(), acceptor, port](const std::error_code& error,
                                                                     asio::ip::tcp::socket socket) {
        const std::shared_ptr<Server> self = weak.lock();
        if (self == nullptr || !acceptor->is_open()) {
            return;
        }
        if (!error) {
            auto connection = std::make_shared<Tcp_connection>(std::move(socket), self->log_);
            self->connections_.insert(connection);
            const std::weak_ptr<Tcp_connection> weak_connection = connection;
            connection->start(
                [weak, weak_connection, port](const Message_view& message, Tcp_connection&) {
                    if (const auto server = weak.lock()) {
                        server->handle(message, Port_key{Transport::tcp, port}, Route{{}, {}, weak_connection});
                    }
                },
                [weak](Tcp_connection& closed, const std::error_code&) {
                    if (const auto server = weak.lock()) {
                        for (auto it = server->connections_.begin(); it != server->connections_.end(); ++it) {
                            if (it->get() == &closed) {
                                server->connections_.erase(it);
                                break;
                            }
                        }
                    }
                });
        }
        self->accept(acceptor, port);
    });
}

void Server::add(Transport transport, std::uint16_t port, Export service) {
    const std::uint16_t service_id = service.served.service_id;
    auto shared = std::make_shared<const Export>(std::move(service));
    std::lock_guard<std::mutex> lock(mutex_);
    exports_[Port_key{transport, port}][service_id] = std::move(shared);
}

void Server::remove(std::uint16_t service_id) {
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto& entry : exports_) {
        entry.second.erase(service_id);
    }
}

void Server::handle(const Message_view& message, const Port_key& key, const Route& route) {
    const Message_header& request = message.header;
    std::shared_ptr<const Export> service;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        const auto port = exports_.find(key);
        if (port != exports_.end()) {
            const auto found = port->second.find(request.service_id);
            if (found != port->second.end()) {
                service = found->second;
            }
        }
    }
    const Request_verdict verdict = check_request(request, service != nullptr ? &service->served : nullptr);
    if (!verdict.passed()) {
        log_.warn(Anomaly::rejected_request, "a request for service " + std::to_string(request.service_id) +
                                                 " method " + std::to_string(request.method_id) +
                                                 " refused with return code " + std::to_string(verdict.return_code) +
                                                 (verdict.answer ? "" : ", unanswered"));
        if (verdict.answer) {
            send(route, std::make_shared<const Bytes>(encode_message(make_error_header(request, verdict.return_code), {})));
        }
        return;
    }
    std::uint16_t index = 0;
    while (index < service->method_ids.size() && service->method_ids[index] != request.method_id) {
        ++index;
    }
    served_.fetch_add(1, std::memory_order_relaxed);
    // The provider runs on a runtime worker, never here: a slow one would hold up every message of
    // the node. Its answer leaves from that worker by the route the request came.
    service->record->binding->call(
        index, payload_of(message.payload),
        [route, request](unsigned char code, kel::com::runtime::Serialized_payload response) {
            const std::optional<Wire_answer> answer = to_wire_answer(code);
            if (!answer) {
                return;  // the provider's side failed on its own; the client's runtime finds out
            }
            Message_header header = request;
            header.message_type = answer->message_type;
            header.return_code = answer->return_code;
            Byte_view bytes{};
            if (response.begin != nullptr && response.end > response.begin) {
                bytes = Byte_view{response.begin, static_cast<std::size_t>(response.end - response.begin)};
            }
            send(route, std::make_shared<const Bytes>(encode_message(header, bytes)));
        });
}

void Server::send(const Route& route, std::shared_ptr<const Bytes> message) {
    if (const std::shared_ptr<Udp_socket> udp = route.udp.lock()) {
        udp->send(std::move(message), route.sender);
    } else if (const std::shared_ptr<Tcp_connection> tcp = route.tcp.lock()) {
        tcp->send(std::move(message));
    }
}

void Server::stop() {
    std::map<std::uint16_t, std::shared_ptr<Udp_socket>> udp;
    std::map<std::uint16_t, std::shared_ptr<asio::ip::tcp::acceptor>> acceptors;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        udp.swap(udp_);
        acceptors.swap(acceptors_);
        exports_.clear();
    }
    for (const auto& entry : udp) {
        entry.second->close();
    }
    asio::post(io_.context(), [self = shared_from_this(), acceptors = std::move(acceptors)] {
        for (const auto& entry : acceptors) {
            std::error_code ignored;
            entry.second->close(ignored);
        }
        auto connections = std::move(self->connections_);
        for (const auto& connection : connections) {
            connection->close();
        }
    });
}

}  // namespace ruv::com::someip_binding

#include "com/someip/client.h"

#include <utility>
#include <vector>

#include <asio/post.hpp>

#include "com/someip/return_codes.h"
#include "ruv/com/runtime/return_code.h"

namespace ruv::com::someip_binding {
namespace {

using kel::com::runtime::Serialized_payload;

Serialized_payload payload_of(Byte_view bytes) {
    Serialized_payload payload;
    payload.buffer = std::make_shared<std::vector<std::uint8_t>>(bytes.data, bytes.data + bytes.size);
    payload.begin = payload.buffer->data();
    payload.end = payload.begin + payload.buffer->size();
    return payload;
}

Byte_view bytes_of(const Serialized_payload& payload) {
    if (payload.begin == nullptr || payload.end <= payload.begin) {
        return {};
    }
    return Byte_view{payload.begin, static_cast<std::size_t>(payload.end - payload.begin)};
}

}  // namespace

Client::Client(Io_thread& io, std::shared_ptr<runtime::Runtime> runtime, asio::ip::address_v4 unicast,
               std::uint16_t client_id, std::chrono::milliseconds request_timeout, Binding_log& log) noexcept
    : io_(io),
      runtime_(std::move(runtime)),
      unicast_(unicast),
      client_id_(client_id),
      request_timeout_(request_timeout),
      log_(log) {}

Client::~Client() = default;

void Client::start() {
    udp_ = std::make_shared<Udp_socket>(io_.context(), asio::ip::udp::endpoint(unicast_, 0));
    udp_->start([weak = weak_from_this()](Byte_view datagram, const asio::ip::udp::endpoint& sender) {
        const std::shared_ptr<Client> self = weak.lock();
        if (self == nullptr) {
            return;
        }
        const Walk_result result =
            walk_datagram(datagram, [&self](const Message_view& message) { self->receive(message, "UDP"); });
        if (result.dropped_bytes != 0) {
            self->log_.warn(Anomaly::datagram_tail, std::to_string(result.dropped_bytes) +
                                                        " bytes without a whole message from " +
                                                        sender.address().to_string() + " dropped");
        }
    });
}

std::shared_ptr<kel::com::runtime::Method_call> Client::call(const Remote_target& target, const void* caller,
                                                             std::uint16_t method_index,
                                                             const Serialized_payload& request,
                                                             Response_handler handler) {
    const std::uint64_t id = kel::com::runtime::next_call_id();
    auto pending = std::make_shared<local::detail::Pending_call>(id, std::move(handler), runtime_, weak_from_this());
    auto record = std::make_shared<kel::com::runtime::Method_call>(id, pending);
    const std::uint16_t method_id = method_index < target.method_ids.size() ? target.method_ids[method_index] : 0;
    const Byte_view payload = bytes_of(request);
    if (method_id == 0 || (target.transport == Transport::udp && payload.size > max_udp_payload)) {
        pending->answer(runtime::return_code::not_sent, {});
        return record;
    }

    Message_header header;
    header.service_id = target.service_id;
    header.method_id = method_id;
    header.client_id = client_id_;
    header.interface_version = target.major_version;
    header.message_type = message_type::request;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        // A session id still open after a whole wrap is skipped, so that answers stay unambiguous.
        for (unsigned tries = 0; tries < 0x10000; ++tries) {
            header.session_id = sessions_.next();
            if (open_.count(header.session_id) == 0) {
                break;
            }
        }
        if (open_.count(header.session_id) != 0) {
            header.session_id = 0;  // all 65535 open: refuse below
        } else {
            open_.emplace(header.session_id, Open_call{pending, target.service_id, method_id, caller, nullptr});
            session_of_.emplace(id, header.session_id);
        }
    }
    if (header.session_id == 0) {
        pending->answer(runtime::return_code::not_sent, {});
        return record;
    }
    try {
        auto message = std::make_shared<const Bytes>(encode_message(header, payload));
        if (request_timeout_ > std::chrono::milliseconds::zero()) {
            pending->set_timeout(runtime_->timer().schedule(
                runtime::Request_timer::Clock::now() + request_timeout_,
                [weak = std::weak_ptr<local::detail::Pending_call>(pending)] {
                    if (const auto expired = weak.lock()) {
                        expired->answer(runtime::return_code::timeout, {});
                    }
                }));
        }
        send(header.session_id, target, std::move(message));
    } catch (...) {
        pending->drop();
        throw;
    }
    return record;
}

void Client::send(std::uint16_t session, const Remote_target& target, std::shared_ptr<const Bytes> message) {
    if (target.transport == Transport::tcp) {
        const asio::ip::tcp::endpoint remote(target.address, target.port);
        if (const std::shared_ptr<Tcp_connection> connection = connection_for(session, remote)) {
            connection->send(std::move(message));
            return;
        }
        asio::post(io_.context(), [self = shared_from_this(), session, remote, message = std::move(message)]() mutable {
            self->send_tcp(session, remote, std::move(message));
        });
        return;
    }
    udp_->send(std::move(message), asio::ip::udp::endpoint(target.address, target.port),
               [weak = weak_from_this(), session](const std::error_code& error) {
                   const std::shared_ptr<Client> self = weak.lock();
                   if (error && self != nullptr) {
                       self->end_call(session, runtime::return_code::not_sent);
                   }
               });
}

std::shared_ptr<Tcp_connection> Client::connection_for(std::uint16_t session, const asio::ip::tcp::endpoint& remote) {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto connection = connections_.find(remote);
    const auto open = open_.find(session);
    if (connection == connections_.end() || open == open_.end()) {
        return nullptr;  // none open yet, or the call has ended meanwhile (time-out)
    }
    open->second.connection = connection->second.get();
    return connection->second;
}

void Client::send_tcp(std::uint16_t session, const asio::ip::tcp::endpoint& remote,
                      std::shared_ptr<const Bytes> message) {
    std::shared_ptr<Tcp_connection> made;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (connections_.count(remote) == 0) {
            made = std::make_shared<Tcp_connection>(asio::ip::tcp::socket(io_.context()), log_);
            connections_.emplace(remote, made);
        }
    }
    if (made != nullptr) {
        const std::weak_ptr<Client> weak = weak_from_this();
        made->connect(
            asio::ip::tcp::endpoint(unicast_, 0), remote,
            [weak](const Message_view& received, Tcp_connection&) {
                if (const auto self = weak.lock()) {
                    self->receive(received, "TCP");
                }
            },
            [weak](Tcp_connection& closed, const std::error_code& error) {
                if (const auto self = weak.lock()) {
                    self->connection_closed(closed, error);
                }
            });
    }
    if (const std::shared_ptr<Tcp_connection> connection = connection_for(session, remote)) {
        connection->send(std::move(message));
    }
}

void Client::receive(const Message_view& message, const char* transport) {
    const Message_header& header = message.header;
    if (header.message_type != message_type::response && header.message_type != message_type::error) {
        log_.warn(Anomaly::unexpected_message, std::string("a message of type ") + std::to_string(header.message_type) +
                                                   " on the client's " + transport + " socket dropped");
        return;
    }
    bool matches = false;
    if (header.client_id == client_id_ && header.protocol_version == protocol_version) {
        std::lock_guard<std::mutex> lock(mutex_);
        const auto found = open_.find(header.session_id);
        matches = found != open_.end() && found->second.service_id == header.service_id &&
                  found->second.method_id == header.method_id;
    }
    if (!matches) {
        log_.warn(Anomaly::unmatched_response, "a response that answers no open call dropped (service " +
                                                   std::to_string(header.service_id) + ", session " +
                                                   std::to_string(header.session_id) + ")");
        return;
    }
    // The handler runs here on the I/O thread: it only completes the caller's promise, and a hand-off
    // to a worker would cost the call another thread wake-up.
    if (const std::shared_ptr<local::detail::Pending_call> call = take_call(header.session_id)) {
        try {
            call->answer_here(to_runtime_code(header.message_type, header.return_code), payload_of(message.payload));
        } catch (...) {  // no memory for the payload: the call has ended, its handler destroyed
        }
    }
}

void Client::connection_closed(Tcp_connection& connection, const std::error_code& error) {
    // Requests written to a connection that broke may have reached the server: 0x81. Requests
    // that never left because the connection was never made: 0x82.
    const std::uint8_t code = connection.connected() ? runtime::return_code::connection_broken
                                                     : runtime::return_code::not_sent;
    std::vector<std::uint16_t> sessions;
    std::shared_ptr<Tcp_connection> closed;  // goes after the lock
    {
        std::lock_guard<std::mutex> lock(mutex_);
        const auto found = connections_.find(connection.remote());
        if (found != connections_.end() && found->second.get() == &connection) {
            closed = std::move(found->second);
            connections_.erase(found);
        }
        for (const auto& [session, open] : open_) {
            if (open.connection == &connection) {
                sessions.push_back(session);
            }
        }
    }
    static_cast<void>(error);
    for (std::uint16_t session : sessions) {
        end_call(session, code);
    }
}

std::shared_ptr<local::detail::Pending_call> Client::take_call(std::uint16_t session) {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto found = open_.find(session);
    if (found == open_.end()) {
        return nullptr;
    }
    std::shared_ptr<local::detail::Pending_call> call = std::move(found->second.call);
    session_of_.erase(call->id());
    open_.erase(found);
    return call;
}

void Client::end_call(std::uint16_t session, std::uint8_t return_code, Serialized_payload response) {
    const std::shared_ptr<local::detail::Pending_call> call = take_call(session);
    if (call == nullptr) {
        return;
    }
    try {
        call->answer(return_code, std::move(response));
    } catch (...) {  // no memory for the delivery: the call has ended, its handler destroyed
    }
}

void Client::end_calls_of(const void* caller, std::uint8_t return_code) noexcept {
    std::vector<std::uint16_t> sessions;
    try {
        std::lock_guard<std::mutex> lock(mutex_);
        for (const auto& [session, open] : open_) {
            if (open.caller == caller) {
                sessions.push_back(session);
            }
        }
    } catch (...) {
        return;
    }
    for (std::uint16_t session : sessions) {
        end_call(session, return_code);
    }
}

// A connection being closed leaves the table at once, so that a call made from now on opens a new
// one rather than sending on it; its calls still end when the close has run on the I/O thread.
void Client::close_connections_to(const asio::ip::address_v4& address) {
    std::vector<std::shared_ptr<Tcp_connection>> closing;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        for (auto it = connections_.begin(); it != connections_.end();) {
            if (it->first.address() == address) {
                closing.push_back(std::move(it->second));
                it = connections_.erase(it);
            } else {
                ++it;
            }
        }
    }
    for (const auto& connection : closing) {
        connection->close();
    }
}

void Client::close_connection(const asio::ip::tcp::endpoint& remote) {
    std::shared_ptr<Tcp_connection> closing;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        const auto found = connections_.find(remote);
        if (found == connections_.end()) {
            return;
        }
        closing = std::move(found->second);
        connections_.erase(found);
    }
    closing->close();
}

void Client::forget(std::uint64_t call_id) noexcept {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto found = session_of_.find(call_id);
    if (found == session_of_.end()) {
        return;
    }
    open_.erase(found->second);
    session_of_.erase(found);
}

std::size_t Client::open_calls() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return open_.size();
}

void Client::stop() {
    if (udp_ != nullptr) {
        udp_->close();
    }
    std::map<asio::ip::tcp::endpoint, std::shared_ptr<Tcp_connection>> connections;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        connections.swap(connections_);
    }
    for (const auto& entry : connections) {
        entry.second->close();
    }
}

}  // namespace ruv::com::someip_binding

#include "host/doip/tcp_sessions.h"

#include <algorithm>
#include <limits>

#include "host/doip/entity_log.h"

namespace zevo::doip {

Tcp_sessions::Tcp_sessions(asio::io_context& io, const Entity_config& config, Diagnostic_handler& handler,
                           Clock& clock)
    : config_(config), handler_(handler), clock_(clock), acceptor_(io) {}

std::uint16_t Tcp_sessions::listen(const asio::ip::address& address, std::uint16_t port) {
    asio::ip::tcp::endpoint endpoint(address, port);
    acceptor_.open(endpoint.protocol());
    acceptor_.set_option(asio::ip::tcp::acceptor::reuse_address(true));
    acceptor_.bind(endpoint);
    acceptor_.listen();
    return acceptor_.local_endpoint().port();
}

void Tcp_sessions::start_accepting() { accept(); }

void Tcp_sessions::accept() {
    acceptor_.async_accept([this](const asio::error_code& error, asio::ip::tcp::socket socket) {
        if (shut_down_ || !acceptor_.is_open()) return;
        if (!error) {
            asio::error_code ignored;
            socket.set_option(asio::ip::tcp::no_delay(true), ignored);
            // Frames are written to the kernel at once; its buffer is bounded as the entity's
            // own queue is, so that a tester that does not read is noticed (and closed) while
            // what it has not taken is still small.
            socket.set_option(asio::socket_base::send_buffer_size(static_cast<int>(
                                  std::min<std::size_t>(config_.max_send_queue, std::numeric_limits<int>::max()))),
                              ignored);
            // One socket above the registered maximum, so that a tester can still be told
            // 0x01 (all sockets used) after the alive check.
            if (connections_.size() >= std::size_t{config_.max_testers} + 1) {
                auto peer = socket.remote_endpoint(ignored);
                log_info("tester refused: " + peer.address().to_string() + ":" + std::to_string(peer.port()) +
                         ", all " + std::to_string(connections_.size()) + " sockets in use");
                socket.close(ignored);
            } else {
                std::uint64_t id = next_id_++;
                auto connection = std::make_shared<Connection>(std::move(socket), id, *this, clock_,
                                                               config_.max_send_queue);
                connection->connected_at = clock_.now();
                connections_.emplace(id, connection);
                log_info("tester connected: " + connection->peer() + " (connection " + std::to_string(id) + ")");
                connection->start();
                connection->note_activity(connection->connected_at);
                arm_timer(*connection);
            }
        }
        accept();
    });
}

void Tcp_sessions::shutdown() {
    shut_down_ = true;
    asio::error_code ignored;
    acceptor_.close(ignored);
    parked_.clear();
    while (!connections_.empty()) {
        std::shared_ptr<Connection> connection = connections_.begin()->second;  // outlives its close
        connection->close("the entity stops");
    }
    for (const std::weak_ptr<Connection>& weak : lingering_) {
        if (std::shared_ptr<Connection> connection = weak.lock()) connection->close("the entity stops");
    }
    lingering_.clear();
}

std::shared_ptr<Connection> Tcp_sessions::find(std::uint64_t id) {
    auto it = connections_.find(id);
    return it == connections_.end() ? nullptr : it->second;
}

Header_limits Tcp_sessions::limits_for(const Connection& connection) {
    std::uint64_t used = 0;
    for (const auto& [id, other] : connections_) {
        if (other.get() != &connection) used += other->buffered();
    }
    Header_limits limits;
    limits.max_payload = config_.max_payload;
    limits.free_memory = used >= config_.memory_budget ? 0 : config_.memory_budget - used;
    return limits;
}

void Tcp_sessions::on_rejected(Connection& connection, const Header& header, Header_verdict verdict) {
    std::uint8_t version = pattern_valid(header) && header.version != version::any ? header.version
                                                                                    : config_.protocol_version;
    connection.send(encode_generic_nack(version, verdict.nack_code));
    log_info("generic NACK " + hex2(verdict.nack_code) + " to connection " + std::to_string(connection.id()) +
             " (payload type " + hex4(header.payload_type) + ", length " + std::to_string(header.payload_length) + ")");
    if (verdict.action == Header_verdict::Action::close) {
        connection.close_after_send("generic NACK " + hex2(verdict.nack_code));
    }
}

void Tcp_sessions::on_frame(Connection& connection, Frame frame) {
    connection.note_activity(clock_.now());
    std::uint8_t version = frame.header.version;
    switch (frame.header.payload_type) {
        case payload_type::routing_activation_request:
            activate(connection, version, *decode_routing_activation_request(frame.payload));
            break;
        case payload_type::alive_check_response:
            on_alive_check_response(connection, frame.payload);
            break;
        case payload_type::diagnostic_message:
            on_diagnostic(connection, version, frame.payload);
            break;
        default:  // a generic NACK from the tester: nothing to answer
            log_info("connection " + std::to_string(connection.id()) + " sent generic NACK " +
                     hex2(frame.payload.empty() ? 0 : frame.payload[0]));
            break;
    }
    if (connection.open()) arm_timer(connection);
}

void Tcp_sessions::activate(Connection& connection, std::uint8_t version, const Routing_activation_request& request) {
    parked_.erase(connection.id());
    if (request.source < config_.tester_min || request.source > config_.tester_max) {
        return answer_activation(connection, version, request, activation_code::unknown_source);
    }
    if (request.activation_type != activation_type::default_type &&
        request.activation_type != activation_type::wwh_obd) {
        return answer_activation(connection, version, request, activation_code::unsupported_type);
    }
    if (connection.source && *connection.source != request.source) {
        return answer_activation(connection, version, request, activation_code::source_differs);
    }
    if (connection.source) return answer_activation(connection, version, request, activation_code::activated);

    Parked parked{version, request, 0, {}};
    std::size_t registered = 0;
    for (auto& [id, other] : connections_) {
        if (!other->source || other.get() == &connection) continue;
        ++registered;
        if (*other->source == request.source) {
            parked.code_if_all_alive = activation_code::source_on_other_socket;
            parked.awaiting = {id};
            break;
        }
    }
    if (parked.awaiting.empty() && registered >= config_.max_testers) {
        parked.code_if_all_alive = activation_code::all_sockets_used;
        for (auto& [id, other] : connections_) {
            if (other->source && other.get() != &connection) parked.awaiting.insert(id);
        }
    }
    if (parked.awaiting.empty()) {
        connection.source = request.source;
        connection.version = version;
        return answer_activation(connection, version, request, activation_code::activated);
    }
    // ISO 13400-2: before refusing, check that the registered sockets are still alive.
    log_info("routing activation of " + hex4(request.source) + " waits for the alive check of " +
             std::to_string(parked.awaiting.size()) + " socket(s)");
    for (std::uint64_t id : parked.awaiting) start_alive_check(*find(id));
    parked_[connection.id()] = std::move(parked);
}

void Tcp_sessions::answer_activation(Connection& connection, std::uint8_t version,
                                     const Routing_activation_request& request, std::uint8_t code) {
    Routing_activation_response response{request.source, config_.logical_address, code, 0, std::nullopt};
    connection.send(encode_routing_activation_response(version, response));
    if (code == activation_code::activated) {
        log_info("routing activated: tester " + hex4(request.source) + " on connection " +
                 std::to_string(connection.id()));
        return;
    }
    log_info("routing activation of " + hex4(request.source) + " denied with " + hex2(code) + " on connection " +
             std::to_string(connection.id()));
    if (code != activation_code::missing_authentication) connection.close_after_send("routing activation denied");
}

void Tcp_sessions::start_alive_check(Connection& connection) {
    if (connection.alive_check_deadline) return;  // one already under way
    connection.alive_check_deadline = clock_.now() + config_.alive_check_timeout;  // before the tester can answer
    connection.send(encode_alive_check_request(connection.version));
    if (connection.open()) arm_timer(connection);
}

void Tcp_sessions::on_alive_check_response(Connection& connection, const Bytes& payload) {
    if (!connection.alive_check_deadline) return;  // not asked for: nothing to do
    if (!connection.source || get_u16(payload.data()) != *connection.source) {
        log_info("alive check response with another source address on connection " + std::to_string(connection.id()));
    }
    connection.alive_check_deadline.reset();
    std::vector<std::uint64_t> decided;
    for (auto& [id, parked] : parked_) {
        if (parked.awaiting.erase(connection.id()) > 0 && parked.awaiting.empty()) decided.push_back(id);
    }
    for (std::uint64_t id : decided) {
        Parked parked = std::move(parked_[id]);
        parked_.erase(id);
        if (std::shared_ptr<Connection> waiting = find(id)) {
            answer_activation(*waiting, parked.version, parked.request, parked.code_if_all_alive);
        }
    }
}

void Tcp_sessions::on_diagnostic(Connection& connection, std::uint8_t version, const Bytes& payload) {
    Diagnostic_message message = *decode_diagnostic_message(payload);
    if (!connection.source || message.source != *connection.source) {
        nack_diagnostic(connection, version, message, diagnostic_nack_code::invalid_source);
        connection.close_after_send("diagnostic message from a source not activated on this socket");
        return;
    }
    bool functional = message.target == config_.functional_address;
    if (message.target != config_.logical_address && !functional) {
        return nack_diagnostic(connection, version, message, diagnostic_nack_code::unknown_target);
    }
    if (message.uds.size() > config_.max_data_size) {
        return nack_diagnostic(connection, version, message, diagnostic_nack_code::message_too_large);
    }
    // ISO 13400-2: the positive acknowledge goes out before any UDS answer. It is written once
    // the request is with the server, whose worker can start meanwhile; an answer given by then
    // waits behind it and goes out with it, in one write.
    Outbox& outbox = *connection.outbox();
    outbox.cork();
    connection.send(encode_diagnostic_ack(version, payload_type::diagnostic_ack,
                                          {message.target, message.source, 0x00, {}}));
    std::uint16_t entity = config_.logical_address;
    std::uint16_t tester = message.source;
    // Written by the thread that answers, without a hop to this thread (the outbox keeps the
    // order and waits behind the acknowledge should the kernel not have taken it yet).
    Diagnostic_reply reply = [outbox = connection.outbox(), version, entity, tester](std::vector<std::uint8_t> uds) {
        return outbox->send_answer(encode_diagnostic_message(version, {entity, tester, std::move(uds)}));
    };
    Diagnostic_request request{connection.id(), message.source, message.target, functional, std::move(message.uds)};
    try {
        handler_.on_request(std::move(request), std::move(reply));
    } catch (const std::exception& error) {
        log_warn(std::string("the diagnostic handler threw: ") + error.what());
    }
    outbox.uncork();
}

void Tcp_sessions::nack_diagnostic(Connection& connection, std::uint8_t version, const Diagnostic_message& message,
                                   std::uint8_t code) {
    connection.send(encode_diagnostic_ack(version, payload_type::diagnostic_nack,
                                          {message.target, message.source, code, {}}));
    log_info("diagnostic NACK " + hex2(code) + " to " + hex4(message.source) + " on connection " +
             std::to_string(connection.id()));
}

void Tcp_sessions::arm_timer(Connection& connection) {
    Time_point deadline = connection.source ? connection.last_activity() + config_.general_inactivity
                                            : connection.connected_at + config_.initial_inactivity;
    if (connection.alive_check_deadline && *connection.alive_check_deadline < deadline) {
        deadline = *connection.alive_check_deadline;
    }
    // A deadline that only moved later (every message moves the inactivity one) keeps the timer
    // as it is: it fires at the earlier one and check_deadlines sets it again, so that a request
    // costs no timer change.
    if (connection.timer_deadline && *connection.timer_deadline <= deadline) return;
    connection.timer_deadline = deadline;
    std::uint64_t id = connection.id();
    connection.timer().expire_at(deadline, [this, id] { check_deadlines(id); });
}

void Tcp_sessions::check_deadlines(std::uint64_t id) {
    std::shared_ptr<Connection> connection = find(id);
    if (!connection) return;
    Time_point now = clock_.now();
    connection->timer_deadline.reset();  // fired (or came early): set again below unless closed
    if (connection->alive_check_deadline && now >= *connection->alive_check_deadline) {
        connection->close("no answer to the alive check");
    } else if (!connection->source && now >= connection->connected_at + config_.initial_inactivity) {
        connection->close("no routing activation in time (initial inactivity)");
    } else if (connection->source && now >= connection->last_activity() + config_.general_inactivity) {
        connection->close("idle too long (general inactivity)");
    } else {
        arm_timer(*connection);
    }
}

void Tcp_sessions::on_closed(Connection& connection, const std::string& reason) {
    std::uint64_t id = connection.id();
    auto it = connections_.find(id);
    if (it != connections_.end() && !connection.closed()) {
        // Closing after its last frames: kept to be closed at once should the entity stop first.
        lingering_.erase(std::remove_if(lingering_.begin(), lingering_.end(),
                                        [](const std::weak_ptr<Connection>& weak) { return weak.expired(); }),
                         lingering_.end());
        lingering_.push_back(it->second);
    }
    if (it != connections_.end()) connections_.erase(it);
    parked_.erase(id);
    log_info("connection " + std::to_string(id) + " closed: " + reason);
    try {
        handler_.on_connection_closed(id);
    } catch (const std::exception& error) {
        log_warn(std::string("the diagnostic handler threw: ") + error.what());
    }
    if (shut_down_) return;
    // Activations that waited on this socket try again: its address or its slot is free now.
    std::vector<std::uint64_t> retry;
    for (auto& [waiting, parked] : parked_) {
        if (parked.awaiting.count(id) > 0) retry.push_back(waiting);
    }
    for (std::uint64_t waiting : retry) {
        Parked parked = std::move(parked_[waiting]);
        parked_.erase(waiting);
        if (std::shared_ptr<Connection> again = find(waiting)) activate(*again, parked.version, parked.request);
    }
}

}  // namespace zevo::doip

#pragma once
// The TCP side of the DoIP entity: accepts testers, routing activation with socket
// registration and the alive check, diagnostic messages with their acknowledges, the
// inactivity timers. All on the entity's I/O thread; shutdown() closes every connection.

#include <asio/ip/tcp.hpp>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include "host/doip/clock.h"
#include "host/doip/connection.h"
#include "host/doip/diagnostic_handler.h"
#include "host/doip/entity_config.h"

namespace zevo::doip {

class Tcp_sessions final : public Connection_events {
public:
    Tcp_sessions(asio::io_context& io, const Entity_config& config, Diagnostic_handler& handler, Clock& clock);

    // Binds the listening socket (throws std::system_error); port 0 picks a free one.
    std::uint16_t listen(const asio::ip::address& address, std::uint16_t port);
    void start_accepting();
    void shutdown();
    std::uint8_t open_count() const { return static_cast<std::uint8_t>(connections_.size()); }

    Header_limits limits_for(const Connection& connection) override;
    void on_frame(Connection& connection, Frame frame) override;
    void on_rejected(Connection& connection, const Header& header, Header_verdict verdict) override;
    void on_closed(Connection& connection, const std::string& reason) override;

private:
    // A routing activation that waits for the alive check of registered sockets.
    struct Parked {
        std::uint8_t version = 0;
        Routing_activation_request request;
        std::uint8_t code_if_all_alive = 0;
        std::set<std::uint64_t> awaiting;
    };

    void accept();
    void activate(Connection& connection, std::uint8_t version, const Routing_activation_request& request);
    void answer_activation(Connection& connection, std::uint8_t version, const Routing_activation_request& request,
                           std::uint8_t code);
    void start_alive_check(Connection& connection);
    void on_alive_check_response(Connection& connection, const Bytes& payload);
    void on_diagnostic(Connection& connection, std::uint8_t version, const Bytes& payload);
    void nack_diagnostic(Connection& connection, std::uint8_t version, const Diagnostic_message& message,
                         std::uint8_t code);
    void arm_timer(Connection& connection);
    void check_deadlines(std::uint64_t id);
    std::shared_ptr<Connection> find(std::uint64_t id);

    const Entity_config& config_;
    Diagnostic_handler& handler_;
    Clock& clock_;
    asio::ip::tcp::acceptor acceptor_;
    std::uint64_t next_id_ = 1;
    bool shut_down_ = false;
    std::map<std::uint64_t, std::shared_ptr<Connection>> connections_;  // open ones
    std::vector<std::weak_ptr<Connection>> lingering_;  // closing after their last frames
    std::map<std::uint64_t, Parked> parked_;  // by the connection that asked
};

}  // namespace zevo::doip

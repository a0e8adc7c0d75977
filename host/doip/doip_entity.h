#pragma once
// A DoIP entity (ISO 13400-2) in front of a Diagnostic_handler: TCP and UDP on one address and
// port, served by one io_context on one thread of its own. start() and stop() from one owning
// thread (not from the handler); the handler runs on the entity's thread.

#include <asio/io_context.hpp>
#include <memory>
#include <thread>

#include "host/doip/clock.h"
#include "host/doip/diagnostic_handler.h"
#include "host/doip/entity_config.h"

namespace zevo::doip {

class Tcp_sessions;
class Udp_responder;

class Doip_entity {
public:
    // `handler` and `clock` must outlive the entity.
    Doip_entity(Entity_config config, Diagnostic_handler& handler, Clock& clock);
    ~Doip_entity();
    Doip_entity(const Doip_entity&) = delete;
    Doip_entity& operator=(const Doip_entity&) = delete;

    // Binds TCP and UDP and starts serving. Throws std::system_error when a socket cannot be
    // bound (address in use, not an address of this machine), std::invalid_argument for a bad
    // address text.
    void start();
    // Stops accepting, closes every connection (on_connection_closed for each) and joins the
    // entity's thread. Idempotent.
    void stop();

    // The bound port, after start() (the free one chosen for port 0).
    std::uint16_t port() const { return port_; }

private:
    Entity_config config_;
    Diagnostic_handler& handler_;
    Clock& clock_;
    asio::io_context io_;
    std::unique_ptr<Tcp_sessions> tcp_;
    std::unique_ptr<Udp_responder> udp_;
    std::thread thread_;
    std::uint16_t port_ = 0;
};

}  // namespace zevo::doip

#pragma once
// The UDP side of the DoIP entity: vehicle identification (plain, by EID, by VIN), entity
// status and power mode, answered unicast to the requester's port in the request's version,
// and the three announcements after start. On the entity's I/O thread.

#include <asio/ip/udp.hpp>
#include <functional>
#include <memory>

#include "host/doip/clock.h"
#include "host/doip/entity_config.h"

namespace zevo::doip {

class Udp_responder {
public:
    // `open_sockets` tells the entity status how many TCP sockets are open now.
    Udp_responder(asio::io_context& io, const Entity_config& config, Clock& clock,
                  std::function<std::uint8_t()> open_sockets);

    // Binds the socket (throws std::system_error).
    void bind(const asio::ip::address& address, std::uint16_t port);
    std::uint16_t port() const;
    // Starts receiving and, when configured, the announcements.
    void start();
    void shutdown();

private:
    void receive();
    void handle(std::size_t size);
    void send_to(Bytes frame, const asio::ip::udp::endpoint& to);
    void announce(int remaining);
    Vehicle_identification identification() const;

    const Entity_config& config_;
    Clock& clock_;
    std::function<std::uint8_t()> open_sockets_;
    asio::ip::udp::socket socket_;
    std::unique_ptr<Timer> announce_timer_;
    std::array<std::uint8_t, 65536> buffer_{};
    asio::ip::udp::endpoint sender_;
    bool shut_down_ = false;
};

}  // namespace zevo::doip

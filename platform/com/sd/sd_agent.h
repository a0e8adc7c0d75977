#pragma once
// Service discovery of one node on its I/O thread: Offers of what the node serves (three phases,
// answers to Finds, StopOffer), Finds of what it looks for (until the Offer comes), the table of
// found services with TTL expiry and reboot detection per peer, and a Nack for every Subscribe.
// offer, stop_offer and find may be called from any thread (they post to the I/O thread); the
// callbacks run on the I/O thread.

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <vector>

#include <asio/steady_timer.hpp>

#include "com/manifest/manifest.h"
#include "com/sd/found_services.h"
#include "com/sd/phase_timer.h"
#include "com/sd/reboot_detector.h"
#include "com/sd/sd_codec.h"
#include "com/someip/binding_log.h"
#include "com/someip/io_thread.h"
#include "com/someip/session_counter.h"
#include "com/someip/udp_socket.h"

namespace ruv::com::someip_binding::sd {

struct Agent_callbacks {
    /// A service was offered, or offered again on other endpoints.
    std::function<void(const Service_key& key, const Found_service& service)> found;
    /// A service is gone: StopOffer, TTL run out, or its node rebooted.
    std::function<void(const Service_key& key)> lost;
    /// A peer node restarted: its TCP connections are to be reset.
    std::function<void(const Ipv4_address& peer)> rebooted;
};

class Sd_agent final : public std::enable_shared_from_this<Sd_agent> {
public:
    Sd_agent(Io_thread& io, const Manifest& manifest, Binding_log& log, Agent_callbacks callbacks);

    /// Opens the unicast socket on the node's address and the multicast socket on the group, both
    /// on SD's port, and starts the timer. Throws std::system_error.
    void start();

    /// Offers `entry` (an Offer with its endpoint options) from now on.
    void offer(Entry entry);

    /// Withdraws the offer: one StopOffer now.
    void stop_offer(std::uint16_t service, std::uint16_t instance);

    /// Looks for the service; a service found already is told through `found` again.
    void find(std::uint16_t service, std::uint16_t instance);

    void stop();

    /// For tests: where the unicast socket is bound.
    asio::ip::udp::endpoint unicast_endpoint() const;

private:
    struct Offered {
        Entry entry;
        Phase_timer timer;
    };
    struct Searched {
        Entry entry;
        Phase_timer timer;
    };
    struct Delayed_answer {
        std::chrono::steady_clock::time_point due;
        asio::ip::udp::endpoint to;
        std::vector<Entry> entries;
    };

    std::chrono::milliseconds initial_delay();
    void receive(Byte_view datagram, const asio::ip::udp::endpoint& sender, bool by_multicast);
    void handle(const Message& message, std::uint16_t session, const asio::ip::udp::endpoint& sender, bool by_multicast);
    std::vector<Entry> answer_find(const Entry& find) const;
    void take_offer(const Entry& offer, const Ipv4_address& peer);
    void tick();
    void arm();
    void send(std::vector<Entry> entries, const asio::ip::udp::endpoint* to);

    Io_thread& io_;
    const Manifest& manifest_;
    Binding_log& log_;
    const Agent_callbacks callbacks_;
    const asio::ip::udp::endpoint group_;
    std::shared_ptr<Udp_socket> unicast_;
    std::shared_ptr<Udp_socket> multicast_;
    asio::steady_timer timer_;

    // I/O thread only, all of them.
    std::mt19937 random_;
    std::map<Service_key, Offered> offered_;
    std::map<Service_key, Searched> searched_;
    std::vector<Delayed_answer> delayed_;
    Found_services found_;
    Reboot_detector reboots_;
    Session_counter multicast_session_;
    std::map<asio::ip::udp::endpoint, Session_counter> unicast_sessions_;
};

}  // namespace ruv::com::someip_binding::sd

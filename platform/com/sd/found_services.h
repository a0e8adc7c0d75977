#pragma once
// The services a client node has learnt of from Offers: per service and instance id the peer,
// its endpoints and the time its offer runs out. It says what changed, so that the SD agent
// creates, replaces or withdraws the runtime's records. Pure: driven by the times it is given.
// Not thread-safe (the SD agent's I/O thread).

#include <chrono>
#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "com/manifest/manifest.h"
#include "com/sd/sd_message.h"

namespace ruv::com::someip_binding::sd {

struct Found_service {
    Ipv4_address peer{};
    std::uint8_t major_version = 0;
    std::uint32_t minor_version = 0;
    Ipv4_endpoint udp;  ///< port 0: not offered over UDP
    Ipv4_endpoint tcp;  ///< port 0: not offered over TCP
    std::chrono::steady_clock::time_point expiry;  ///< time_point::max(): until the peer reboots

    bool same_endpoints(const Found_service& other) const noexcept {
        return peer == other.peer && major_version == other.major_version && udp == other.udp && tcp == other.tcp;
    }
};

using Service_key = std::pair<std::uint16_t, std::uint16_t>;  ///< service id, instance id

class Found_services {
public:
    using Clock = std::chrono::steady_clock;
    enum class Change { none, added, refreshed, replaced, removed };

    /// Applies one Offer or StopOffer entry from `peer`, received at `now`.
    Change offered(const Entry& offer, const Ipv4_address& peer, Clock::time_point now);

    /// Removes and returns the services whose TTL has run out by `now`.
    std::vector<Service_key> expire(Clock::time_point now);

    /// Removes and returns every service of `peer`.
    std::vector<Service_key> remove_peer(const Ipv4_address& peer);

    const Found_service* find(const Service_key& key) const;

    /// The earliest expiry; time_point::max() when none.
    Clock::time_point next_expiry() const;

private:
    std::map<Service_key, Found_service> services_;
};

}  // namespace ruv::com::someip_binding::sd

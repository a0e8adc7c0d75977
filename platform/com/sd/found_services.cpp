#include "com/sd/found_services.h"

namespace ruv::com::someip_binding::sd {

Found_services::Change Found_services::offered(const Entry& offer, const Ipv4_address& peer, Clock::time_point now) {
    const Service_key key{offer.service_id, offer.instance_id};
    const auto found = services_.find(key);
    if (offer.is_stop_offer()) {
        if (found == services_.end()) {
            return Change::none;
        }
        services_.erase(found);
        return Change::removed;
    }
    Found_service service;
    service.peer = peer;
    service.major_version = offer.major_version;
    service.minor_version = offer.minor_version;
    for (const Option& option : offer.options) {
        if (option.type == option_type::ipv4_endpoint) {
            (option.endpoint.protocol == l4::tcp ? service.tcp : service.udp) = option.endpoint;
        }
    }
    service.expiry = offer.ttl == ttl_forever ? Clock::time_point::max() : now + std::chrono::seconds(offer.ttl);
    if (found == services_.end()) {
        services_.emplace(key, service);
        return Change::added;
    }
    const bool same = found->second.same_endpoints(service);
    found->second = service;
    return same ? Change::refreshed : Change::replaced;
}

std::vector<Service_key> Found_services::expire(Clock::time_point now) {
    std::vector<Service_key> expired;
    for (auto it = services_.begin(); it != services_.end();) {
        if (it->second.expiry <= now) {
            expired.push_back(it->first);
            it = services_.erase(it);
        } else {
            ++it;
        }
    }
    return expired;
}

std::vector<Service_key> Found_services::remove_peer(const Ipv4_address& peer) {
    std::vector<Service_key> removed;
    for (auto it = services_.begin(); it != services_.end();) {
        if (it->second.peer == peer) {
            removed.push_back(it->first);
            it = services_.erase(it);
        } else {
            ++it;
        }
    }
    return removed;
}

const Found_service* Found_services::find(const Service_key& key) const {
    const auto found = services_.find(key);
    return found == services_.end() ? nullptr : &found->second;
}

Found_services::Clock::time_point Found_services::next_expiry() const {
    Clock::time_point next = Clock::time_point::max();
    for (const auto& entry : services_) {
        next = std::min(next, entry.second.expiry);
    }
    return next;
}

}  // namespace ruv::com::someip_binding::sd

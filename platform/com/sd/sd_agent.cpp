#include "com/sd/sd_agent.h"

#include <algorithm>
#include <utility>

#include <asio/ip/multicast.hpp>
#include <asio/post.hpp>

#include "com/someip/message_walker.h"

namespace ruv::com::someip_binding::sd {
namespace {

using Clock = std::chrono::steady_clock;

asio::ip::address_v4 address_of(const Ipv4_address& bytes) { return asio::ip::address_v4(bytes); }

Ipv4_address bytes_of(const asio::ip::address& address) {
    return address.is_v4() ? address.to_v4().to_bytes() : Ipv4_address{};
}

bool matches(const Entry& find, const Entry& offer) {
    return find.service_id == offer.service_id &&
           (find.instance_id == any_instance || find.instance_id == offer.instance_id) &&
           (find.major_version == any_major || find.major_version == offer.major_version) &&
           (find.minor_version == any_minor || find.minor_version == offer.minor_version);
}

}  // namespace

Sd_agent::Sd_agent(Io_thread& io, const Manifest& manifest, Binding_log& log, Agent_callbacks callbacks)
    : io_(io),
      manifest_(manifest),
      log_(log),
      callbacks_(std::move(callbacks)),
      group_(address_of(manifest.sd.multicast), manifest.sd.port),
      timer_(io.context()),
      random_(std::random_device{}()) {}

void Sd_agent::start() {
    const asio::ip::address_v4 unicast = address_of(manifest_.unicast);
    unicast_ = std::make_shared<Udp_socket>(io_.context(), asio::ip::udp::endpoint(unicast, manifest_.sd.port));
    unicast_->socket().set_option(asio::ip::multicast::outbound_interface(unicast));
    unicast_->socket().set_option(asio::ip::multicast::enable_loopback(true));
    multicast_ = std::make_shared<Udp_socket>(io_.context(), group_);
    multicast_->socket().set_option(asio::ip::multicast::join_group(group_.address().to_v4(), unicast));
    const std::weak_ptr<Sd_agent> weak = weak_from_this();
    unicast_->start([weak](Byte_view datagram, const asio::ip::udp::endpoint& sender) {
        if (const auto self = weak.lock()) self->receive(datagram, sender, false);
    });
    multicast_->start([weak](Byte_view datagram, const asio::ip::udp::endpoint& sender) {
        if (const auto self = weak.lock()) self->receive(datagram, sender, true);
    });
}

asio::ip::udp::endpoint Sd_agent::unicast_endpoint() const { return unicast_->local_endpoint(); }

std::chrono::milliseconds Sd_agent::initial_delay() {
    std::uniform_int_distribution<std::chrono::milliseconds::rep> pick(manifest_.sd.initial_delay_min.count(),
                                                                       manifest_.sd.initial_delay_max.count());
    return std::chrono::milliseconds(pick(random_));
}

void Sd_agent::offer(Entry entry) {
    asio::post(io_.context(), [self = shared_from_this(), entry = std::move(entry)]() mutable {
        const Service_key key{entry.service_id, entry.instance_id};
        self->offered_.erase(key);
        self->offered_.emplace(key, Offered{std::move(entry), Phase_timer(self->manifest_.sd, true,
                                                                          self->initial_delay(), Clock::now())});
        self->arm();
    });
}

void Sd_agent::stop_offer(std::uint16_t service, std::uint16_t instance) {
    asio::post(io_.context(), [self = shared_from_this(), service, instance] {
        const auto found = self->offered_.find(Service_key{service, instance});
        if (found == self->offered_.end()) {
            return;
        }
        Entry stop = found->second.entry;
        stop.ttl = 0;
        self->offered_.erase(found);
        self->send({stop}, nullptr);
        self->arm();
    });
}

void Sd_agent::find(std::uint16_t service, std::uint16_t instance) {
    asio::post(io_.context(), [self = shared_from_this(), service, instance] {
        const Service_key key{service, instance};
        const Interface_deployment* interface = self->manifest_.interface_with_id(service);
        if (interface == nullptr || self->searched_.count(key) != 0) {
            return;
        }
        Entry entry;
        entry.type = entry_type::find_service;
        entry.service_id = service;
        entry.instance_id = instance;
        entry.major_version = interface->major_version;
        entry.minor_version = any_minor;
        entry.ttl = self->manifest_.sd.ttl_seconds;
        Searched searched{entry, Phase_timer(self->manifest_.sd, false, self->initial_delay(), Clock::now())};
        if (self->found_.find(key) != nullptr) {
            searched.timer.finish();
        }
        self->searched_.emplace(key, std::move(searched));
        self->arm();
    });
}

void Sd_agent::receive(Byte_view datagram, const asio::ip::udp::endpoint& sender, bool by_multicast) {
    if (unicast_ != nullptr && sender == unicast_->local_endpoint()) {
        return;  // our own multicast, looped back
    }
    const Walk_result walked = walk_datagram(datagram, [&](const Message_view& view) {
        if (!is_sd_header(view.header)) {
            log_.warn(Anomaly::sd_message, "a message on SD's port that is no SD message from " +
                                               sender.address().to_string() + " dropped");
            return;
        }
        const Decoded decoded = decode_sd(view.payload);
        if (decoded.fault != Fault::none) {
            log_.warn(Anomaly::sd_message, std::string("an SD message from ") + sender.address().to_string() +
                                               " dropped: " + to_text(decoded.fault));
            return;
        }
        if (decoded.rejected_entries + decoded.unknown_entries != 0) {
            log_.warn(Anomaly::sd_entry, std::to_string(decoded.rejected_entries) + " rejected and " +
                                             std::to_string(decoded.unknown_entries) + " unknown SD entries from " +
                                             sender.address().to_string() + " ignored");
        }
        handle(decoded.message, view.header.session_id, sender, by_multicast);
    });
    if (walked.dropped_bytes != 0) {
        log_.warn(Anomaly::datagram_tail, std::to_string(walked.dropped_bytes) +
                                              " bytes without a whole message on SD's port dropped");
    }
}

void Sd_agent::handle(const Message& message, std::uint16_t session, const asio::ip::udp::endpoint& sender,
                      bool by_multicast) {
    const Ipv4_address peer = bytes_of(sender.address());
    if (reboots_.rebooted(peer, by_multicast, (message.flags & flag::reboot) != 0, session)) {
        for (const Service_key& key : found_.remove_peer(peer)) {
            callbacks_.lost(key);
        }
        callbacks_.rebooted(peer);
    }
    std::vector<Entry> answers;
    for (const Entry& entry : message.entries) {
        switch (entry.type) {
        case entry_type::find_service: {
            std::vector<Entry> offers = answer_find(entry);
            answers.insert(answers.end(), offers.begin(), offers.end());
            break;
        }
        case entry_type::offer_service:
            take_offer(entry, peer);
            break;
        case entry_type::subscribe_eventgroup: {
            Entry nack = entry;  // no eventgroups here: every Subscribe is refused
            nack.type = entry_type::subscribe_eventgroup_ack;
            nack.ttl = 0;
            nack.options.clear();
            answers.push_back(nack);
            break;
        }
        default:
            break;
        }
    }
    if (answers.empty()) {
        arm();
        return;
    }
    const std::chrono::milliseconds most = manifest_.sd.request_response_delay;
    if (by_multicast && most > std::chrono::milliseconds::zero()) {
        std::uniform_int_distribution<std::chrono::milliseconds::rep> pick(0, most.count());
        delayed_.push_back(Delayed_answer{Clock::now() + std::chrono::milliseconds(pick(random_)), sender,
                                          std::move(answers)});
    } else {
        send(std::move(answers), &sender);
    }
    arm();
}

std::vector<Entry> Sd_agent::answer_find(const Entry& find) const {
    std::vector<Entry> offers;
    for (const auto& entry : offered_) {
        if (entry.second.timer.phase() != Phase_timer::Phase::initial_wait && matches(find, entry.second.entry)) {
            offers.push_back(entry.second.entry);
        }
    }
    return offers;
}

void Sd_agent::take_offer(const Entry& offer, const Ipv4_address& peer) {
    const Interface_deployment* interface = manifest_.interface_with_id(offer.service_id);
    if (interface == nullptr || offer.major_version != interface->major_version) {
        return;  // not a service of this deployment
    }
    const Service_key key{offer.service_id, offer.instance_id};
    switch (found_.offered(offer, peer, Clock::now())) {
    case Found_services::Change::added:
    case Found_services::Change::replaced: {
        const auto searched = searched_.find(key);
        if (searched != searched_.end()) {
            searched->second.timer.finish();
        }
        callbacks_.found(key, *found_.find(key));
        break;
    }
    case Found_services::Change::removed:
        callbacks_.lost(key);
        break;
    default:
        break;
    }
}

void Sd_agent::tick() {
    const Clock::time_point now = Clock::now();
    std::vector<Entry> due;
    for (auto& entry : offered_) {
        if (entry.second.timer.due(now)) {
            due.push_back(entry.second.entry);
            entry.second.timer.sent(now);
        }
    }
    for (auto& entry : searched_) {
        if (entry.second.timer.due(now)) {
            due.push_back(entry.second.entry);
            entry.second.timer.sent(now);
        }
    }
    if (!due.empty()) {
        send(std::move(due), nullptr);
    }
    for (auto it = delayed_.begin(); it != delayed_.end();) {
        if (it->due <= now) {
            send(std::move(it->entries), &it->to);
            it = delayed_.erase(it);
        } else {
            ++it;
        }
    }
    // A service whose offers stopped coming without a StopOffer may come back at any time: its
    // search starts again, so that it is found at once by the answer to a Find instead of at its
    // node's next cyclic Offer. (After a StopOffer the client waits for the next Offer instead.)
    for (const Service_key& key : found_.expire(now)) {
        const auto searched = searched_.find(key);
        if (searched != searched_.end()) {
            searched->second.timer = Phase_timer(manifest_.sd, false, initial_delay(), now);
        }
        callbacks_.lost(key);
    }
    arm();
}

void Sd_agent::arm() {
    Clock::time_point next = found_.next_expiry();
    for (const auto& entry : offered_) next = std::min(next, entry.second.timer.next());
    for (const auto& entry : searched_) next = std::min(next, entry.second.timer.next());
    for (const auto& answer : delayed_) next = std::min(next, answer.due);
    if (next == Clock::time_point::max()) {
        timer_.cancel();
        return;
    }
    timer_.expires_at(next);
    timer_.async_wait([weak = weak_from_this()](const std::error_code& error) {
        if (error == asio::error::operation_aborted) {
            return;
        }
        if (const auto self = weak.lock()) self->tick();
    });
}

void Sd_agent::send(std::vector<Entry> entries, const asio::ip::udp::endpoint* to) {
    if (unicast_ == nullptr) {
        return;
    }
    Session_counter& counter = to == nullptr ? multicast_session_ : unicast_sessions_[*to];
    Message message;
    message.flags = static_cast<std::uint8_t>((counter.wrapped() ? 0 : flag::reboot) | flag::unicast);
    message.entries = std::move(entries);
    const std::uint16_t session = counter.next();
    unicast_->send(std::make_shared<const Bytes>(encode_sd_message(message, session)), to == nullptr ? group_ : *to);
}

// What is still offered is withdrawn on the wire, so that clients end their calls at once
// instead of waiting for the TTL.
void Sd_agent::stop() {
    asio::post(io_.context(), [self = shared_from_this()] {
        self->timer_.cancel();
        std::vector<Entry> stops;
        for (const auto& entry : self->offered_) {
            stops.push_back(entry.second.entry);
            stops.back().ttl = 0;
        }
        self->offered_.clear();
        self->searched_.clear();
        self->delayed_.clear();
        if (!stops.empty()) {
            self->send(std::move(stops), nullptr);
        }
        if (self->unicast_ != nullptr) self->unicast_->close();
        if (self->multicast_ != nullptr) self->multicast_->close();
    });
}

}  // namespace ruv::com::someip_binding::sd

#include "host/doip/udp_responder.h"

#include <random>

#include "host/doip/entity_log.h"

namespace zevo::doip {

Udp_responder::Udp_responder(asio::io_context& io, const Entity_config& config, Clock& clock,
                             std::function<std::uint8_t()> open_sockets)
    : config_(config), clock_(clock), open_sockets_(std::move(open_sockets)), socket_(io),
      announce_timer_(clock.make_timer(io)) {}

void Udp_responder::bind(const asio::ip::address& address, std::uint16_t port) {
    asio::ip::udp::endpoint endpoint(address, port);
    socket_.open(endpoint.protocol());
    socket_.set_option(asio::ip::udp::socket::reuse_address(true));
    socket_.set_option(asio::socket_base::broadcast(true));
    socket_.bind(endpoint);
}

std::uint16_t Udp_responder::port() const { return socket_.local_endpoint().port(); }

void Udp_responder::start() {
    receive();
    if (!config_.announce) return;
    std::chrono::milliseconds wait{0};
    if (config_.announce_random_wait) {
        std::random_device seed;
        std::uniform_int_distribution<long> pick(0, timing::announce_wait_max.count());
        wait = std::chrono::milliseconds(pick(seed));
    }
    announce_timer_->expire_at(clock_.now() + wait, [this] { announce(timing::announce_count); });
}

void Udp_responder::shutdown() {
    shut_down_ = true;
    announce_timer_->cancel();
    asio::error_code ignored;
    socket_.close(ignored);
}

void Udp_responder::announce(int remaining) {
    if (shut_down_ || remaining <= 0) return;
    asio::error_code error;
    asio::ip::udp::endpoint to(asio::ip::make_address(config_.announce_address, error), config_.announce_port);
    if (error) {
        log_warn("announcement address " + config_.announce_address + " is not an address");
        return;
    }
    if (remaining > 1) {  // armed before the send, so that the interval counts from it
        announce_timer_->expire_at(clock_.now() + timing::announce_interval,
                                   [this, remaining] { announce(remaining - 1); });
    }
    send_to(encode_vehicle_identification(config_.protocol_version, identification()), to);
}

void Udp_responder::receive() {
    socket_.async_receive_from(asio::buffer(buffer_), sender_, [this](const asio::error_code& error, std::size_t size) {
        if (shut_down_) return;
        if (!error) handle(size);
        receive();
    });
}

Vehicle_identification Udp_responder::identification() const {
    Vehicle_identification message;
    message.vin = config_.vin;
    message.logical_address = config_.logical_address;
    message.eid = config_.eid;
    message.gid = config_.gid;
    message.further_action = config_.further_action;
    return message;
}

void Udp_responder::handle(std::size_t size) {
    std::optional<Header> header = decode_header(buffer_.data(), size);
    if (!header) {
        log_info("UDP datagram of " + std::to_string(size) + " bytes from " + sender_.address().to_string() +
                 " is shorter than a DoIP header: ignored");
        return;
    }
    Header_limits limits;
    limits.max_payload = config_.max_payload;
    Header_verdict verdict = check_header(*header, Receiver::entity_udp, limits);
    // One message per datagram: a length that disagrees with the datagram is a wrong length.
    if (verdict.accepted() && header->payload_length != size - header_size) {
        verdict = {Header_verdict::Action::close, header_nack::invalid_payload_length};
    }
    std::uint8_t version = pattern_valid(*header) && header->version != version::any ? header->version
                                                                                      : config_.protocol_version;
    if (!verdict.accepted()) {
        log_info("generic NACK " + hex2(verdict.nack_code) + " to " + sender_.address().to_string() + " over UDP");
        send_to(encode_generic_nack(version, verdict.nack_code), sender_);
        return;
    }
    const std::uint8_t* payload = buffer_.data() + header_size;
    switch (header->payload_type) {
        case payload_type::vehicle_id_request:
            send_to(encode_vehicle_identification(version, identification()), sender_);
            break;
        case payload_type::vehicle_id_request_eid:
            if (std::equal(config_.eid.begin(), config_.eid.end(), payload)) {
                send_to(encode_vehicle_identification(version, identification()), sender_);
            }
            break;
        case payload_type::vehicle_id_request_vin:
            if (std::equal(config_.vin.begin(), config_.vin.end(), payload)) {
                send_to(encode_vehicle_identification(version, identification()), sender_);
            }
            break;
        case payload_type::entity_status_request:
            send_to(encode_entity_status(version, {0x01, config_.max_testers, open_sockets_(), config_.max_data_size}),
                    sender_);
            break;
        case payload_type::power_mode_request:
            send_to(encode_power_mode(version, power_mode::ready), sender_);
            break;
        default:  // a generic NACK from a tester: nothing to answer
            break;
    }
}

void Udp_responder::send_to(Bytes frame, const asio::ip::udp::endpoint& to) {
    auto data = std::make_shared<Bytes>(std::move(frame));
    socket_.async_send_to(asio::buffer(*data), to, [data, to](const asio::error_code& error, std::size_t) {
        if (error) log_warn("UDP send to " + to.address().to_string() + " failed: " + error.message());
    });
}

}  // namespace zevo::doip

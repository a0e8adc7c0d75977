#include "host/doip/doip_entity.h"

#include <asio/executor_work_guard.hpp>
#include <asio/post.hpp>
#include <stdexcept>
#include <system_error>

#include "host/doip/entity_log.h"
#include "host/doip/tcp_sessions.h"
#include "host/doip/udp_responder.h"

namespace zevo::doip {

Doip_entity::Doip_entity(Entity_config config, Diagnostic_handler& handler, Clock& clock)
    : config_(std::move(config)), handler_(handler), clock_(clock) {}

Doip_entity::~Doip_entity() { stop(); }

void Doip_entity::start() {
    asio::error_code error;
    asio::ip::address address = asio::ip::make_address(config_.address, error);
    if (error) throw std::invalid_argument("not an IP address: " + config_.address);
    tcp_ = std::make_unique<Tcp_sessions>(io_, config_, handler_, clock_);
    udp_ = std::make_unique<Udp_responder>(io_, config_, clock_, [this] { return tcp_->open_count(); });
    port_ = tcp_->listen(address, config_.port);
    if (config_.port != 0) {
        udp_->bind(address, port_);
    } else {
        // The same free port for both: tries the TCP port, then new pairs, a few times.
        for (int attempt = 0;; ++attempt) {
            try {
                udp_->bind(address, port_);
                break;
            } catch (const std::system_error&) {
                if (attempt == 20) throw;
                tcp_ = std::make_unique<Tcp_sessions>(io_, config_, handler_, clock_);
                udp_ = std::make_unique<Udp_responder>(io_, config_, clock_, [this] { return tcp_->open_count(); });
                port_ = tcp_->listen(address, 0);
            }
        }
    }
    tcp_->start_accepting();
    udp_->start();
    log_info("DoIP entity " + hex4(config_.logical_address) + " listening on " + config_.address + ":" +
             std::to_string(port_) + " (TCP and UDP)");
    thread_ = std::thread([this] {
        auto work = asio::make_work_guard(io_);
        io_.run();
    });
}

void Doip_entity::stop() {
    if (!thread_.joinable()) return;
    asio::post(io_, [this] {
        tcp_->shutdown();
        udp_->shutdown();
        io_.stop();
    });
    thread_.join();
    // What the sockets' closing aborted completes here; every handler sees its connection closed.
    io_.restart();
    io_.poll();
    log_info("DoIP entity " + hex4(config_.logical_address) + " stopped");
}

}  // namespace zevo::doip

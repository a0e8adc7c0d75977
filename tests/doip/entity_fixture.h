#pragma once
// An entity on a free loopback port with the test handler and a manual clock, and helpers
// that speak to it through real sockets.

#include <gtest/gtest.h>

#include <memory>

#include "host/doip/doip_entity.h"
#include "host/doip/manual_clock.h"
#include "test_handler.h"
#include "test_sockets.h"

namespace zevo::doip::testing {

constexpr std::uint16_t entity_address = 0x0010;
constexpr std::uint16_t tester_address = 0x0E80;

class Entity_test : public ::testing::Test {
protected:
    // Tests change config_ before calling start().
    Entity_test() {
        config_.port = 0;
        config_.announce = false;
        config_.logical_address = entity_address;
    }
    ~Entity_test() override {
        if (sut_) sut_->stop();
    }

    void start() {
        sut_ = std::make_unique<Doip_entity>(config_, handler_, clock_);
        sut_->start();
    }
    std::uint16_t port() const { return sut_->port(); }

    std::unique_ptr<Tcp_tester> activated_tester(std::uint16_t source = tester_address) {
        auto tester = std::make_unique<Tcp_tester>(port());
        EXPECT_EQ(tester->activate(source), 0x10);
        return tester;
    }

    // Waits until the entity counts `count` open TCP sockets (entity status over UDP), so that
    // the clock moves only after it has accepted them. False after 5 s.
    bool wait_open_sockets(std::uint8_t count) {
        Udp_socket udp;
        for (int attempt = 0; attempt < 500; ++attempt) {
            udp.send_to(encode_entity_status_request(0x02), port());
            std::optional<Received> answer = udp.receive();
            if (!answer) return false;
            auto status = decode_entity_status(answer->payload);
            if (status && status->open_sockets == count) return true;
            std::optional<Received> none = udp.receive(std::chrono::milliseconds(10));  // paces the polling
            (void)none;
        }
        return false;
    }

    Bytes request(const Bytes& uds, std::uint16_t target = entity_address, std::uint16_t source = tester_address,
                  std::uint8_t version = 0x02) {
        return encode_diagnostic_message(version, {source, target, uds});
    }

    Entity_config config_;
    Manual_clock clock_;
    Test_handler handler_;
    std::unique_ptr<Doip_entity> sut_;
};

// The acknowledge (0x8002 or 0x8003) of a diagnostic message, decoded.
inline std::optional<Diagnostic_ack> receive_ack(Tcp_tester& tester, std::uint16_t expected_type) {
    std::optional<Received> frame = tester.receive();
    if (!frame || frame->header.payload_type != expected_type) return std::nullopt;
    return decode_diagnostic_ack(frame->payload);
}

}  // namespace zevo::doip::testing

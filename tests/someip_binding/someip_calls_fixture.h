#pragma once
// The fixture of the SOME/IP client and server tests: a server with a local provider behind it
// (service 0x2C56 on a UDP and a TCP port of 127.0.0.1) and a client, both on one I/O thread of
// the test's own, with the runtime and registry they use. Made and used on the test's thread.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <vector>

#include "com/someip/client.h"
#include "com/someip/remote_service.h"
#include "com/someip/server.h"
#include "raw_peer.h"
#include "ruv/com/local/provider_registry.h"
#include "tests/platform/local_call_support.h"

namespace zevo::test {

namespace someip_calls {

inline constexpr std::uint16_t service_id = 0x2C56;
inline constexpr std::uint16_t client_id = 0x0101;
inline const asio::ip::address_v4 loopback = asio::ip::make_address_v4("127.0.0.1");

}  // namespace someip_calls

class Someip_calls : public ::testing::Test {
protected:
    using Binding_log = ruv::com::someip_binding::Binding_log;
    using Client = ruv::com::someip_binding::Client;
    using Export = ruv::com::someip_binding::Export;
    using Io_thread = ruv::com::someip_binding::Io_thread;
    using Remote_service = ruv::com::someip_binding::Remote_service;
    using Remote_target = ruv::com::someip_binding::Remote_target;
    using Served_interface = ruv::com::someip_binding::Served_interface;
    using Server = ruv::com::someip_binding::Server;
    using Transport = ruv::com::someip_binding::Transport;

    Someip_calls() {
        udp_port = server->listen(Transport::udp, 0);
        tcp_port = server->listen(Transport::tcp, 0);
        Export service;
        service.served = Served_interface{someip_calls::service_id, 1, {0x0001, 0x0002, 0x0003}};
        service.method_ids = {0x0001, 0x0002, 0x0003};
        service.record = offer.record();
        server->add(Transport::udp, udp_port, service);
        server->add(Transport::tcp, tcp_port, service);
        client->start();
    }

    ~Someip_calls() override {
        client->stop();
        server->stop();
        io.stop();
        offer.withdraw();
        runtime->shutdown();
    }

    Remote_target target(Transport transport) const {
        Remote_target target;
        target.service_id = someip_calls::service_id;
        target.method_ids = {0x0001, 0x0002, 0x0003};
        target.transport = transport;
        target.address = someip_calls::loopback;
        target.port = transport == Transport::udp ? udp_port : tcp_port;
        return target;
    }

    std::shared_ptr<Remote_service> remote(Transport transport) {
        return std::make_shared<Remote_service>(client, runtime, target(transport));
    }

    /// Calls method index 1 and answers it in the provider with `code` and `bytes`.
    Response call_answered(Transport transport, std::uint8_t code, std::vector<std::uint8_t> bytes) {
        Handler_probe probe;
        auto service = remote(transport);
        service->call(1, payload_of({1, 2, 3}), probe.handler());
        auto received = inbox.next();
        EXPECT_TRUE(received);
        if (!received) return {};
        EXPECT_EQ(received->method_id, 1);
        EXPECT_EQ(received->request, (std::vector<std::uint8_t>{1, 2, 3}));
        received->reply.answer(code, std::move(bytes));
        EXPECT_TRUE(ready(probe.response));
        return probe.response.get();
    }

    std::shared_ptr<ruv::com::runtime::Runtime> runtime = std::make_shared<ruv::com::runtime::Runtime>();
    ruv::com::local::Provider_registry registry{ruv::com::local::Registry_options{std::chrono::seconds(10), runtime}};
    Call_inbox inbox;
    ruv::com::local::Offer offer = registry.offer(data_name, "1", inbox.handler());
    Binding_log log;
    Io_thread io;
    std::shared_ptr<Server> server = std::make_shared<Server>(io, someip_calls::loopback, log);
    std::shared_ptr<Client> client = std::make_shared<Client>(io, runtime, someip_calls::loopback,
                                                              someip_calls::client_id, std::chrono::milliseconds(300), log);
    std::uint16_t udp_port = 0;
    std::uint16_t tcp_port = 0;
};

}  // namespace zevo::test

// The simulator's controls: the served identifiers and their interface names, offering and
// withdrawing services, counting calls, checking faults before use, calls that cannot be taken
// (unknown method, undecodable request), and destruction with calls still held.

#include <gtest/gtest.h>

#include <chrono>
#include <stdexcept>
#include <string>
#include <vector>

#include "sim/key_simulator.h"
#include "sim_bench.h"

namespace {

using namespace zevo::test::sim;
using zevo::sim::Fault;
using zevo::sim::Key_simulator;
using zevo::sim::Method;

template <class Action>
std::string invalid_argument_of(Action action) {
    try {
        action();
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    ADD_FAILURE() << "no std::invalid_argument";
    return {};
}

TEST(sim_identifiers, ten_served_data_identifiers_first) {
    EXPECT_EQ(zevo::sim::served_identifiers(),
              (std::vector<std::uint16_t>{0x2C55, 0x2C56, 0x2C57, 0x2C60, 0x0648, 0xC00A, 0xC00B, 0xC00C, 0xC00D, 0xC00F}));
}

TEST(sim_identifiers, interface_names_are_those_the_plug_in_searches) {
    EXPECT_EQ(zevo::sim::interface_name_of(0x2C56), Training_counter::name);
    EXPECT_EQ(zevo::sim::interface_name_of(0xC00F), Get_state::name);
    EXPECT_EQ(invalid_argument_of([] { zevo::sim::interface_name_of(0x2C58); }), "Key_simulator: 0x2C58 is not served");
}

TEST(sim_controls, nothing_is_offered_before_offer_all) {
    ruv::com::local::Provider_registry registry(
        ruv::com::local::Registry_options{std::chrono::seconds{10}, std::make_shared<ruv::com::runtime::Runtime>()});
    Key_simulator simulator(registry);
    for (std::uint16_t identifier : zevo::sim::served_identifiers()) {
        EXPECT_FALSE(simulator.offered(identifier));
        EXPECT_TRUE(registry.find(zevo::sim::interface_name_of(identifier), "1").empty());
    }
    registry.runtime()->shutdown();
}

TEST(sim_controls, services_are_offered_under_the_instance_text) {
    ruv::com::local::Provider_registry registry(
        ruv::com::local::Registry_options{std::chrono::seconds{10}, std::make_shared<ruv::com::runtime::Runtime>()});
    {
        Key_simulator simulator(registry, zevo::sim::Simulator_options{"7", {}});
        simulator.offer(0x2C60);
        EXPECT_EQ(registry.find(Key_list::name, "7").size(), 1U);
        EXPECT_TRUE(registry.find(Key_list::name, "1").empty());
        EXPECT_FALSE(simulator.offered(0x2C56));
    }
    EXPECT_TRUE(registry.find(Key_list::name, "7").empty());  // destruction withdraws
    registry.runtime()->shutdown();
}

TEST(sim_controls, offer_of_an_offered_service_adds_no_second_offer) {
    Sim_bench bench;
    bench.simulator->offer(0x2C56);
    bench.simulator->offer_all();
    EXPECT_EQ(bench.registry.find(Training_counter::name, "1").size(), 1U);
}

TEST(sim_controls, withdraw_answers_pending_calls_0xFF_and_later_calls_too) {
    Sim_bench bench;
    bench.simulator->inject([] {
        Fault fault;
        fault.identifier = 0x2C56;
        fault.no_answer = true;
        fault.times = 1;
        return fault;
    }());
    const auto port = bench.port(0x2C56);
    ASSERT_TRUE(port);
    const Call_probe pending = Sim_bench::send(
        *port, 1, ruv::com::someip::serialization::request_payload<Training_counter::Read>(tester_meta_info()));
    ASSERT_TRUE(bench.simulator->wait_for_pending_call(0x2C56, Method::read_or_results, bound));
    bench.simulator->withdraw(0x2C56);
    EXPECT_FALSE(bench.simulator->offered(0x2C56));
    EXPECT_TRUE(bench.registry.find(Training_counter::name, "1").empty());
    ASSERT_TRUE(pending.response());
    EXPECT_EQ(pending.response()->code, 0xFF);
    const Call_probe later = Sim_bench::send(
        *port, 1, ruv::com::someip::serialization::request_payload<Training_counter::Read>(tester_meta_info()));
    ASSERT_TRUE(later.response());
    EXPECT_EQ(later.response()->code, 0xFF);
}

TEST(sim_controls, withdrawn_service_offered_again_answers_with_its_state_kept) {
    zevo::sim::Scenario scenario;
    scenario.routine_duration = std::chrono::milliseconds{0};
    Sim_bench bench(scenario);
    ASSERT_EQ(bench.call<Download_container::Start>(0xC00A, std::uint8_t{0x01}, Bytes{0x10, 0x20}).code, 0);
    bench.simulator->withdraw_all();
    for (std::uint16_t identifier : zevo::sim::served_identifiers()) EXPECT_FALSE(bench.simulator->offered(identifier));
    bench.simulator->offer(0x2C56);
    EXPECT_TRUE(bench.simulator->offered(0x2C56));
    EXPECT_EQ(bench.call<Training_counter::Read>(0x2C56).bytes, (Bytes{0x00, 0x00, 0x03}));
}

TEST(sim_controls, calls_are_counted_by_service_and_method_faulted_ones_too) {
    Sim_bench bench;
    bench.simulator->inject([] {
        Fault fault;
        fault.identifier = 0x2C56;
        fault.return_code = 0x81;
        return fault;
    }());
    bench.call<Training_counter::Read>(0x2C56);
    bench.call<Training_counter::Read>(0x2C56);
    bench.call<Training_counter::Cancel>(0x2C56);
    bench.call<Debug::Start>(0x0648, std::uint8_t{0x01}, Bytes{});
    EXPECT_EQ(bench.simulator->calls(0x2C56, Method::read_or_results), 2U);
    EXPECT_EQ(bench.simulator->calls(0x2C56, Method::cancel), 1U);
    EXPECT_EQ(bench.simulator->calls(0x0648, Method::start), 1U);
    EXPECT_EQ(bench.simulator->calls(0x0648, Method::read_or_results), 0U);
}

TEST(sim_controls, identifiers_that_are_not_served_are_refused) {
    Sim_bench bench;
    EXPECT_EQ(invalid_argument_of([&] { bench.simulator->offer(0x1234); }), "Key_simulator: 0x1234 is not served");
    EXPECT_EQ(invalid_argument_of([&] { bench.simulator->withdraw(0x2C58); }), "Key_simulator: 0x2C58 is not served");
    EXPECT_EQ(invalid_argument_of([&] { bench.simulator->calls(0x2C58, Method::cancel); }),
              "Key_simulator: 0x2C58 is not served");
}

TEST(sim_controls, faults_are_checked_before_use) {
    Sim_bench bench;
    Fault unserved;
    unserved.identifier = 0x2C58;
    EXPECT_EQ(invalid_argument_of([&] { bench.simulator->inject(unserved); }),
              "Key_simulator: injected fault: identifier: 0x2C58 is not served");
    Fault start_of_a_read;
    start_of_a_read.identifier = 0x2C56;
    start_of_a_read.method = Method::start;
    EXPECT_EQ(invalid_argument_of([&] { bench.simulator->inject(start_of_a_read); }),
              "Key_simulator: injected fault: method: \"start\" is not a method of data identifier 0x2C56");
    Fault two_actions;
    two_actions.identifier = 0x2C56;
    two_actions.drop = true;
    two_actions.return_code = 1;
    EXPECT_EQ(invalid_argument_of([&] { bench.simulator->inject(two_actions); }),
              "Key_simulator: injected fault: at most one of application_error, return_code, no_answer, drop, "
              "hold_until_cancel, withdraw_ms");
    ruv::com::local::Provider_registry& registry = bench.registry;
    zevo::sim::Scenario scenario;
    scenario.faults = {Fault{}, start_of_a_read};
    scenario.faults[0].identifier = 0x2C56;
    EXPECT_EQ(invalid_argument_of([&] { Key_simulator refused(registry, zevo::sim::Simulator_options{"1", scenario}); }),
              "Key_simulator: fault 1: method: \"start\" is not a method of data identifier 0x2C56");
}

TEST(sim_controls, unknown_method_is_answered_0x03) {
    Sim_bench bench;
    const auto data_identifier = bench.port(0x2C56);
    const auto routine = bench.port(0xC00F);
    ASSERT_TRUE(data_identifier && routine);
    const Bytes empty_meta_info{0x00, 0x00, 0x00, 0x00};
    EXPECT_EQ(Sim_bench::send(*data_identifier, 2, empty_meta_info).response()->code, 0x03);  // no Start on a DID
    EXPECT_EQ(Sim_bench::send(*routine, 7, empty_meta_info).response()->code, 0x03);
    EXPECT_EQ(bench.simulator->calls(0x2C56, Method::start), 0U);
}

TEST(sim_controls, request_that_does_not_decode_is_answered_0x09_and_does_nothing) {
    Sim_bench bench;
    const auto routine = bench.port(0xC00F);
    ASSERT_TRUE(routine);
    EXPECT_EQ(Sim_bench::send(*routine, 2, Bytes{0x00, 0x00, 0x00, 0x00}).response()->code, 0x09);  // no selector
    EXPECT_EQ(Sim_bench::send(*routine, 1, Bytes{0x00, 0x00}).response()->code, 0x09);  // a cut meta_info block
    EXPECT_EQ(bench.call<Get_state::RequestResults>(0xC00F).bytes, (Bytes{0x24, 0x24}));
}

TEST(sim_controls, destruction_with_held_and_delayed_calls_answers_them_0xFF) {
    auto runtime = std::make_shared<ruv::com::runtime::Runtime>();
    ruv::com::local::Provider_registry registry(ruv::com::local::Registry_options{std::chrono::seconds{10}, runtime});
    std::vector<Call_probe> probes;
    {
        zevo::sim::Scenario scenario;
        Fault held;
        held.identifier = 0x2C55;
        held.no_answer = true;
        Fault late;
        late.identifier = 0x2C56;
        late.delay = std::chrono::minutes{10};
        Fault away;
        away.identifier = 0x2C57;
        away.withdraw_for = std::chrono::minutes{10};
        scenario.faults = {held, late, away};
        Key_simulator simulator(registry, zevo::sim::Simulator_options{"1", scenario});
        simulator.offer_all();
        const std::vector<std::uint16_t> faulted{0x2C55, 0x2C56};
        for (std::uint16_t identifier : faulted) {
            const auto handles = registry.find(zevo::sim::interface_name_of(identifier), "1");
            ASSERT_EQ(handles.size(), 1U);
            ruv::com::cpp_binding::proxy::Rport port(handles.front(),
                                                     ruv::com::connector::Service_interface_description{0, 0, 2, 0});
            probes.push_back(Sim_bench::send(port, 1, Bytes{0x00, 0x00, 0x00, 0x00}));
            ASSERT_TRUE(simulator.wait_for_pending_call(identifier, Method::read_or_results, bound));
        }
        const auto handles = registry.find(zevo::sim::interface_name_of(0x2C57), "1");
        ruv::com::cpp_binding::proxy::Rport port(handles.front(), ruv::com::connector::Service_interface_description{});
        probes.push_back(Sim_bench::send(port, 1, Bytes{0x00, 0x00, 0x00, 0x00}));
        ASSERT_TRUE(probes.back().response());  // withdrawn: 0xFF, the re-offer waits ten minutes
    }
    for (const Call_probe& probe : probes) {
        const auto response = probe.response();
        ASSERT_TRUE(response);
        EXPECT_EQ(response->code, 0xFF);
    }
    for (std::uint16_t identifier : zevo::sim::served_identifiers()) {
        EXPECT_TRUE(registry.find(zevo::sim::interface_name_of(identifier), "1").empty());
    }
    runtime->shutdown();
}

}  // namespace

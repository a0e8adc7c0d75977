// zevo-keysim killed with SIGKILL while it holds a call of the host, and started again: the host
// (its extensions, dispatcher and UDS server in this process, the plug-in loaded by path, the
// services found over SOME/IP-SD) detects the restart by SD's reboot flag, ends the held call
// with 0xFF long before the Offer's TTL or the request time-out could, finds the services of the
// new process and gets its next answer from them. In a network namespace of the test's own.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <future>
#include <optional>

#include <nlohmann/json.hpp>

#include "child_process.h"
#include "host/extension_set.h"
#include "host/plugin_library.h"
#include "host/service_wait.h"
#include "host/simulator_control_link.h"
#include "host/uds_dispatcher.h"
#include "host/uds_server/diagnostic_description.h"
#include "host/uds_server/synchronous_tester.h"
#include "host/uds_server/timer_queue.h"
#include "host/uds_server/uds_server.h"
#include "network_namespace.h"

namespace {

using namespace std::chrono_literals;
using Bytes = std::vector<std::uint8_t>;
using Clock = std::chrono::steady_clock;

const std::string source_dir = ZEVO_SOURCE_DIR;

/// keysim.json with a TTL of 30 s: within the test only a reboot can end its offers.
std::string long_ttl_manifest() {
    std::ifstream in(source_dir + "/manifests/keysim.json");
    nlohmann::json json = nlohmann::json::parse(in);
    json["service_discovery"]["ttl_s"] = 30;
    const std::string path = testing::TempDir() + "keysim_restart_manifest.json";
    std::ofstream(path) << json.dump();
    return path;
}

std::string hold_read_scenario() {
    const std::string path = testing::TempDir() + "keysim_restart_scenario.json";
    std::ofstream(path) << R"({"faults": [{"identifier": "0x2C56", "method": "read", "hold_until_cancel": true}]})";
    return path;
}

class Keysim_restart : public testing::Test {
protected:
    void SetUp() override {
        if (!zevo::test::enter_network_namespace()) GTEST_SKIP() << "no network namespace (needs CAP_SYS_ADMIN)";
        // Read by the platform when the plug-in's first search starts the SOME/IP node.
        setenv("ZEVO_COM_MANIFEST", (source_dir + "/manifests/host.json").c_str(), 1);
        manifest = long_ttl_manifest();
        log = testing::TempDir() + "keysim_restart.log";
    }

    std::unique_ptr<zevo::test::Child_process> start_keysim(std::vector<std::string> extra) {
        std::vector<std::string> arguments{"--manifest", manifest};
        arguments.insert(arguments.end(), extra.begin(), extra.end());
        return std::make_unique<zevo::test::Child_process>(ZEVO_TEST_KEYSIM_PATH, arguments, log);
    }

    std::string manifest;
    std::string log;
};

/// Waits until the extensions of `identifiers` have (`wanted` true) or have not their services.
testing::AssertionResult found(const zevo::host::Uds_dispatcher& dispatcher, const std::vector<std::uint16_t>& identifiers,
                               bool wanted = true) {
    const auto wait = zevo::host::wait_for_services(
        identifiers, wanted, [&](std::uint16_t identifier) { return dispatcher.has_found_service(identifier); }, 10s,
        [] { return false; });
    if (wait.reached()) return testing::AssertionSuccess();
    return testing::AssertionFailure() << (wanted ? "not found" : "not lost")
                                       << " within 10 s: " << zevo::host::format_identifiers(wait.pending);
}

/// A control link to the port at `address`, which opens once the services are offered: a
/// connection may still race it.
std::optional<zevo::host::Simulator_control_link> control_link(const std::string& address) {
    std::optional<zevo::host::Simulator_control_link> control;
    for (int attempt = 0; attempt < 100 && !control; ++attempt) {
        try {
            control.emplace(address);
        } catch (const std::runtime_error&) {
            std::this_thread::yield();
        }
    }
    return control;
}

TEST_F(Keysim_restart, a_held_call_ends_at_the_restart_and_the_new_process_answers_the_next_request) {
    auto first = start_keysim({"--scenario", hold_read_scenario(), "--control", "127.0.0.2:30600"});
    ASSERT_TRUE(first->started());
    const zevo::host::Plugin_library plugin(ZEVO_TEST_PLUGIN_PATH);
    zevo::host::Extension_set extensions(plugin.entry_points());
    extensions.attach_all("1");
    zevo::host::Uds_dispatcher dispatcher(0x0E80);
    extensions.serve_with(dispatcher);
    {
        zevo::host::Steady_timer_queue timers;
        zevo::host::Uds_server server(dispatcher, zevo::host::default_description(), timers);
        zevo::host::Synchronous_tester tester(server, 0x0E80);
        ASSERT_TRUE(found(dispatcher, {0x2C56, 0xC00F}));
        std::optional<zevo::host::Simulator_control_link> control = control_link("127.0.0.2:30600");
        ASSERT_TRUE(control);

        auto held = std::async(std::launch::async, [&] { return tester.exchange({0x22, 0x2C, 0x56}); });
        ASSERT_TRUE(control->controls().wait_for_pending_call(0x2C56, zevo::sim::Method::read_or_results, 5s));
        first->kill();
        const Clock::time_point killed = Clock::now();
        // The new process starts with 0x2C56 withdrawn, so that the host cannot find it before the
        // test has seen the old one dropped.
        auto second = start_keysim({"--control", "127.0.0.2:30601", "--withdrawn", "0x2C56"});
        ASSERT_TRUE(second->started());
        ASSERT_EQ(held.wait_for(20s), std::future_status::ready);
        const zevo::host::Exchange ended = held.get();
        const auto took = Clock::now() - killed;
        ASSERT_TRUE(ended.final_answer());
        EXPECT_EQ(*ended.final_answer(), (Bytes{0x7F, 0x22, 0x10}));
        // The TTL (30 s) and the request time-out (10 s) are far off: only the reboot ended it.
        EXPECT_LT(took, 8s);

        // The extension drops its proxy of the old process on its own discovery strand, which may
        // come after the held call's end; once that is seen, the new process offers the service,
        // and the one found next is surely the new process's.
        ASSERT_TRUE(found(dispatcher, {0x2C56}, false));
        std::optional<zevo::host::Simulator_control_link> second_control = control_link("127.0.0.2:30601");
        ASSERT_TRUE(second_control);
        second_control->controls().offer(0x2C56);
        // Its restart showed on SD by multicast and may show again by unicast; it counts once, so
        // the service found now stays and the first request gets the new process's answer.
        ASSERT_TRUE(found(dispatcher, {0x2C56}));
        const zevo::host::Exchange next = tester.exchange({0x22, 0x2C, 0x56});
        ASSERT_TRUE(next.final_answer());
        const std::vector<std::uint8_t> answer = *next.final_answer();
        EXPECT_EQ(answer, (Bytes{0x62, 0x2C, 0x56, 0x00, 0x00, 0x02}));
    }
    extensions.detach_all();
}

}  // namespace

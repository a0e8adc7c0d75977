// zevo-keysim: the ten simulated key-handling services as a process of their own, served over
// SOME/IP with SOME/IP-SD as the deployment manifest says, until SIGINT or SIGTERM. The services
// are the same code the host embeds: they are offered on the process's local registry, and the
// platform's SOME/IP node serves those offers on the wire.
// Usage: zevo-keysim --manifest FILE [--scenario FILE] [--instance TEXT] [--session]
//                    [--control ADDRESS:PORT] [--withdrawn ID]...
// Exit codes: 0 stopped by a signal; 2 a bad command line, manifest or scenario; 1 the node or
// the simulator could not start.

#include <csignal>
#include <cstdio>
#include <exception>
#include <iostream>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "ruv/com/local/provider_registry.h"
#include "ruv/com/someip_binding/node.h"
#include "sim/control_protocol.h"
#include "sim/control_server.h"
#include "sim/key_simulator.h"
#include "sim/scenario.h"
#include "sim/scenario_merge.h"
#include "sim/session_plan.h"

namespace {

constexpr char usage[] =
    "usage: zevo-keysim --manifest FILE [--scenario FILE] [--instance TEXT] [--session]\n"
    "                   [--control ADDRESS:PORT] [--withdrawn ID]...\n"
    "  --manifest FILE          the SOME/IP deployment manifest (e.g. manifests/keysim.json)\n"
    "  --scenario FILE          faults of the simulated services (format: sim/README.md)\n"
    "  --instance TEXT          the instance text the services are offered under (default 1)\n"
    "  --session                the faults and routine time that zevo-dm's scripted session\n"
    "                           relies on, behind those of --scenario\n"
    "  --control ADDRESS:PORT   a control port (line protocol, sim/README.md) through which\n"
    "                           zevo-dm --simulator-control withdraws, offers and waits for\n"
    "                           held calls; port 0: one the system chooses (printed)\n"
    "  --withdrawn ID           start with this service (e.g. 0x2C56) not offered, until the\n"
    "                           control port's 'offer' offers it; may be given again\n";

struct Options {
    std::string manifest;
    std::string scenario;
    std::string instance = "1";
    std::string control;   ///< empty: no control port
    bool session = false;  ///< run on the scripted session's scenario
    std::vector<std::string> withdrawn;  ///< identifiers not offered at the start, as written
};

/// False (after a message) when the command line is not one zevo-keysim takes.
bool parse(int argc, char** argv, Options& options) {
    for (int index = 1; index < argc; ++index) {
        const std::string name = argv[index];
        if (name == "--help") {
            std::cout << usage;
            std::exit(0);
        }
        if (name == "--session") {
            options.session = true;
            continue;
        }
        if (name == "--withdrawn" && index + 1 < argc) {
            options.withdrawn.push_back(argv[++index]);
            continue;
        }
        std::string* const value = name == "--manifest"   ? &options.manifest
                                   : name == "--scenario" ? &options.scenario
                                   : name == "--instance" ? &options.instance
                                   : name == "--control"  ? &options.control
                                                          : nullptr;
        if (index + 1 >= argc || value == nullptr) {
            std::cerr << "zevo-keysim: " << (value != nullptr ? "missing value of " : "unknown option ") << name
                      << "\n" << usage;
            return false;
        }
        *value = argv[++index];
    }
    if (options.manifest.empty()) {
        std::cerr << "zevo-keysim: --manifest is required\n" << usage;
        return false;
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!parse(argc, argv, options)) {
        return 2;
    }
    // The signals are taken by sigwait below; blocked before any thread starts, so that every
    // thread inherits the mask and none of them is interrupted by them.
    sigset_t stop_signals;
    sigemptyset(&stop_signals);
    sigaddset(&stop_signals, SIGINT);
    sigaddset(&stop_signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stop_signals, nullptr);

    zevo::sim::Simulator_options simulator_options;
    simulator_options.instance = options.instance;
    std::optional<zevo::sim::Control_address> control;
    std::set<std::uint16_t> withdrawn;
    try {
        if (!options.scenario.empty()) {
            simulator_options.scenario = zevo::sim::load_scenario_file(options.scenario);
        }
        if (options.session) {
            simulator_options.scenario =
                zevo::sim::merge_scenarios(zevo::sim::default_session_scenario(), simulator_options.scenario);
        }
        if (!options.control.empty()) control = zevo::sim::parse_control_address(options.control, true);
        for (const std::string& identifier : options.withdrawn) {
            withdrawn.insert(zevo::sim::parse_served_identifier(identifier));
        }
    } catch (const std::exception& error) {
        std::cerr << "zevo-keysim: " << error.what() << "\n";
        return 2;
    }
    std::unique_ptr<ruv::com::someip_binding::Node> node;
    try {
        node = std::make_unique<ruv::com::someip_binding::Node>(options.manifest);
    } catch (const std::exception& error) {
        std::cerr << "zevo-keysim: " << error.what() << "\n";
        return std::string(error.what()).rfind("manifest ", 0) == 0 ? 2 : 1;
    }
    int signal_number = 0;
    try {
        zevo::sim::Key_simulator simulator(ruv::com::local::Provider_registry::process(), simulator_options);
        for (std::uint16_t identifier : zevo::sim::served_identifiers()) {
            if (withdrawn.count(identifier) == 0) simulator.offer(identifier);
        }
        std::optional<zevo::sim::Control_server> control_server;
        if (control) {
            control_server.emplace(simulator, *control);
            std::cout << "zevo-keysim: control port " << control->address << ":" << control_server->port()
                      << std::endl;
        }
        std::cout << "zevo-keysim: offering the ten services over SOME/IP (" << options.manifest
                  << "); SIGINT or SIGTERM ends" << std::endl;
        sigwait(&stop_signals, &signal_number);
        std::cout << "zevo-keysim: signal " << signal_number << ", withdrawing the services" << std::endl;
    } catch (const std::exception& error) {
        std::cerr << "zevo-keysim: " << error.what() << "\n";
        node->stop();
        return 1;
    }
    node->stop();  // the withdrawals above went out as StopOffers
    return 0;
}

#include "host/host_application.h"

#include <cstdlib>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "ara/log/contexts.h"
#include "host/extension_set.h"
#include "host/hex_bytes.h"
#include "host/host_options.h"
#include "host/interrupt_watcher.h"
#include "host/plugin_library.h"
#include "host/serve_command.h"
#include "host/service_wait.h"
#include "host/session_runner.h"
#include "host/simulator_control_link.h"
#include "host/uds_dispatcher.h"
#include "host/uds_server/diagnostic_description.h"
#include "host/uds_server/synchronous_tester.h"
#include "host/uds_server/timer_queue.h"
#include "host/uds_server/uds_server.h"
#include "ruv/com/local/provider_registry.h"
#include "ruv/com/someip_binding/node.h"
#include "sim/key_simulator.h"
#include "sim/scenario.h"
#include "sim/scenario_merge.h"
#include "sim/session_plan.h"

namespace zevo::host {
namespace {

/// Writes one of the host's own events under context HOST; the text is built only when the
/// level is on.
template <typename Make_text>
void log_host(ara::log::LogLevel level, Make_text&& make_text) {
    ara::log::contexts::log_text(ara::log::contexts::logger_of(ara::log::contexts::host), level, make_text);
}

/// The simulator's scenario for the command: a session runs on the faults its script relies on,
/// with those of --scenario added; send runs on the file's alone. Throws sim::Scenario_error.
sim::Scenario scenario_for(const Host_options& options) {
    sim::Scenario from_file;
    if (options.scenario_path) {
        from_file = sim::load_scenario_file(*options.scenario_path);
        log_host(ara::log::LogLevel::kInfo, [&] {
            return "scenario file " + *options.scenario_path + ": " + std::to_string(from_file.faults.size()) +
                   " faults";
        });
    }
    if (options.command != Host_command::session) return from_file;
    return sim::merge_scenarios(sim::default_session_scenario(), from_file);
}

Session_controls controls_of(sim::Key_simulator& simulator) {
    return Session_controls{
        [&simulator](std::uint16_t identifier) { simulator.withdraw(identifier); },
        [&simulator](std::uint16_t identifier) { simulator.offer(identifier); },
        [&simulator](std::uint16_t identifier, sim::Method method, std::chrono::milliseconds timeout) {
            return simulator.wait_for_pending_call(identifier, method, timeout);
        },
    };
}

std::string signal_text(int signal) { return signal == SIGINT ? "SIGINT" : signal == SIGTERM ? "SIGTERM" : "a signal"; }

int interrupted(int signal, std::ostream& err) {
    // One write: the platform's threads may still log a late answer (the Cancel's) on the same stream.
    err << ("zevo-dm: interrupted by " + signal_text(signal) + "; the running job, if any, was cancelled\n")
        << std::flush;
    return Interrupt_watcher::exit_code_for(signal);
}

Uds_server_settings server_settings(const Host_options& options, std::ostream& err) {
    Uds_server_settings settings;
    settings.p2 = options.p2;
    settings.p2_star = options.p2_star;
    settings.max_response_size = options.max_response_size;
    settings.warn = [&err, mutex = std::make_shared<std::mutex>()](const std::string& warning) {
        const std::lock_guard<std::mutex> lock(*mutex);
        err << "zevo-dm: warning: " << warning << std::endl;
    };
    settings.note = [](const std::string& event) { log_host(ara::log::LogLevel::kDebug, [&event] { return event; }); };
    return settings;
}

/// send: every request in turn, its answers, and whether each final answer was the expected one.
/// Returns exit_done, or exit_unexpected_answer when one was not.
int send_requests(const Host_options& options, Synchronous_tester& tester, Interrupt_watcher& watcher,
                  std::ostream& out, std::ostream& err) {
    int exit_code = exit_done;
    for (const Scripted_request& scripted : options.requests) {
        if (watcher.signal() != 0) break;
        out << "-> " << format_hex_bytes(scripted.request) << std::endl;
        const Exchange exchange = tester.exchange(scripted.request);
        for (const std::string& line : describe_exchange(exchange)) out << line << std::endl;
        if (!exchange.end.job_error.empty()) err << "zevo-dm: the job threw: " << exchange.end.job_error << std::endl;
        if (scripted.expected && !scripted.expected->matches(exchange.final_answer())) {
            out << "   expected " << scripted.expected->text() << std::endl;
            exit_code = exit_unexpected_answer;
        }
    }
    return exit_code;
}

int run_command(const Host_options& options, Diagnostic_description description, sim::Scenario scenario,
                Interrupt_watcher& watcher, std::ostream& out, std::ostream& err) {
    // A manifest named by --manifest or ZEVO_COM_MANIFEST is read here, so that a bad one ends the
    // host with its message instead of leaving every extension without its service.
    ruv::com::someip_binding::Node::process();
    ruv::com::local::Provider_registry& registry = ruv::com::local::Provider_registry::process();
    if (options.request_timeout) registry.set_request_timeout(*options.request_timeout);
    std::optional<Simulator_control_link> control_link;
    if (options.simulator_control) control_link.emplace(*options.simulator_control);
    // Declared in this order so that the extensions are gone before the plug-in is closed, and
    // the simulator stops offering only after both.
    std::optional<sim::Key_simulator> simulator;
    if (options.simulator) {
        simulator.emplace(registry, sim::Simulator_options{options.instance, std::move(scenario)});
        simulator->offer_all();
    }
    const Plugin_library plugin(options.plugin_path);
    Extension_set extensions(plugin.entry_points());
    extensions.attach_all(options.instance);
    log_host(ara::log::LogLevel::kInfo, [&] {
        return "plug-in " + options.plugin_path + " loaded: " + std::to_string(extensions.data_identifiers().size()) +
               " data identifiers, " + std::to_string(extensions.routines().size()) +
               " routines, attached with instance \"" + options.instance + "\"";
    });
    Uds_dispatcher dispatcher(options.tester_address);
    extensions.serve_with(dispatcher);
    Steady_timer_queue timers;
    // Destroyed before the extensions are detached: it cancels and waits for every job.
    Uds_server server(dispatcher, std::move(description), timers, server_settings(options, err));
    Synchronous_tester tester(server, options.tester_address);
    const Reaction_guard reaction(watcher, [&server](int) { server.shutdown(); });
    const Stop_request stop = [&watcher] { return watcher.signal() != 0; };

    if (options.discovery_timeout.count() > 0) {
        std::vector<std::uint16_t> identifiers = extensions.data_identifiers();
        const std::vector<std::uint16_t> routines = extensions.routines();
        identifiers.insert(identifiers.end(), routines.begin(), routines.end());
        const Service_wait_result wait = wait_for_services(
            identifiers, true, [&dispatcher](std::uint16_t identifier) { return dispatcher.has_found_service(identifier); },
            options.discovery_timeout, stop);
        if (wait.stopped) return interrupted(watcher.signal(), err);
        if (wait.reached()) {
            log_host(ara::log::LogLevel::kInfo, [&] {
                return "all " + std::to_string(identifiers.size()) + " extensions found their services in " +
                       std::to_string(wait.waited.count()) + " ms";
            });
        } else {
            log_host(ara::log::LogLevel::kError, [&] {
                return "no service found within " + std::to_string(options.discovery_timeout.count()) + " ms for " +
                       format_identifiers(wait.pending);
            });
            err << "zevo-dm: no service found within " << options.discovery_timeout.count() << " ms for "
                << format_identifiers(wait.pending) << " (instance \"" << options.instance << "\""
                << (options.simulator       ? ""
                    : options.manifest_path ? ", --manifest: none of them was offered over SOME/IP-SD"
                                            : ", --no-simulator: nothing in this process offers them")
                << ")"
                << std::endl;
            return exit_services_not_found;
        }
    }

    int exit_code = exit_done;
    if (options.command == Host_command::serve) {
        exit_code = serve_testers(options.serve, server, watcher, out, err);
    } else if (options.command == Host_command::send) {
        exit_code = send_requests(options, tester, watcher, out, err);
        if (watcher.signal() != 0) return interrupted(watcher.signal(), err);
    } else {
        Session_settings settings;
        settings.discovery_timeout = options.discovery_timeout;
        const Session_host host{server, tester,
                                [&dispatcher](std::uint16_t identifier) { return dispatcher.has_found_service(identifier); }};
        const Session_report report =
            run_session(host, sim::default_session(), simulator ? controls_of(*simulator) : control_link->controls(),
                        settings, out, stop);
        if (report.interrupted) return interrupted(watcher.signal(), err);
        exit_code = report.passed() ? exit_done : exit_unexpected_answer;
    }
    extensions.detach_all();
    return exit_code;
}

}  // namespace

int run_host(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err) {
    Host_options options;
    try {
        options = parse_host_options(arguments);
    } catch (const Option_error& error) {
        err << "zevo-dm: " << error.what() << "\nTry 'zevo-dm --help'.\n";
        return exit_usage_or_plugin;
    }
    if (options.help) {
        out << host_usage();
        return exit_done;
    }
    if (options.command == Host_command::none) {
        err << "zevo-dm: no command given\n\n" << host_usage();
        return exit_usage_or_plugin;
    }
    // The log library reads its level on first use, which is still to come: nothing of the
    // platform has run yet.
    if (const std::optional<int> level = log_level_to_set(options, std::getenv("ZEVO_LOG_LEVEL"))) {
        setenv("ZEVO_LOG_LEVEL", std::to_string(*level).c_str(), 1);
    }
    // Likewise the platform reads the manifest's path when the SOME/IP binding first starts.
    if (options.manifest_path) setenv("ZEVO_COM_MANIFEST", options.manifest_path->c_str(), 1);
    sim::Scenario scenario;
    try {
        scenario = scenario_for(options);
    } catch (const sim::Scenario_error& error) {
        err << "zevo-dm: scenario file " << error.what() << '\n';  // what() starts with the file's path
        return exit_usage_or_plugin;
    }
    Diagnostic_description description;
    try {
        description = options.description_path ? load_description_file(*options.description_path)
                                                : default_description();
    } catch (const Description_error& error) {
        err << "zevo-dm: description " << error.what() << '\n';  // what() starts with the file's path
        return exit_usage_or_plugin;
    }
    // Before the simulator and the plug-in start the platform's threads, which inherit the
    // blocked signals.
    Interrupt_watcher watcher;
    try {
        return run_command(options, std::move(description), std::move(scenario), watcher, out, err);
    } catch (const std::exception& error) {
        err << "zevo-dm: " << error.what() << '\n';
        return exit_usage_or_plugin;
    }
}

}  // namespace zevo::host

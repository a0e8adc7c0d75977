#include "tests/soak/soak_run.h"

#include <signal.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <random>
#include <thread>

#include "tests/soak/fault_injector.h"
#include "tests/soak/process_figures.h"
#include "tests/soak/thread_peak.h"
#include "tests/soak/traffic.h"
#include "tests/soak/traffic_mix.h"
#include "tests/support/served_port.h"

namespace zevo::soak {
namespace {

using namespace std::chrono_literals;
using zevo::test_support::served_port;

constexpr Milliseconds recovery_bound{20000};
constexpr Milliseconds settle_bound{5000};     ///< for descriptors and threads to come back at the end
constexpr double rss_growth_allowed = 0.10;
/// Threads the end may have above the warm-up's peak: a job runner worker or two for overlaps
/// the warm-up did not happen to have. A thread left behind per fault or per tester exceeds it.
constexpr std::size_t thread_slack = 2;
constexpr std::uint16_t fault_tester_address = 0x0EA0;

std::string percent(std::size_t from, std::size_t to) {
    char text[32];
    std::snprintf(text, sizeof text, "%+.1f %%", from == 0 ? 0.0 : 100.0 * (double(to) - double(from)) / double(from));
    return text;
}

/// The figures at the end, given `settle_bound` to come back to the descriptors and threads of `before`.
Process_figures settled_figures(pid_t pid, const Process_figures& before) {
    const Time deadline = Clock::now() + settle_bound;
    Process_figures now = read_process_figures(pid);
    while ((now.descriptors > before.descriptors || now.threads > before.threads + thread_slack) &&
           Clock::now() < deadline) {
        std::this_thread::sleep_for(100ms);
        now = read_process_figures(pid);
    }
    return now;
}

void judge_resources(const Process_figures& before, const Process_figures& after, const Soak_options& options,
                     Soak_tally& tally, std::ostream& out) {
    out << "zevo-dm:    RSS " << before.rss_kib << " KiB after the warm-up, " << after.rss_kib << " KiB at the end ("
        << percent(before.rss_kib, after.rss_kib) << "); descriptors " << before.descriptors << " -> "
        << after.descriptors << " (testers connected at both); threads " << before.threads
        << " (the warm-up's peak) -> " << after.threads << " (at most " << thread_slack << " more allowed)\n";
    if (!options.rss_rule_skipped.empty()) {
        out << "            memory rule skipped: " << options.rss_rule_skipped << "\n";
    } else if (double(after.rss_kib) > double(before.rss_kib) * (1.0 + rss_growth_allowed)) {
        tally.fail("zevo-dm's RSS grew by more than 10 % after the warm-up");
    }
    if (after.descriptors > before.descriptors) tally.fail("zevo-dm holds more descriptors at the end than after the warm-up");
    if (after.threads > before.threads + thread_slack) {
        tally.fail("zevo-dm has more threads at the end than the warm-up's peak and the slack");
    }
}

/// The recovery check after a phase of faults, and how long it took.
void recover(Fault_injector& faults, const char* phase, Time begin, std::ostream& out) {
    const Time from = Clock::now();
    const bool recovered = faults.recovered(recovery_bound);
    out << "zevo-soak: " << phase << " over at " << milliseconds_between(begin, from) << " ms; "
        << (recovered ? "every kind of request answered positively again within "
                      : "not every kind of request answered positively again within ")
        << milliseconds_between(from, Clock::now()) << " ms" << std::endl;
}

}  // namespace

int run_soak(const Soak_options& options, std::ostream& out) {
    signal(SIGPIPE, SIG_IGN);
    const std::uint32_t seed = options.seed ? *options.seed : std::random_device{}();
    out << "zevo-soak: seed " << seed << " (--seed " << seed << " repeats the choices), " << options.duration.count()
        << " s, " << options.testers << " testers and one that injects faults" << std::endl;
    const std::string scenario = options.work + "/soak-scenario.json";
    std::ofstream(scenario) << soak_scenario_json();

    Soak_tally tally;
    Judge_settings judge;
    judge.routine_work = routine_work + 1000ms;
    Soak_referee referee(tally, judge);
    Keysim_holder keysim({options.keysim, options.keysim_manifest, scenario, options.work});
    keysim.start();
    Soak_process host(options.host,
                      {"--manifest", options.host_manifest, "--request-timeout",
                       std::to_string(options.request_timeout.count()), "--log-level",
                       std::to_string(options.host_log_level), "--listen", "127.0.0.1:0", "--max-testers", "8", "serve"},
                      options.work + "/zevo-dm.log");
    const auto serving = host.wait_for_line("serving DoIP on", 30s);
    if (!serving) throw std::runtime_error("zevo-dm serve did not start within 30 s:\n" + host.log_tail(20));
    const Tester_address where{"127.0.0.1", served_port(*serving), 0x0010};

    const Time begin = Clock::now();
    const Time warmed_up = begin + options.duration / 5;
    const auto tail = std::max<std::chrono::seconds>(3s, options.duration / 10);
    const Time faults_end = begin + options.duration - tail;
    {
        Soak_tester fault_tester(where, fault_tester_address, referee, Sequence_limits{});
        const std::string failed = fault_tester.connect();
        if (!failed.empty()) tally.fail("the fault injector's tester: " + failed);
        Fault_injector faults(keysim, fault_tester, referee, seed, options.request_timeout);
        Traffic traffic(options.testers, where, referee, seed);
        const Thread_peak threads(host.pid());

        faults.inject_until(warmed_up, options.faults);
        recover(faults, "warm-up", begin, out);
        Process_figures after_warm_up = read_process_figures(host.pid());
        after_warm_up.threads = std::max(after_warm_up.threads, threads.peak());
        faults.inject_until(faults_end, options.faults);
        recover(faults, "faults", begin, out);
        std::this_thread::sleep_until(std::max(Clock::now(), begin + options.duration));
        judge_resources(after_warm_up, settled_figures(host.pid(), after_warm_up), options, tally, out);
        traffic.stop();
    }
    const auto host_exit = host.stop(SIGTERM, 15s);
    if (host_exit != 0) {
        tally.fail("zevo-dm serve ended with " + (host_exit ? std::to_string(*host_exit) : std::string("no exit in 15 s")) +
                   " on SIGTERM:\n" + host.log_tail(30));
    }
    const auto keysim_exit = keysim.stop();
    if (keysim_exit != 0) tally.fail("zevo-keysim ended with " + (keysim_exit ? std::to_string(*keysim_exit) : "no exit"));
    tally.print(out);
    out << "zevo-soak: " << (tally.failures() == 0 ? "passed" : "FAILED") << " after "
        << milliseconds_between(begin, Clock::now()) << " ms (seed " << seed << ")" << std::endl;
    return tally.failures() == 0 ? 0 : 1;
}

}  // namespace zevo::soak

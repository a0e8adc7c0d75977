// doip_bench: a read of 0x2C60 as a DoIP tester sends it to a `zevo-dm serve` process (routing
// activated once, then thousands of requests on one connection, each timed from the request's
// send to its answer), beside what it is made of, measured in the same run: (a) a raw TCP
// ping-pong between two processes with the same sizes on the wire (the request frame out, the
// acknowledge and the answer frame back, TCP_NODELAY) and (b) the same request through the
// host's UDS server in this process (plug-in, platform and simulator, the path of `zevo-dm send`),
// the three taken in turns;
// and (c) the requests a second that eight testers on connections of their own sustain together,
// each asking for an identifier of its own. Prints a table and whether the DoIP median stays
// within the two parts' medians plus 20 %; not a test.

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "bench/bench_children.h"
#include "bench/doip_tester.h"
#include "bench/machine_note.h"
#include "bench/measurement.h"
#include "bench/ping_pong.h"
#include "bench/tester_load.h"
#include "tests/support/child_process.h"
#include "tests/support/served_port.h"
#include "host/doip/frame_codec.h"
#include "host/extension_set.h"
#include "host/plugin_library.h"
#include "host/service_wait.h"
#include "host/uds_dispatcher.h"
#include "host/uds_server/diagnostic_description.h"
#include "host/uds_server/synchronous_tester.h"
#include "host/uds_server/timer_queue.h"
#include "host/uds_server/uds_server.h"
#include "ruv/com/local/provider_registry.h"
#include "sim/key_simulator.h"
#include "sim/session_plan.h"

#if !defined(ZEVO_BENCH_PLUGIN_PATH) || !defined(ZEVO_BENCH_ZEVO_DM)
#error "ZEVO_BENCH_PLUGIN_PATH and ZEVO_BENCH_ZEVO_DM (paths built in this tree) must be defined by the build"
#endif

namespace {

using namespace std::chrono_literals;
using namespace zevo::bench;
using zevo::doip::Bytes;
using zevo::test_support::Child_process;
using zevo::test_support::served_port;

struct Options {
    std::size_t rounds = 5000;                    ///< requests per latency figure
    std::chrono::milliseconds load_period{2000};  ///< how long the eight testers run in (c)
};

constexpr std::size_t warm_up_rounds = 500;
constexpr std::size_t blocks = 10;  // turns in which the three latency figures are taken
constexpr std::size_t load_testers = 8;
constexpr std::uint16_t first_tester = 0x0E80;
const Bytes read_key_list = {0x22, 0x2C, 0x60};

/// The simulator's session step that gives the answer to `request` on a fresh simulator.
const zevo::sim::Session_step& session_step_for(const Bytes& request) {
    static const std::vector<zevo::sim::Session_step> steps = zevo::sim::default_session();
    for (const zevo::sim::Session_step& step : steps) {
        if (step.kind == zevo::sim::Session_step::Kind::send && step.request == request) return step;
    }
    throw std::invalid_argument("no session step for the request");
}

// ---- (b) the same request through the host's server in this process

struct In_process_host {
    In_process_host()
        : simulator(ruv::com::local::Provider_registry::process(), zevo::sim::Simulator_options{"1", {}}),
          plugin(ZEVO_BENCH_PLUGIN_PATH),
          extensions(plugin.entry_points()) {
        simulator.offer_all();
        extensions.attach_all("1");
        extensions.serve_with(dispatcher);
        std::vector<std::uint16_t> all = extensions.data_identifiers();
        const std::vector<std::uint16_t> rids = extensions.routines();
        all.insert(all.end(), rids.begin(), rids.end());
        const zevo::host::Service_wait_result found = zevo::host::wait_for_services(
            all, true, [this](std::uint16_t identifier) { return dispatcher.has_found_service(identifier); }, 5s, {});
        if (!found.reached()) throw std::runtime_error("in-process host: services not found within 5 s");
        settings.p2 = 5000ms;  // no response pending on a loaded machine
        server = std::make_unique<zevo::host::Uds_server>(dispatcher, zevo::host::default_description(), timers, settings);
    }
    ~In_process_host() {
        server.reset();
        extensions.detach_all();
    }

    zevo::sim::Key_simulator simulator;
    const zevo::host::Plugin_library plugin;
    zevo::host::Extension_set extensions;
    zevo::host::Uds_dispatcher dispatcher{first_tester};
    zevo::host::Steady_timer_queue timers;
    zevo::host::Uds_server_settings settings;
    std::unique_ptr<zevo::host::Uds_server> server;  // destroyed first: it waits for its jobs
};

// ---- (c) eight testers at once

/// The requests of the load: four reads, four routines' results, the routines started first
/// with the session's Starts, so that each tester has an identifier whose job no other runs.
Tester_load eight_testers(std::uint16_t port, std::chrono::milliseconds period) {
    const std::vector<Bytes> starts = {{0x31, 0x01, 0xC0, 0x0F, 0x00}, {0x31, 0x01, 0xC0, 0x0D, 0x01}};
    Doip_tester starter(port, first_tester + load_testers);
    for (const Bytes& start : starts) {
        if (starter.exchange(start) != session_step_for(start).expected) throw std::runtime_error("a Start failed");
    }
    const std::vector<Bytes> requests = {{0x22, 0x2C, 0x55}, {0x22, 0x2C, 0x56}, {0x22, 0x2C, 0x57},
                                         {0x22, 0x2C, 0x60}, {0x31, 0x03, 0xC0, 0x0F}, {0x31, 0x03, 0xC0, 0x0D},
                                         {0x3E, 0x00},       {0x10, 0x01}};
    std::vector<std::unique_ptr<Doip_tester>> testers;
    std::vector<Doip_tester*> sending;
    for (std::size_t index = 0; index < load_testers; ++index) {
        testers.push_back(std::make_unique<Doip_tester>(port, static_cast<std::uint16_t>(first_tester + index)));
        sending.push_back(testers.back().get());
    }
    return send_without_pause(sending, requests, period);
}

// ---- the run

/// zevo-dm serve on a free port of 127.0.0.1, its routines instant, logging errors only.
class Serve_child {
public:
    Serve_child()
        : scenario_("doip_bench", "scenario.json", R"({"routine_duration_ms": 0})"),
          process_({ZEVO_BENCH_ZEVO_DM, "--log-level", "2", "--scenario", scenario_.path(), "--p2", "5000", "--listen",
                    "127.0.0.1:0", "--max-testers", std::to_string(load_testers + 1), "serve"}),
          port_(served_port(process_.process().wait_for_line("serving DoIP on 127.0.0.1 port ", 20s))) {
        if (port_ == 0) throw std::runtime_error("zevo-dm serve did not start");
    }

    std::uint16_t port() const { return port_; }

private:
    Scratch_file scenario_;
    Stopped_child process_;
    std::uint16_t port_;
};

void print_row(const char* figure, const Percentiles& measured) {
    std::printf("%-46s %9.1f us %9.1f us\n", figure, measured.median_us, measured.p99_us);
}

int run(const Options& options) {
    setenv("ZEVO_LOG_LEVEL", "2", 0);  // the in-process host logs errors only
    const Bytes expected = session_step_for(read_key_list).expected;
    const Bytes request_frame = diagnostic_frame(first_tester, read_key_list);
    const Bytes acknowledge_frame = zevo::doip::encode_diagnostic_ack(
        zevo::doip::version::iso_2012, zevo::doip::payload_type::diagnostic_ack, {doip_entity, first_tester, 0x00, {}});
    const Bytes answer_frame =
        zevo::doip::encode_diagnostic_message(zevo::doip::version::iso_2012, {doip_entity, first_tester, expected});

    // Forked first, while this process has no thread yet.
    Ping_pong_peer peer(Transport::tcp, "127.0.0.1", request_frame.size(), {acknowledge_frame, answer_frame});
    Ping_pong_client raw_client(Transport::tcp, "127.0.0.1", "127.0.0.1", peer.port(), request_frame,
                                acknowledge_frame.size() + answer_frame.size());
    Serve_child serve;
    Doip_tester doip_tester(serve.port(), first_tester);
    In_process_host host;
    zevo::host::Synchronous_tester host_tester(*host.server, first_tester);

    // The three figures are taken in turns, a block of each at a time, so that a machine busy
    // with something else for a while weighs on all three alike.
    std::size_t unexpected = 0;
    Latencies raw_latencies;
    Latencies doip_latencies;
    Latencies in_process_latencies;
    const auto append = [](Latencies& to, const Latencies& block) { to.insert(to.end(), block.begin(), block.end()); };
    for (std::size_t block = 0; block < blocks; ++block) {
        const std::size_t rounds = options.rounds / blocks + (block < options.rounds % blocks ? 1 : 0);
        const std::size_t warm_up = block == 0 ? warm_up_rounds : 0;
        append(raw_latencies, time_requests(rounds, warm_up, [&] { return raw_client.exchange(); }, unexpected));
        append(doip_latencies, time_requests(rounds, warm_up, [&] { return doip_tester.exchange(read_key_list) == expected; },
                                             unexpected));
        append(in_process_latencies, time_requests(
                                         rounds, warm_up,
                                         [&] {
                                             const zevo::host::Exchange exchange = host_tester.exchange(read_key_list);
                                             return exchange.final_answer() != nullptr &&
                                                    *exchange.final_answer() == expected;
                                         },
                                         unexpected));
    }
    const Percentiles raw = percentiles(raw_latencies);
    const Percentiles doip = percentiles(doip_latencies);
    const Percentiles in_process = percentiles(in_process_latencies);
    const Tester_load load = eight_testers(serve.port(), options.load_period);

    const double bound = 1.2 * (raw.median_us + in_process.median_us);
    std::printf("doip_bench: %zu requests per figure after %zu to warm up; 22 2C 60 -> 62 2C 60 (9 bytes)\n\n",
                options.rounds, warm_up_rounds);
    std::printf("%-46s %12s %12s\n", "figure", "median", "p99");
    print_row("(a) raw TCP ping-pong, two processes, 15 -> 34 B", raw);
    print_row("(b) in-process: host's UDS server and plug-in", in_process);
    print_row("DoIP to zevo-dm serve, one tester", doip);
    std::printf("\nDoIP median %.1f us; (a) + (b) + 20 %% = %.1f us: %s\n", doip.median_us, bound,
                doip.median_us <= bound ? "within" : "ABOVE");
    std::printf("(c) %zu testers, a connection and an identifier each, %.2f s: %.0f requests a second in all\n",
                load_testers, load.seconds, static_cast<double>(load.answers) / load.seconds);
    return exit_code_of_requests(unexpected, load.unexpected);
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    for (int index = 1; index < argc; ++index) {
        const std::string option = argv[index];
        std::size_t value = 0;
        if (option == "--rounds" && index + 1 < argc && parse_count(argv[++index], options.rounds)) continue;
        if (option == "--load-ms" && index + 1 < argc && parse_count(argv[++index], value)) {
            options.load_period = std::chrono::milliseconds{static_cast<long long>(value)};
            continue;
        }
        std::fprintf(stderr,
                     "usage: doip_bench [--rounds N] [--load-ms N]\n"
                     "  --rounds N    requests per latency figure (default 5000)\n"
                     "  --load-ms N   how long the eight testers run (default 2000)\n");
        return 2;
    }
    try {
        zevo::bench::print_machine_note();
        return run(options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "doip_bench: %s\n", error.what());
        return 1;
    }
}

// end_to_end_network_bench: a tester's request over both networks of the vehicle, tester -> DoIP
// -> `zevo-dm serve` -> plug-in -> SOME/IP over UDP -> `zevo-keysim` and back, in a network
// namespace of its own (needs root; exits 77 without). Times a read of 0x2C60 and a Start of
// 0x0648 from a DoIP tester in this process, each beside the raw ping-pongs it is made of,
// measured in the same run and in turns with it: a TCP ping-pong of the DoIP frames' sizes and a
// UDP ping-pong of the SOME/IP messages' sizes (both learnt from the wire at the start), between
// this process and echo processes of its own; with each figure the context switches and the
// processor time per request of every process taking part (from /proc). Then the requests a
// second that several testers sustain together, and what the serve process and zevo-keysim use
// per request meanwhile. Main thread, plus one thread per tester in the throughput part; not a test.
// Usage: end_to_end_network_bench [--rounds N] [--testers N] [--seconds N]

#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <exception>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "bench/bench_children.h"
#include "bench/doip_tester.h"
#include "bench/machine_note.h"
#include "bench/measurement.h"
#include "bench/ping_pong.h"
#include "bench/process_stats.h"
#include "bench/tester_load.h"
#include "bench/udp_capture.h"
#include "tests/someip_binding/network_namespace.h"
#include "tests/support/child_process.h"
#include "tests/support/served_port.h"

#if !defined(ZEVO_SOURCE_DIR) || !defined(ZEVO_BENCH_ZEVO_DM) || !defined(ZEVO_BENCH_KEYSIM)
#error "ZEVO_SOURCE_DIR, ZEVO_BENCH_ZEVO_DM and ZEVO_BENCH_KEYSIM must be defined by the build"
#endif

namespace {

using namespace std::chrono_literals;
using namespace zevo::bench;
using zevo::doip::Bytes;
using zevo::test_support::Child_process;
using zevo::test_support::served_port;

struct Options {
    std::size_t rounds = 10000;  ///< timed requests per figure
    std::size_t testers = 8;     ///< testers of the throughput part
    std::size_t seconds = 5;     ///< how long they send
};

constexpr const char* bench_name = "end_to_end_network_bench";  // names its scratch files
constexpr std::size_t warm_up_rounds = 500;
constexpr std::size_t blocks = 10;              // turns in which a call's three figures are taken
constexpr std::uint16_t someip_port = 30501;    // where zevo-keysim serves, manifests/keysim.json
constexpr std::uint16_t first_tester = 0x0E80;
constexpr double goal = 2.5;                    // end-to-end median at most this times the raw sum

/// A request that crosses both networks and the answer it must get every time.
struct Call {
    const char* name;
    Bytes request;
    Bytes expected;
};

const std::vector<Call>& calls() {
    static const std::vector<Call> all = {
        {"read 0x2C60, 22 2C 60", {0x22, 0x2C, 0x60}, {0x62, 0x2C, 0x60, 0x08, 0x02, 0x1A, 0x01, 0x1A, 0x02}},
        {"Start 0x0648, 31 01 06 48 01 DE AD", {0x31, 0x01, 0x06, 0x48, 0x01, 0xDE, 0xAD}, {0x71, 0x01, 0x06, 0x48}},
    };
    return all;
}

/// The throughput part's testers: each an identifier of its own, so that none is refused as busy
/// (one job per extension); every request crosses SOME/IP. The routines are started first.
const std::vector<Bytes> load_starts = {{0x31, 0x01, 0xC0, 0x0F, 0x00},
                                        {0x31, 0x01, 0xC0, 0x0D, 0x01},
                                        {0x31, 0x01, 0xC0, 0x0C, 0x01, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15},
                                        {0x31, 0x01, 0xC0, 0x0B, 0x01, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}};
const std::vector<Bytes> load_requests = {{0x22, 0x2C, 0x60},       {0x22, 0x2C, 0x55},       {0x22, 0x2C, 0x56},
                                          {0x22, 0x2C, 0x57},       {0x31, 0x03, 0x06, 0x48}, {0x31, 0x03, 0xC0, 0x0F},
                                          {0x31, 0x03, 0xC0, 0x0D}, {0x31, 0x03, 0xC0, 0x0C}, {0x31, 0x03, 0xC0, 0x0B}};

/// zevo-keysim on 127.0.0.2 (routines done at once, so that a Start can be repeated at once) and
/// `zevo-dm serve` on a free port of 127.0.0.1 with every request of the plug-in over UDP; both
/// log errors only. Stopped (SIGTERM) in reverse order when the object goes.
class Road {
public:
    explicit Road(std::size_t max_testers)
        : scenario_(bench_name, "scenario.json", R"({"routine_duration_ms": 0})"),
          manifest_(bench_name, "host_udp.json", ""),
          keysim_({ZEVO_BENCH_KEYSIM, "--manifest", ZEVO_SOURCE_DIR "/manifests/keysim.json", "--scenario", scenario_.path()},
                  {{"ZEVO_LOG_LEVEL", "2"}}) {
        Child_process variant({"/usr/bin/python3", ZEVO_SOURCE_DIR "/tests/someip_binding/manifest_variant.py",
                               ZEVO_SOURCE_DIR "/manifests/host.json", manifest_.path(), "--request-transport", "udp"});
        const zevo::test_support::Run_result made = variant.finish(20s);
        if (made.exit_code != 0) throw std::runtime_error("manifest_variant.py failed: " + made.err);
        serve_ = std::make_unique<Stopped_child>(std::vector<std::string>{
            ZEVO_BENCH_ZEVO_DM, "--log-level", "2", "--manifest", manifest_.path(), "--p2", "5000", "--listen",
            "127.0.0.1:0", "--max-testers", std::to_string(max_testers), "serve"});
        port_ = served_port(serve_->process().wait_for_line("serving DoIP on 127.0.0.1 port ", 20s));
        if (port_ == 0) throw std::runtime_error("zevo-dm serve did not start serving within 20 s");
        host_pid_ = child_named("zevo-dm");
        keysim_pid_ = child_named("zevo-keysim");
    }

    std::uint16_t port() const { return port_; }
    pid_t host_pid() const { return host_pid_; }
    pid_t keysim_pid() const { return keysim_pid_; }

private:
    Scratch_file scenario_;
    Scratch_file manifest_;
    Stopped_child keysim_;
    std::unique_ptr<Stopped_child> serve_;  // stopped before zevo-keysim
    std::uint16_t port_ = 0;
    pid_t host_pid_ = -1;
    pid_t keysim_pid_ = -1;
};

/// The bytes of a call on each network, taken from one exchange.
struct Wire_sizes {
    std::size_t doip_request = 0;    ///< the diagnostic message frame
    std::size_t doip_reply = 0;      ///< the acknowledge and the answer frame
    std::size_t someip_request = 0;  ///< the UDP payload: SOME/IP header and payload
    std::size_t someip_response = 0;
};

Wire_sizes sizes_on_the_wire(Doip_tester& tester, Udp_capture& capture, const Call& call) {
    capture.take();
    if (tester.exchange(call.request) != call.expected) throw std::runtime_error(std::string(call.name) + ": unexpected answer");
    const std::vector<Udp_capture::Datagram> datagrams = capture.take();
    if (datagrams.size() != 2 || !datagrams[0].to_port || datagrams[1].to_port) {
        throw std::runtime_error(std::string(call.name) + ": expected one SOME/IP request and one response, saw " +
                                 std::to_string(datagrams.size()) + " datagrams");
    }
    return {diagnostic_frame(first_tester, call.request).size(), tester.received_bytes(), datagrams[0].payload,
            datagrams[1].payload};
}

/// Context switches and processor time of a set of processes over the periods between start()
/// and stop().
class Process_usage {
public:
    explicit Process_usage(std::vector<pid_t> pids)
        : pids_(std::move(pids)), switches_(pids_.size()), switch_marks_(pids_.size()), cpu_(pids_.size()),
          cpu_marks_(pids_.size()) {}
    void start() {
        for (std::size_t index = 0; index < pids_.size(); ++index) {
            switch_marks_[index] = context_switches(pids_[index]);
            cpu_marks_[index] = running_seconds(pids_[index]);
        }
    }
    void stop() {
        for (std::size_t index = 0; index < pids_.size(); ++index) {
            switches_[index] += context_switches(pids_[index]) - switch_marks_[index];
            cpu_[index] += running_seconds(pids_[index]) - cpu_marks_[index];
        }
    }
    double switches_per(std::size_t index, std::size_t requests) const {
        return static_cast<double>(switches_[index]) / static_cast<double>(requests);
    }
    double cpu_us_per(std::size_t index, std::size_t requests) const {
        return 1e6 * cpu_[index] / static_cast<double>(requests);
    }

private:
    std::vector<pid_t> pids_;
    std::vector<long> switches_, switch_marks_;
    std::vector<double> cpu_, cpu_marks_;
};

/// The figures of one call and its two raw ping-pongs.
struct Call_figures {
    Wire_sizes sizes;
    Latencies raw_tcp, raw_udp, end_to_end;
    Process_usage tcp_usage, udp_usage, road_usage;  // this process first, then the others
};

void print_figure(const std::string& figure, const Latencies& samples, const std::string& switches) {
    const Percentiles measured = percentiles(samples);
    std::printf("  %-56s %9.1f us %9.1f us   %s\n", figure.c_str(), measured.median_us, measured.p99_us, switches.c_str());
}

/// "bench 2.0 / 9.1 us, zevo-dm ...": context switches and processor time per request of each.
std::string usage_text(const Process_usage& usage, std::size_t requests, const std::vector<const char*>& names) {
    std::string text;
    char part[80];
    for (std::size_t index = 0; index < names.size(); ++index) {
        std::snprintf(part, sizeof part, "%s%s %.1f / %.1f us", index == 0 ? "" : ", ", names[index],
                      usage.switches_per(index, requests), usage.cpu_us_per(index, requests));
        text += part;
    }
    return text;
}

/// The requests a second of `testers` testers sending without pause for `seconds`, and what the
/// serve process and zevo-keysim used meanwhile. `first` is the latency part's tester, reused.
struct Load_result {
    std::size_t answers = 0;
    std::size_t unexpected = 0;
    double seconds = 0;
    double host_cpu_s = 0, keysim_cpu_s = 0;
    long host_switches = 0, keysim_switches = 0;
};

Load_result sustained_load(const Road& road, Doip_tester& first, const Options& options) {
    for (const Bytes& start : load_starts) {
        const Bytes answer = first.exchange(start);
        if (answer.empty() || answer[0] != 0x71) throw std::runtime_error("a Start before the load was refused");
    }
    std::vector<std::unique_ptr<Doip_tester>> others;
    std::vector<Doip_tester*> testers = {&first};
    for (std::size_t index = 1; index < options.testers; ++index) {
        others.push_back(std::make_unique<Doip_tester>(road.port(), static_cast<std::uint16_t>(first_tester + index)));
        testers.push_back(others.back().get());
    }
    std::vector<Bytes> requests(load_requests.begin(), load_requests.begin() + static_cast<std::ptrdiff_t>(testers.size()));
    Load_result result;
    double host_cpu = 0, keysim_cpu = 0;
    long host_switches = 0, keysim_switches = 0;
    const Tester_load load = send_without_pause(
        testers, requests, std::chrono::seconds(options.seconds),
        [&] {
            host_cpu = processor_seconds(road.host_pid());
            keysim_cpu = processor_seconds(road.keysim_pid());
            host_switches = context_switches(road.host_pid());
            keysim_switches = context_switches(road.keysim_pid());
        },
        [&] {
            result.host_cpu_s = processor_seconds(road.host_pid()) - host_cpu;
            result.keysim_cpu_s = processor_seconds(road.keysim_pid()) - keysim_cpu;
            result.host_switches = context_switches(road.host_pid()) - host_switches;
            result.keysim_switches = context_switches(road.keysim_pid()) - keysim_switches;
        });
    result.answers = load.answers;
    result.unexpected = load.unexpected;
    result.seconds = load.seconds;
    return result;
}

/// The three load averages of /proc/loadavg: how busy the machine was besides the bench.
std::string load_average_now() {
    std::ifstream file("/proc/loadavg");
    std::string one, five, fifteen;
    file >> one >> five >> fifteen;
    return one + " " + five + " " + fifteen;
}

int run(const Options& options) {
    const std::string load_average = load_average_now();
    Road road(options.testers);
    Doip_tester tester(road.port(), first_tester);
    std::vector<Wire_sizes> sizes;
    {
        // Closed before the measurements: a packet socket takes a copy of every packet on lo.
        Udp_capture capture(someip_port);
        for (const Call& call : calls()) sizes.push_back(sizes_on_the_wire(tester, capture, call));
    }

    // The echo processes: forked while this process still has one thread. TCP to 127.0.0.1 as
    // the tester reaches the entity, UDP from 127.0.0.1 to 127.0.0.2 as the host reaches zevo-keysim.
    struct Raw_pair {
        std::unique_ptr<Ping_pong_peer> tcp_peer, udp_peer;
        std::unique_ptr<Ping_pong_client> tcp, udp;
    };
    std::vector<Raw_pair> raw(calls().size());
    for (std::size_t index = 0; index < calls().size(); ++index) {
        const Wire_sizes& wire = sizes[index];
        // The DoIP reply comes as two writes, the acknowledge (13 bytes) and the answer frame.
        constexpr std::size_t acknowledge = zevo::doip::header_size + 5;
        Raw_pair& pair = raw[index];
        pair.tcp_peer = std::make_unique<Ping_pong_peer>(
            Transport::tcp, "127.0.0.1", wire.doip_request,
            std::vector<Bytes>{Bytes(acknowledge, 0x5A), Bytes(wire.doip_reply - acknowledge, 0x5A)});
        pair.udp_peer = std::make_unique<Ping_pong_peer>(Transport::udp, "127.0.0.2", wire.someip_request,
                                                         std::vector<Bytes>{Bytes(wire.someip_response, 0x5A)});
        pair.tcp = std::make_unique<Ping_pong_client>(Transport::tcp, "127.0.0.1", "127.0.0.1", pair.tcp_peer->port(),
                                                      Bytes(wire.doip_request, 0xA5), wire.doip_reply);
        pair.udp = std::make_unique<Ping_pong_client>(Transport::udp, "127.0.0.1", "127.0.0.2", pair.udp_peer->port(),
                                                      Bytes(wire.someip_request, 0xA5), wire.someip_response);
    }

    std::size_t unexpected = 0;
    std::vector<Call_figures> figures;
    for (std::size_t index = 0; index < calls().size(); ++index) {
        const pid_t self = ::getpid();
        figures.push_back({sizes[index], {}, {}, {}, Process_usage({self, raw[index].tcp_peer->pid()}),
                           Process_usage({self, raw[index].udp_peer->pid()}),
                           Process_usage({self, road.host_pid(), road.keysim_pid()})});
    }
    const auto request_of = [&](std::size_t index) {
        return [&, index] { return tester.exchange(calls()[index].request) == calls()[index].expected; };
    };
    for (std::size_t index = 0; index < calls().size(); ++index) {  // warm-up, not counted
        time_requests(0, warm_up_rounds, [&] { return raw[index].tcp->exchange(); }, unexpected);
        time_requests(0, warm_up_rounds, [&] { return raw[index].udp->exchange(); }, unexpected);
        time_requests(0, warm_up_rounds, request_of(index), unexpected);
    }
    // A call's three figures are taken in turns, a block of each at a time, so that a machine
    // busy with something else for a while weighs on all of them alike.
    const auto timed = [&](Latencies& into, Process_usage& usage, std::size_t rounds, auto request) {
        usage.start();
        const Latencies block = time_requests(rounds, 0, request, unexpected);
        usage.stop();
        into.insert(into.end(), block.begin(), block.end());
    };
    for (std::size_t block = 0; block < blocks; ++block) {
        const std::size_t rounds = options.rounds / blocks + (block < options.rounds % blocks ? 1 : 0);
        for (std::size_t index = 0; index < calls().size(); ++index) {
            Call_figures& call = figures[index];
            timed(call.raw_tcp, call.tcp_usage, rounds, [&] { return raw[index].tcp->exchange(); });
            timed(call.raw_udp, call.udp_usage, rounds, [&] { return raw[index].udp->exchange(); });
            timed(call.end_to_end, call.road_usage, rounds, request_of(index));
        }
    }
    raw.clear();  // the echo processes end before the load

    const Load_result load = sustained_load(road, tester, options);

    std::printf("end_to_end_network_bench: tester -> DoIP -> zevo-dm serve -> SOME/IP/UDP -> zevo-keysim and back,\n"
                "%zu requests per figure after %zu to warm up, in %zu turns; load average %s at the start\n\n",
                options.rounds, warm_up_rounds, blocks, load_average.c_str());
    std::printf("  %-56s %12s %12s   %s\n", "figure", "median", "p99", "per request: context switches / processor time");
    bool all_met = true;
    for (std::size_t index = 0; index < calls().size(); ++index) {
        const Call_figures& call = figures[index];
        const std::size_t n = options.rounds;
        std::printf("%s\n", calls()[index].name);
        print_figure("raw TCP ping-pong, " + std::to_string(call.sizes.doip_request) + " -> " +
                         std::to_string(call.sizes.doip_reply) + " B (DoIP frames)",
                     call.raw_tcp, usage_text(call.tcp_usage, n, {"bench", "echo"}));
        print_figure("raw UDP ping-pong, " + std::to_string(call.sizes.someip_request) + " -> " +
                         std::to_string(call.sizes.someip_response) + " B (SOME/IP messages)",
                     call.raw_udp, usage_text(call.udp_usage, n, {"bench", "echo"}));
        print_figure("end to end", call.end_to_end,
                     usage_text(call.road_usage, n, {"bench", "zevo-dm", "zevo-keysim"}));
        const double sum = percentiles(call.raw_tcp).median_us + percentiles(call.raw_udp).median_us;
        const double ratio = percentiles(call.end_to_end).median_us / sum;
        all_met = all_met && ratio <= goal;
        std::printf("  sum of the raw medians %.1f us; end to end / sum = %.2f (goal at most %.1f): %s\n\n", sum, ratio,
                    goal, ratio <= goal ? "met" : "MISSED");
    }
    const double requests = static_cast<double>(load.answers);
    std::printf("%zu testers, a connection and an identifier each, %.2f s: %.0f requests a second in all\n",
                options.testers, load.seconds, requests / load.seconds);
    std::printf("  zevo-dm serve:  %.1f us processor time, %.2f context switches per request\n",
                1e6 * load.host_cpu_s / requests, static_cast<double>(load.host_switches) / requests);
    std::printf("  zevo-keysim:    %.1f us processor time, %.2f context switches per request\n",
                1e6 * load.keysim_cpu_s / requests, static_cast<double>(load.keysim_switches) / requests);
    if (unexpected == 0 && load.unexpected == 0) std::printf("goal %s\n", all_met ? "met for both calls" : "MISSED");
    return exit_code_of_requests(unexpected, load.unexpected);
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    for (int index = 1; index < argc; ++index) {
        const std::string option = argv[index];
        if (option == "--rounds" && index + 1 < argc && parse_count(argv[++index], options.rounds)) continue;
        if (option == "--testers" && index + 1 < argc && parse_count(argv[++index], options.testers) &&
            options.testers <= load_requests.size()) {
            continue;
        }
        if (option == "--seconds" && index + 1 < argc && parse_count(argv[++index], options.seconds)) continue;
        std::fprintf(stderr,
                     "usage: end_to_end_network_bench [--rounds N] [--testers N] [--seconds N]\n"
                     "  --rounds N    timed requests per figure (default 10000)\n"
                     "  --testers N   testers of the throughput part, 1 to %zu (default 8)\n"
                     "  --seconds N   how long they send (default 5)\n",
                     load_requests.size());
        return 2;
    }
    if (options.rounds < blocks) options.rounds = blocks;
    // Before any thread or child: loopback of a namespace of our own, carrying SD's multicast.
    if (::geteuid() != 0 || !zevo::test::enter_network_namespace()) {
        std::fprintf(stderr, "end_to_end_network_bench: needs root, for a network namespace of its own; skipped\n");
        return 77;
    }
    try {
        zevo::bench::print_machine_note();
        return run(options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "end_to_end_network_bench: %s\n", error.what());
        return 1;
    }
}

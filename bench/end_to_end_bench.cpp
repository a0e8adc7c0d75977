// end_to_end_bench: one UDS request from the host's call to its response bytes, through the
// loaded plug-in (libzevo_dm_extension.so, dlopen'd as zevo-dm does), the platform's local
// binding and the simulated services, all in this process: (a) a read of 0x2C60 and (b) a Start
// of routine 0x0648, each called on the extension directly and through the host's dispatcher
// (which adds a worker thread per job), beside a bare std::promise/std::future round trip between
// two threads measured in the same run; (c) the requests a second that the ten extensions
// sustain, each driven by a host thread of its own, all at once. Prints a table; not a test.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "bench/machine_note.h"
#include "bench/measurement.h"
#include "host/extension_set.h"
#include "host/plugin_library.h"
#include "host/request_meta_info.h"
#include "host/service_wait.h"
#include "host/uds_dispatcher.h"
#include "ruv/com/local/provider_registry.h"
#include "sim/key_simulator.h"
#include "sim/session_plan.h"

#ifndef ZEVO_BENCH_PLUGIN_PATH
#error "ZEVO_BENCH_PLUGIN_PATH (path of the plug-in built in this tree) must be defined by the build"
#endif

namespace {

using namespace std::chrono_literals;
using namespace zevo::bench;
using ruv::dm::foundation::extension::Meta_info;
using Bytes = std::vector<std::uint8_t>;

struct Options {
    std::size_t rounds = 2000;                  ///< requests per latency figure
    std::chrono::milliseconds load_period{2000};  ///< how long the ten threads run in (c)
};

constexpr std::size_t warm_up_rounds = 200;
constexpr std::uint16_t key_list = 0x2C60;
constexpr std::uint16_t debug_routine = 0x0648;
const Bytes debug_echo = {0x01, 0xDE, 0xAD};  // 0x0648 command 0x01: echo the data

/// The baseline: this thread hands a request to a second one through a promise and waits on the
/// future of the second's answer; the shape of a call answered on another thread.
Latencies promise_round_trips(std::size_t rounds) {
    std::vector<std::promise<void>> requests(rounds);
    std::vector<std::promise<void>> answers(rounds);
    std::vector<std::future<void>> answered;
    answered.reserve(rounds);
    for (auto& answer : answers) answered.push_back(answer.get_future());
    std::thread answering([&] {
        for (std::size_t round = 0; round < rounds; ++round) {
            requests[round].get_future().wait();
            answers[round].set_value();
        }
    });
    Latencies latencies;
    latencies.reserve(rounds);
    for (std::size_t round = 0; round < rounds; ++round) {
        const Clock::time_point sent = Clock::now();
        requests[round].set_value();
        answered[round].get();
        latencies.push_back(Clock::now() - sent);
    }
    answering.join();
    return latencies;
}

void print_row(const char* figure, const Percentiles& measured, const Percentiles& baseline) {
    std::printf("%-40s %9.1f us %9.1f us %7.1f %7.1f\n", figure, measured.median_us, measured.p99_us,
                measured.median_us / baseline.median_us, measured.p99_us / baseline.p99_us);
}

/// Ten host threads, one per extension, each calling its extension in a loop for `period`.
struct Load_result {
    std::vector<std::size_t> requests;  ///< per identifier, in the order of `identifiers`
    std::size_t unexpected = 0;         ///< answers other than 0
    double seconds = 0;
};

Load_result sustained_load(const zevo::host::Extension_set& extensions, const std::vector<std::uint16_t>& dids,
                           const std::vector<std::uint16_t>& rids, std::chrono::milliseconds period) {
    const std::size_t threads = dids.size() + rids.size();
    Load_result result;
    result.requests.assign(threads, 0);
    std::vector<std::size_t> unexpected(threads, 0);
    std::atomic<bool> go{false};
    std::atomic<bool> stop{false};
    std::vector<std::thread> workers;
    for (std::size_t index = 0; index < threads; ++index) {
        workers.emplace_back([&, index] {
            const bool is_did = index < dids.size();
            const std::uint16_t identifier = is_did ? dids[index] : rids[index - dids.size()];
            const Meta_info meta_info =
                zevo::host::make_request_meta_info(is_did ? 0x22 : 0x31, is_did ? std::nullopt : std::optional<std::uint8_t>{3},
                                                   identifier, 0x0E80);
            Bytes request;
            Bytes response;
            while (!go.load(std::memory_order_acquire)) std::this_thread::yield();
            while (!stop.load(std::memory_order_acquire)) {
                response.clear();
                const auto code = is_did ? extensions.data_identifier(identifier).read(meta_info, response)
                                         : extensions.routine(identifier).request_results(request, meta_info, response);
                ++result.requests[index];
                if (code != 0) ++unexpected[index];
            }
        });
    }
    const Clock::time_point started = Clock::now();
    go.store(true, std::memory_order_release);
    std::this_thread::sleep_for(period);  // the measured period itself, not a synchronisation
    stop.store(true, std::memory_order_release);
    for (std::thread& worker : workers) worker.join();
    result.seconds = std::chrono::duration<double>(Clock::now() - started).count();
    for (std::size_t count : unexpected) result.unexpected += count;
    return result;
}

/// Starts every routine once with the first Start of the scripted session that the simulator
/// accepts, so that their results are records rather than requestSequenceError. True when all
/// were started.
bool start_every_routine(const zevo::host::Uds_dispatcher& dispatcher, const std::vector<std::uint16_t>& rids) {
    const std::vector<zevo::sim::Session_step> steps = zevo::sim::default_session();
    for (std::uint16_t rid : rids) {
        const Bytes prefix = {0x31, 0x01, static_cast<std::uint8_t>(rid >> 8), static_cast<std::uint8_t>(rid & 0xFF)};
        bool started = false;
        for (const zevo::sim::Session_step& step : steps) {
            if (started || step.kind != zevo::sim::Session_step::Kind::send || step.request.size() < prefix.size() ||
                !std::equal(prefix.begin(), prefix.end(), step.request.begin()) || step.expected.at(0) != 0x71) {
                continue;
            }
            started = dispatcher.dispatch(step.request).bytes == step.expected;
        }
        if (!started) return false;
    }
    return true;
}

bool parse_options(int argc, char** argv, Options& options) {
    for (int index = 1; index < argc; ++index) {
        const std::string option = argv[index];
        const bool has_value = index + 1 < argc;
        std::size_t value = 0;
        if (option == "--rounds" && has_value && parse_count(argv[++index], options.rounds)) continue;
        if (option == "--load-ms" && has_value && parse_count(argv[++index], value)) {
            options.load_period = std::chrono::milliseconds{static_cast<long long>(value)};
            continue;
        }
        std::fprintf(stderr,
                     "usage: end_to_end_bench [--rounds N] [--load-ms N]\n"
                     "  --rounds N    requests per latency figure (default 2000)\n"
                     "  --load-ms N   how long the ten threads drive the extensions (default 2000)\n");
        return false;
    }
    return true;
}

int run(const Options& options) {
    // Warnings only: a trace line per call would measure the console.
    setenv("ZEVO_LOG_LEVEL", "3", 0);
    zevo::sim::Simulator_options simulator_options;
    simulator_options.scenario.routine_duration = 0ms;  // a Start completes at once, so it can be repeated
    zevo::sim::Key_simulator simulator(ruv::com::local::Provider_registry::process(), simulator_options);
    simulator.offer_all();
    const zevo::host::Plugin_library plugin(ZEVO_BENCH_PLUGIN_PATH);
    zevo::host::Extension_set extensions(plugin.entry_points());
    extensions.attach_all("1");
    zevo::host::Uds_dispatcher dispatcher(0x0E80);
    extensions.serve_with(dispatcher);
    const std::vector<std::uint16_t> dids = extensions.data_identifiers();
    const std::vector<std::uint16_t> rids = extensions.routines();
    std::vector<std::uint16_t> all = dids;
    all.insert(all.end(), rids.begin(), rids.end());
    const zevo::host::Service_wait_result found = zevo::host::wait_for_services(
        all, true, [&](std::uint16_t identifier) { return dispatcher.has_found_service(identifier); }, 5s, {});
    if (!found.reached()) {
        std::fprintf(stderr, "end_to_end_bench: no service for %s within 5 s\n",
                     zevo::host::format_identifiers(found.pending).c_str());
        return 1;
    }

    std::size_t unexpected = 0;
    const Meta_info read_meta_info = zevo::host::make_request_meta_info(0x22, std::nullopt, key_list, 0x0E80);
    const Meta_info start_meta_info = zevo::host::make_request_meta_info(0x31, 0x01, debug_routine, 0x0E80);
    auto& key_list_extension = extensions.data_identifier(key_list);
    auto& debug_extension = extensions.routine(debug_routine);
    Bytes response;
    const Bytes read_request = {0x22, 0x2C, 0x60};
    Bytes start_request = {0x31, 0x01, 0x06, 0x48};
    start_request.insert(start_request.end(), debug_echo.begin(), debug_echo.end());

    const Percentiles baseline = percentiles(promise_round_trips(options.rounds));
    const Percentiles read_direct = percentiles(time_requests(
        options.rounds, warm_up_rounds,
        [&] {
            response.clear();
            return key_list_extension.read(read_meta_info, response) == 0 && !response.empty();
        },
        unexpected));
    const Percentiles read_dispatched = percentiles(time_requests(
        options.rounds, warm_up_rounds, [&] { return dispatcher.dispatch(read_request).bytes.size() > 3; }, unexpected));
    const Percentiles start_direct = percentiles(time_requests(
        options.rounds, warm_up_rounds,
        [&] {
            Bytes request = debug_echo;
            response.clear();
            return debug_extension.start(request, start_meta_info, response) == 0;
        },
        unexpected));
    const Percentiles start_dispatched = percentiles(time_requests(
        options.rounds, warm_up_rounds, [&] { return dispatcher.dispatch(start_request).bytes == Bytes{0x71, 0x01, 0x06, 0x48}; },
        unexpected));
    if (!start_every_routine(dispatcher, rids)) {
        std::fprintf(stderr, "end_to_end_bench: a routine could not be started for the load\n");
        return 1;
    }
    const Load_result load = sustained_load(extensions, dids, rids, options.load_period);

    std::printf("end_to_end_bench: %zu requests per figure after %zu to warm up; host call -> response bytes\n\n",
                options.rounds, warm_up_rounds);
    std::printf("%-40s %12s %12s %7s %7s\n", "figure", "median", "p99", "x med", "x p99");
    std::printf("%-40s %9.1f us %9.1f us %7s %7s\n", "promise/future round trip (baseline)", baseline.median_us,
                baseline.p99_us, "1.0", "1.0");
    print_row("(a) read 0x2C60, extension call", read_direct, baseline);
    print_row("(a) 22 2C 60 through the dispatcher", read_dispatched, baseline);
    print_row("(b) Start 0x0648, extension call", start_direct, baseline);
    print_row("(b) 31 01 06 48 .. through the dispatcher", start_dispatched, baseline);
    std::size_t total = 0;
    for (std::size_t count : load.requests) total += count;
    std::printf("\n(c) ten extensions, a host thread each, %.2f s: %.0f requests a second in all\n", load.seconds,
                static_cast<double>(total) / load.seconds);
    for (std::size_t index = 0; index < load.requests.size(); ++index) {
        const bool is_did = index < dids.size();
        const std::uint16_t identifier = is_did ? dids[index] : rids[index - dids.size()];
        std::printf("    0x%04X %-16s %8.0f a second\n", identifier, is_did ? "read" : "request_results",
                    static_cast<double>(load.requests[index]) / load.seconds);
    }
    return exit_code_of_requests(unexpected, load.unexpected);
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!parse_options(argc, argv, options)) return 2;
    try {
        zevo::bench::print_machine_note();
        return run(options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "end_to_end_bench: %s\n", error.what());
        return 1;
    }
}

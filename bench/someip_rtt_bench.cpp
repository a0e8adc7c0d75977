// someip_rtt_bench: a method call from this process to zevo-keysim over SOME/IP on loopback, over
// UDP (Cancel of 0x2C56) and over TCP (Cancel of 0xC00F), the caller blocked on a future until the
// response handler wakes it; each beside a raw ping-pong of the same message sizes with an echo
// process of its own over the same transport. Then discovery: from zevo-keysim's start to all ten
// services found, from the first found to the last, and from a StopOffer (asked through the
// control port) to the service dropped; and the processor time this process uses while a call is
// pending. Runs in a network namespace of its own (needs root). Main thread only, plus the
// platform's threads.
// Usage: someip_rtt_bench [--rounds N] [--discovery-rounds N]

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <future>
#include <map>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

#include "bench/machine_note.h"
#include "bench/measurement.h"
#include "bench/process_stats.h"
#include "bindings/d_2c56/DataIdentifier_ZevoTrainingCounter.h"
#include "host/simulator_control_link.h"
#include "kel/com/runtime/instance_id.h"
#include "kel/com/runtime/serialized_payload.h"
#include "ruv/com/connector/service_interface_description.h"
#include "ruv/com/cpp_binding/proxy/rport.h"
#include "ruv/com/runtime/component_singleton.h"
#include "sim/key_simulator.h"
#include "someip/method_payload.h"
#include "tests/someip_binding/child_process.h"
#include "tests/someip_binding/network_namespace.h"

namespace {

using namespace std::chrono_literals;
using zevo::bench::Clock;
using zevo::bench::context_switches;
using zevo::bench::Latencies;
using Bytes = std::vector<std::uint8_t>;
using kel::com::runtime::Service_handle;

constexpr std::size_t someip_header = 16;
constexpr std::uint16_t echo_port = 40000;

[[noreturn]] void fail(const std::string& what) {
    std::fprintf(stderr, "someip_rtt_bench: %s\n", what.c_str());
    std::exit(1);
}

sockaddr_in address_of(const char* ip, std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    ::inet_pton(AF_INET, ip, &address.sin_addr);
    return address;
}

bool exchange_all(int fd, void* data, std::size_t size, bool sending) {
    auto* bytes = static_cast<std::uint8_t*>(data);
    for (std::size_t done = 0; done < size;) {
        const ssize_t moved = sending ? ::send(fd, bytes + done, size - done, MSG_NOSIGNAL) : ::recv(fd, bytes + done, size - done, 0);
        if (moved <= 0) return false;
        done += static_cast<std::size_t>(moved);
    }
    return true;
}

/// The echo process: answers each request of `request_size` bytes with `reply_size` bytes.
int run_echo(const std::string& transport, std::size_t request_size, std::size_t reply_size) {
    const bool tcp = transport == "tcp";
    const int listener = ::socket(AF_INET, tcp ? SOCK_STREAM : SOCK_DGRAM, 0);
    const int one = 1;
    ::setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    const sockaddr_in local = address_of("127.0.0.2", echo_port);
    if (::bind(listener, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) return 1;
    if (tcp) ::listen(listener, 1);
    std::printf("echo listening\n");
    std::fflush(stdout);
    Bytes request(request_size), reply(reply_size, 0x5A);
    if (!tcp) {
        for (;;) {
            sockaddr_in from{};
            socklen_t length = sizeof from;
            if (::recvfrom(listener, request.data(), request.size(), 0, reinterpret_cast<sockaddr*>(&from), &length) <= 0) return 0;
            ::sendto(listener, reply.data(), reply.size(), 0, reinterpret_cast<const sockaddr*>(&from), length);
        }
    }
    const int connection = ::accept(listener, nullptr, nullptr);
    ::setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    while (exchange_all(connection, request.data(), request.size(), false) &&
           exchange_all(connection, reply.data(), reply.size(), true)) {
    }
    return 0;
}

/// Until `text` stands in the file, at most 10 s.
void wait_for_line(const std::string& path, const std::string& text) {
    for (int look = 0; look < 2000; ++look) {
        std::ifstream in(path);
        std::string line;
        while (std::getline(in, line)) {
            if (line.find(text) != std::string::npos) return;
        }
        std::this_thread::sleep_for(5ms);  // a look at another process's output, not a hand-off
    }
    fail("no '" + text + "' in " + path);
}

/// The latencies of a run of exchanges and the context switches per exchange on each side.
struct Run {
    Latencies latencies;
    double switches_here = 0;   ///< of this process
    double switches_there = 0;  ///< of the answering process
};

/// Counts the switches of both processes around the measured rounds of `exchange`.
template <class Exchange>
Run measure_run(pid_t there, std::size_t rounds, Exchange exchange) {
    Run run;
    for (std::size_t round = 0; round < rounds / 10; ++round) exchange();  // the first tenth warms up
    const long here_before = context_switches(::getpid()), there_before = context_switches(there);
    for (std::size_t round = 0; round < rounds; ++round) {
        const Clock::time_point sent = Clock::now();
        exchange();
        run.latencies.push_back(Clock::now() - sent);
    }
    run.switches_here = static_cast<double>(context_switches(::getpid()) - here_before) / static_cast<double>(rounds);
    run.switches_there = static_cast<double>(context_switches(there) - there_before) / static_cast<double>(rounds);
    return run;
}

Run raw_ping_pong(const std::string& program, const std::string& transport, std::size_t request_size,
                        std::size_t reply_size, std::size_t rounds) {
    const std::string log = "/tmp/someip_rtt_bench_echo_" + transport + "_" + std::to_string(::getpid());
    zevo::test::Child_process echo(program, {"--echo", transport, std::to_string(request_size), std::to_string(reply_size)}, log);
    wait_for_line(log, "echo listening");
    const bool tcp = transport == "tcp";
    const int fd = ::socket(AF_INET, tcp ? SOCK_STREAM : SOCK_DGRAM, 0);
    const int one = 1;
    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    timeval bound{5, 0};
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &bound, sizeof bound);
    const sockaddr_in local = address_of("127.0.0.1", 0);
    ::bind(fd, reinterpret_cast<const sockaddr*>(&local), sizeof local);
    const sockaddr_in remote = address_of("127.0.0.2", echo_port);
    if (::connect(fd, reinterpret_cast<const sockaddr*>(&remote), sizeof remote) != 0) fail("echo: connect");
    Bytes request(request_size, 0xA5), reply(reply_size);
    const Run run = measure_run(echo.pid(), rounds, [&] {
        if (!exchange_all(fd, request.data(), request.size(), true)) fail("echo: send");
        const bool answered = tcp ? exchange_all(fd, reply.data(), reply.size(), false)
                                  : ::recv(fd, reply.data(), reply.size(), 0) == static_cast<ssize_t>(reply_size);
        if (!answered) fail("echo: no answer");
    });
    ::close(fd);
    std::remove(log.c_str());
    return run;
}

/// What the platform's finder reports for the ten services: the latest list of each and when it came.
class Found_lists {
public:
    void subscribe_all() {
        const auto finder = ruv::com::runtime::Component_singleton::instance().get_service_finder();
        for (std::uint16_t identifier : zevo::sim::served_identifiers()) {
            const std::string name = zevo::sim::interface_name_of(identifier);
            handles_.push_back(finder->subscribe(
                [this, identifier](std::vector<Service_handle> services) {
                    const std::lock_guard<std::mutex> lock(mutex_);
                    State& state = states_[identifier];
                    state.services = std::move(services);
                    state.changed = Clock::now();
                    changed_.notify_all();
                    return true;
                },
                name, kel::com::runtime::Instance_id("1")));
        }
    }

    /// Waits until the service is found (or gone); when that happened.
    Clock::time_point until(std::uint16_t identifier, bool found) {
        std::unique_lock<std::mutex> lock(mutex_);
        if (!changed_.wait_for(lock, 10s, [&] { return states_[identifier].services.empty() != found; })) {
            fail("service not " + std::string(found ? "found" : "dropped") + " within 10 s");
        }
        return states_[identifier].changed;
    }

    Service_handle handle(std::uint16_t identifier) {
        const std::lock_guard<std::mutex> lock(mutex_);
        return states_[identifier].services.at(0);
    }

private:
    struct State {
        std::vector<Service_handle> services;
        Clock::time_point changed;
    };
    std::mutex mutex_;
    std::condition_variable changed_;
    std::map<std::uint16_t, State> states_;  ///< guarded by mutex_
    std::vector<std::shared_ptr<kel::com::runtime::Service_finder::Subscription_handle>> handles_;
};

/// One call through the port, the caller blocked until the handler has run.
unsigned char call(ruv::com::cpp_binding::proxy::Rport& port, std::uint16_t method, const Bytes& request) {
    std::promise<unsigned char> answered;
    std::future<unsigned char> answer = answered.get_future();
    kel::com::runtime::Serialized_payload payload;
    payload.buffer = std::make_shared<Bytes>(request);
    payload.begin = payload.buffer->data();
    payload.end = payload.begin + payload.buffer->size();
    auto promise = std::make_shared<std::promise<unsigned char>>(std::move(answered));
    port.call_method(method, std::move(payload),
                     [promise](unsigned char code, kel::com::runtime::Serialized_payload) { promise->set_value(code); });
    if (answer.wait_for(10s) != std::future_status::ready) fail("a call was not answered within 10 s");
    return answer.get();
}

void print_row(const char* figure, const Latencies& samples, const Latencies* baseline) {
    const zevo::bench::Percentiles measured = zevo::bench::percentiles(samples);
    std::printf("%-52s %10.1f us %10.1f us", figure, measured.median_us, measured.p99_us);
    if (baseline != nullptr) {
        const zevo::bench::Percentiles base = zevo::bench::percentiles(*baseline);
        std::printf("   x%5.2f  x%5.2f", measured.median_us / base.median_us, measured.p99_us / base.p99_us);
    }
    std::printf("\n");
}

/// A row of an exchange: its latencies beside the baseline's, and the context switches per exchange.
void print_run(const std::string& figure, const Run& run, const Run* baseline) {
    print_row(figure.c_str(), run.latencies, baseline != nullptr ? &baseline->latencies : nullptr);
    std::printf("%-52s %10.1f    %10.1f\n", "  context switches per exchange: here, there", run.switches_here,
                run.switches_there);
}

double process_cpu_ms() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    const long microseconds = (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1'000'000L + usage.ru_utime.tv_usec +
                              usage.ru_stime.tv_usec;
    return static_cast<double>(microseconds) / 1e3;
}

}  // namespace

int main(int argc, char** argv) {
    std::size_t rounds = 2000, discovery_rounds = 50;
    for (int index = 1; index < argc; ++index) {
        const std::string option = argv[index];
        if (option == "--echo" && index + 3 < argc) {
            return run_echo(argv[index + 1], std::stoul(argv[index + 2]), std::stoul(argv[index + 3]));
        }
        if ((option == "--rounds" || option == "--discovery-rounds") && index + 1 < argc) {
            (option == "--rounds" ? rounds : discovery_rounds) = std::stoul(argv[++index]);
            continue;
        }
        fail("usage: someip_rtt_bench [--rounds N] [--discovery-rounds N]");
    }
    if (rounds < 10 || discovery_rounds < 1) fail("--rounds at least 10, --discovery-rounds at least 1");
    // Before any thread: loopback of a namespace of our own, carrying SD's multicast.
    if (!zevo::test::enter_network_namespace()) fail("needs a network namespace of its own (root)");
    setenv("ZEVO_COM_MANIFEST", ZEVO_SOURCE_DIR "/manifests/host.json", 1);
    setenv("ZEVO_LOG_LEVEL", "2", 1);

    const std::string scenario = "/tmp/someip_rtt_bench_scenario_" + std::to_string(::getpid()) + ".json";
    std::ofstream(scenario) << R"({"faults": [{"identifier": "0x2C60", "method": "read", "no_answer": true}]})";
    const std::string keysim_log = "/tmp/someip_rtt_bench_keysim_" + std::to_string(::getpid()) + ".log";

    Found_lists lists;
    lists.subscribe_all();
    const Clock::time_point spawned = Clock::now();
    zevo::test::Child_process keysim(ZEVO_BENCH_KEYSIM_PATH,
                                     {"--manifest", ZEVO_SOURCE_DIR "/manifests/keysim.json", "--scenario", scenario,
                                      "--control", "127.0.0.2:30600"},
                                     keysim_log);
    Clock::time_point first = Clock::time_point::max(), last = Clock::time_point::min();
    for (std::uint16_t identifier : zevo::sim::served_identifiers()) {
        const Clock::time_point found = lists.until(identifier, true);
        first = std::min(first, found);
        last = std::max(last, found);
    }

    const Bytes request = ruv::com::someip::serialization::request_payload<
        talm::services::diag::d_2c56::DataIdentifier_ZevoTrainingCounter::Cancel>(std::map<std::string, std::string>{
        {"identifier", "0x2C56"}, {"service_id", "0x22"}, {"tester_address", "0x0E80"}});
    const std::size_t request_size = someip_header + request.size(), reply_size = someip_header;
    const ruv::com::connector::Service_interface_description methods{0, 0, 3, 0};
    zevo::bench::print_machine_note();
    std::printf("someip_rtt_bench: %zu calls per figure after %zu to warm up, messages of %zu and %zu bytes\n\n",
                rounds, rounds / 10, request_size, reply_size);
    std::printf("%-52s %13s %13s %8s %6s\n", "figure", "median", "p99", "x med", "x p99");
    for (const auto& [transport, identifier] : {std::pair<std::string, std::uint16_t>{"udp", 0x2C56}, {"tcp", 0xC00F}}) {
        const Run raw = raw_ping_pong(argv[0], transport, request_size, reply_size, rounds);
        ruv::com::cpp_binding::proxy::Rport port(lists.handle(identifier), methods);
        const Run calls = measure_run(keysim.pid(), rounds, [&] {
            if (call(port, 0, request) != 0) fail("a Cancel was not answered 0");
        });
        print_run("raw " + transport + " ping-pong between two processes (baseline)", raw, nullptr);
        print_run("method call over SOME/IP/" + transport + ", caller woken", calls, &raw);
    }

    std::printf("\n%-52s %10.1f ms\n", "zevo-keysim started -> all ten services found",
                std::chrono::duration<double, std::milli>(last - spawned).count());
    std::printf("%-52s %10.1f ms\n", "first service found -> all ten found",
                std::chrono::duration<double, std::milli>(last - first).count());
    zevo::host::Simulator_control_link control("127.0.0.2:30600");
    const zevo::host::Session_controls controls = control.controls();
    Latencies dropped, found_again;
    for (std::size_t round = 0; round < discovery_rounds; ++round) {
        const Clock::time_point asked = Clock::now();
        controls.withdraw(0x2C57);
        dropped.push_back(lists.until(0x2C57, false) - asked);
        const Clock::time_point offered = Clock::now();
        controls.offer(0x2C57);
        found_again.push_back(lists.until(0x2C57, true) - offered);
    }
    std::printf("\n%zu rounds of withdraw and offer through the control port:\n", discovery_rounds);
    print_row("StopOffer asked -> service dropped by the client", dropped, nullptr);
    print_row("Offer asked -> service found by the client", found_again, nullptr);

    // A call held by the service (no answer): what this process uses while its caller waits.
    ruv::com::cpp_binding::proxy::Rport held_port(lists.handle(0x2C60), methods);
    std::promise<unsigned char> never;
    auto promise = std::make_shared<std::promise<unsigned char>>(std::move(never));
    std::future<unsigned char> pending = promise->get_future();
    kel::com::runtime::Serialized_payload payload;
    payload.buffer = std::make_shared<Bytes>(request);
    payload.begin = payload.buffer->data();
    payload.end = payload.begin + payload.buffer->size();
    const double idle_before = process_cpu_ms();
    const Clock::time_point idle_start = Clock::now();
    std::this_thread::sleep_for(1s);
    const double idle_ms = process_cpu_ms() - idle_before;
    held_port.call_method(1, std::move(payload),
                          [promise](unsigned char code, kel::com::runtime::Serialized_payload) { promise->set_value(code); });
    const Clock::time_point waiting_start = Clock::now();
    const double waiting_before = process_cpu_ms();
    const bool answered = pending.wait_for(1s) == std::future_status::ready;
    const double waiting_ms = process_cpu_ms() - waiting_before;
    std::printf("\n%-52s %10.2f ms in %.2f s\n", "processor time of this process, nothing pending", idle_ms,
                std::chrono::duration<double>(waiting_start - idle_start).count());
    std::printf("%-52s %10.2f ms in 1 s%s\n", "processor time of this process, a call pending", waiting_ms,
                answered ? " (answered early!)" : "");
    std::remove(scenario.c_str());
    std::remove(keysim_log.c_str());
    keysim.kill();
    return 0;
}

// job_wait_bench: what a read job blocked in job_flow's polling loop costs, beside baselines
// measured on the same threads in the same run: (a) an answer completed on another thread -> the
// job's return, (b) cancel on another thread -> the job's return, (c) the processor time and
// wake-ups of a job blocked for one second. The waiters run on the main thread, answers and
// cancels come from a second one. Prints a table; it is not a test.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <future>
#include <string>
#include <thread>

#include "bench/machine_note.h"
#include "bench/measurement.h"
#include "bench/waiters.h"

namespace {

using namespace std::chrono_literals;
using namespace zevo::bench;

/// What one run measures; the defaults keep a run under twenty seconds.
struct Options {
    std::size_t rounds = 2000;  ///< hand-offs per latency figure and waiter
    std::size_t blocks = 4;     ///< the waiters alternate in this many blocks: drifting load hits all
    std::size_t idle_runs = 3;  ///< one-second waits per idle figure and waiter
};

constexpr std::size_t warm_up_rounds = 50;
constexpr auto idle_period = 1s;

/// Counts a wait that did not end as planned; its figures would be void.
void count_if_not(bool as_planned, std::size_t& unexpected) {
    if (!as_planned) {
        ++unexpected;
    }
}

template <class Waiter>
Latencies answer_latencies(std::size_t rounds, std::size_t& unexpected) {
    Waiter waiter;
    return measure_rounds(
        rounds, [&](std::size_t) { count_if_not(waiter.wait_answered(), unexpected); },
        [&](std::size_t round) { return waiter.answer(action_delay(round)); });
}

template <class Waiter>
Latencies cancel_latencies(std::size_t rounds, std::size_t& unexpected) {
    Waiter waiter;
    return measure_rounds(
        rounds, [&](std::size_t) { count_if_not(waiter.wait_cancelled(), unexpected); },
        [&](std::size_t round) { return waiter.cancel(action_delay(round)); });
}

/// A waiter blocked until it is answered after one second.
template <class Waiter>
Idle_cost answered_idle_cost(Waiter& waiter, std::size_t& unexpected) {
    std::thread answering([&] { static_cast<void>(waiter.answer(idle_period)); });
    bool answered = false;
    const Idle_cost cost = idle_cost_of([&] { answered = waiter.wait_answered(); });
    answering.join();
    count_if_not(answered, unexpected);
    return cost;
}

/// A thread in std::future::wait_for(1 s) that nobody answers.
Idle_cost timed_out_idle_cost(std::size_t& unexpected) {
    std::promise<Output> promise;
    const std::future<Output> future = promise.get_future();
    std::future_status status = std::future_status::ready;
    const Idle_cost cost = idle_cost_of([&] { status = future.wait_for(idle_period); });
    count_if_not(status == std::future_status::timeout, unexpected);
    return cost;
}

/// The floor under (c): a thread that does nothing but sleep 1 ms at a time for one second. What
/// one of its wake-ups costs is what the kernel (and a hypervisor beneath it) charges for any
/// timed sleep, whoever sleeps.
Idle_cost sleeping_idle_cost() {
    return idle_cost_of([] {
        const auto end = Clock::now() + idle_period;
        while (Clock::now() < end) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
}

std::string text_us(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f us", value);
    return text;
}

std::string text_percent(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3f %%", value);
    return text;
}

std::string text_count(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.0f", value);
    return text;
}

std::string text_ratio(double value, double baseline) {
    char text[32];
    if (!(baseline > 0)) {
        return "-";
    }
    const double ratio = value / baseline;
    if (ratio >= 100) {
        std::snprintf(text, sizeof text, "%.0f", ratio);
    } else {
        std::snprintf(text, sizeof text, "%.2f", ratio);
    }
    return text;
}

/// One line of the table: the job's value, then each baseline with the job's ratio to it. A
/// baseline below zero is left out.
template <class Text>
void print_row(const char* figure, Text text, double job, double plain, double loop) {
    const bool has_plain = plain >= 0;
    std::printf("%-34s %12s %12s %8s %12s %8s\n", figure, text(job).c_str(), has_plain ? text(plain).c_str() : "-",
                has_plain ? text_ratio(job, plain).c_str() : "-", text(loop).c_str(), text_ratio(job, loop).c_str());
}

bool parse_count(const char* text, std::size_t& count) {
    char* end = nullptr;
    const unsigned long value = std::strtoul(text, &end, 10);
    if (end == text || *end != '\0' || value == 0) {
        return false;
    }
    count = value;
    return true;
}

bool parse_options(int argc, char** argv, Options& options) {
    for (int index = 1; index < argc; ++index) {
        const std::string option = argv[index];
        const bool has_value = index + 1 < argc;
        if (option == "--rounds" && has_value && parse_count(argv[++index], options.rounds)) {
            continue;
        }
        if (option == "--idle-runs" && has_value && parse_count(argv[++index], options.idle_runs)) {
            continue;
        }
        std::fprintf(stderr,
                     "usage: job_wait_bench [--rounds N] [--idle-runs N]\n"
                     "  --rounds N     hand-offs per latency figure and waiter (default 2000)\n"
                     "  --idle-runs N  one-second waits per idle figure and waiter (default 3)\n");
        return false;
    }
    options.blocks = std::min(options.blocks, options.rounds);
    return true;
}

void print_header(const Options& options) {
    char date[64] = "?";
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    if (localtime_r(&now, &local) != nullptr) {
        std::strftime(date, sizeof date, "%Y-%m-%d %H:%M %Z", &local);
    }
    std::printf("job_wait_bench, %s, %u processors, built with %s\n", date, std::thread::hardware_concurrency(),
                __VERSION__);
    std::printf("(a), (b): %zu rounds per waiter, the waiters alternating in %zu blocks; (c): %zu x 1 s per waiter\n\n",
                options.rounds, options.blocks, options.idle_runs);
    std::printf("%-34s %12s %12s %8s %12s %8s\n", "figure", "job", "std::future", "ratio", "bare loop", "ratio");
}

void append(Latencies& all, const Latencies& more) { all.insert(all.end(), more.begin(), more.end()); }

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!parse_options(argc, argv, options)) {
        return 2;
    }
    std::size_t unexpected = 0;
    static_cast<void>(answer_latencies<Job_waiter>(warm_up_rounds, unexpected));
    static_cast<void>(answer_latencies<Bare_future_waiter>(warm_up_rounds, unexpected));

    Latencies answer_job;
    Latencies answer_plain;
    Latencies answer_loop;
    Latencies cancel_job;
    Latencies cancel_loop;
    for (std::size_t block = 0; block < options.blocks; ++block) {
        const std::size_t rounds =
            options.rounds * (block + 1) / options.blocks - options.rounds * block / options.blocks;
        append(answer_plain, answer_latencies<Bare_future_waiter>(rounds, unexpected));
        append(answer_loop, answer_latencies<Bare_loop_waiter>(rounds, unexpected));
        append(answer_job, answer_latencies<Job_waiter>(rounds, unexpected));
        append(cancel_loop, cancel_latencies<Bare_loop_waiter>(rounds, unexpected));
        append(cancel_job, cancel_latencies<Job_waiter>(rounds, unexpected));
    }
    Idle_cost idle_job;
    Idle_cost idle_plain;
    Idle_cost idle_loop;
    Idle_cost idle_sleep;
    std::size_t loop_passes = 0;
    for (std::size_t run = 0; run < options.idle_runs; ++run) {
        idle_plain += timed_out_idle_cost(unexpected);
        Bare_loop_waiter loop;
        idle_loop += answered_idle_cost(loop, unexpected);
        loop_passes += loop.passes();
        Job_waiter job;
        idle_job += answered_idle_cost(job, unexpected);
        idle_sleep += sleeping_idle_cost();
    }

    zevo::bench::print_machine_note();
    print_header(options);
    const Percentiles answered = percentiles(answer_job);
    const Percentiles answered_plain = percentiles(answer_plain);
    const Percentiles answered_loop = percentiles(answer_loop);
    const Percentiles cancelled = percentiles(cancel_job);
    const Percentiles cancelled_loop = percentiles(cancel_loop);
    print_row("(a) answer -> return, median", text_us, answered.median_us, answered_plain.median_us,
              answered_loop.median_us);
    print_row("(a) answer -> return, p99", text_us, answered.p99_us, answered_plain.p99_us, answered_loop.p99_us);
    print_row("(b) cancel -> return, median", text_us, cancelled.median_us, -1, cancelled_loop.median_us);
    print_row("(b) cancel -> return, p99", text_us, cancelled.p99_us, -1, cancelled_loop.p99_us);
    print_row("(c) blocked 1 s: processor time", text_percent, idle_job.percent_of_core(),
              idle_plain.percent_of_core(), idle_loop.percent_of_core());
    print_row("(c) blocked 1 s: wake-ups a second", text_count, idle_job.wake_ups_per_second(),
              idle_plain.wake_ups_per_second(), idle_loop.wake_ups_per_second());

    const double loop_seconds = std::chrono::duration<double>(idle_loop.wall).count();
    const double wake_ups_per_pass = static_cast<double>(idle_loop.usage.voluntary_switches) /
                                     static_cast<double>(std::max<std::size_t>(loop_passes, 1));
    const double job_wake_ups = static_cast<double>(std::max(idle_job.usage.voluntary_switches, 1L));
    const double sleep_wake_ups = static_cast<double>(std::max(idle_sleep.usage.voluntary_switches, 1L));
    std::printf(
        "\njob:         a read of the 0x2C56 shape in job_flow's polling loop, kel::com future, fake service\n"
        "std::future: (a) std::promise::set_value -> std::future::get returns; "
        "(c) std::future::wait_for(1 s) timing out\n"
        "bare loop:   job_flow's loop written on a bare std::future (zero-length look, flag, 1 ms slice on "
        "system_clock); (b) released by its flag\n"
        "targets:     (a) an answer ends the wait at once; (b) about 1 ms, one slice at most; "
        "(c) about 1000 short wake-ups a second, far below 1 %% of a core\n"
        "wake-ups:    voluntary context switches of the waiting thread (getrusage RUSAGE_THREAD). Bare loop: "
        "%.0f passes a second counted, %.2f wake-ups a pass;\n"
        "             job: %.0f passes a second derived from its wake-ups at that rate (not counted), "
        "%.1f us of processor time a wake-up\n"
        "floor:       a thread that only sleeps 1 ms at a time (std::this_thread::sleep_for): %.3f %% of a core, "
        "%.0f wake-ups a second, %.1f us a wake-up\n",
        static_cast<double>(loop_passes) / loop_seconds, wake_ups_per_pass,
        idle_job.wake_ups_per_second() / wake_ups_per_pass, microseconds(idle_job.usage.cpu) / job_wake_ups,
        idle_sleep.percent_of_core(), idle_sleep.wake_ups_per_second(), microseconds(idle_sleep.usage.cpu) / sleep_wake_ups);
    if (unexpected != 0) {
        std::fprintf(stderr, "job_wait_bench: %zu waits ended otherwise than planned; the figures are void\n",
                     unexpected);
        return 1;
    }
    return 0;
}

#pragma once
// Measuring helpers of the benches: rounds of hand-offs between the calling thread and an
// answering thread, timed requests, percentiles of their latencies, what a thread uses of the
// processor, and the counts of their command lines.
// thread_usage() speaks for the thread that calls it.

#include <sys/resource.h>
#include <time.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstddef>
#include <cstdio>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <vector>

namespace zevo::bench {

using Clock = std::chrono::steady_clock;
using Latencies = std::vector<Clock::duration>;

/// Runs `rounds` hand-offs: the calling thread runs wait(round) and stamps its return, a second
/// thread runs act(round), which gives back the moment it acted. Returns action -> return per
/// round. A wait must not throw (the second thread would be left unjoined).
template <class Wait, class Act>
Latencies measure_rounds(std::size_t rounds, Wait wait, Act act) {
    std::vector<Clock::time_point> acted(rounds);
    std::thread answering([&] {
        for (std::size_t round = 0; round < rounds; ++round) {
            acted[round] = act(round);
        }
    });
    std::vector<Clock::time_point> returned(rounds);
    for (std::size_t round = 0; round < rounds; ++round) {
        wait(round);
        returned[round] = Clock::now();
    }
    answering.join();
    Latencies latencies(rounds);
    for (std::size_t round = 0; round < rounds; ++round) {
        latencies[round] = returned[round] - acted[round];
    }
    return latencies;
}

/// Nearest-rank percentiles of a set of latencies, in microseconds.
struct Percentiles {
    double median_us = 0;
    double p99_us = 0;
};

inline double microseconds(Clock::duration duration) {
    return std::chrono::duration<double, std::micro>(duration).count();
}

inline Percentiles percentiles(Latencies samples) {
    if (samples.empty()) {
        throw std::invalid_argument("no samples");
    }
    std::sort(samples.begin(), samples.end());
    const auto rank = [&samples](double fraction) {
        const auto count = static_cast<double>(samples.size());
        const auto index = static_cast<std::size_t>(std::ceil(fraction * count));
        return samples[std::max<std::size_t>(index, 1) - 1];
    };
    return {microseconds(rank(0.50)), microseconds(rank(0.99))};
}

/// Processor time and context switches of one thread. A voluntary switch is a sleep in the
/// kernel, so a thread that waits in slices makes one per slice: its count of wake-ups.
struct Thread_usage {
    std::chrono::nanoseconds cpu{0};  ///< user and system time, CLOCK_THREAD_CPUTIME_ID
    long voluntary_switches = 0;      ///< ru_nvcsw of RUSAGE_THREAD
    long involuntary_switches = 0;    ///< ru_nivcsw of RUSAGE_THREAD

    Thread_usage& operator+=(const Thread_usage& other) {
        cpu += other.cpu;
        voluntary_switches += other.voluntary_switches;
        involuntary_switches += other.involuntary_switches;
        return *this;
    }
};

inline Thread_usage operator-(const Thread_usage& later, const Thread_usage& earlier) {
    return {later.cpu - earlier.cpu, later.voluntary_switches - earlier.voluntary_switches,
            later.involuntary_switches - earlier.involuntary_switches};
}

/// What the calling thread has used since it started.
inline Thread_usage thread_usage() {
    timespec cpu{};
    if (clock_gettime(CLOCK_THREAD_CPUTIME_ID, &cpu) != 0) {
        throw std::system_error(errno, std::generic_category(), "clock_gettime(CLOCK_THREAD_CPUTIME_ID)");
    }
    rusage usage{};
    if (getrusage(RUSAGE_THREAD, &usage) != 0) {
        throw std::system_error(errno, std::generic_category(), "getrusage(RUSAGE_THREAD)");
    }
    return {std::chrono::seconds(cpu.tv_sec) + std::chrono::nanoseconds(cpu.tv_nsec), usage.ru_nvcsw,
            usage.ru_nivcsw};
}

/// What a thread used while it was blocked, and for how long it was blocked.
struct Idle_cost {
    Thread_usage usage;
    Clock::duration wall{};

    Idle_cost& operator+=(const Idle_cost& other) {
        usage += other.usage;
        wall += other.wall;
        return *this;
    }
    double percent_of_core() const { return 100.0 * microseconds(usage.cpu) / microseconds(wall); }
    double wake_ups_per_second() const {
        return static_cast<double>(usage.voluntary_switches) / std::chrono::duration<double>(wall).count();
    }
};

/// Runs `block` on the calling thread and tells what it cost that thread.
template <class Block>
Idle_cost idle_cost_of(Block&& block) {
    const Thread_usage before = thread_usage();
    const auto started = Clock::now();
    block();
    const auto ended = Clock::now();
    const Thread_usage after = thread_usage();
    return {after - before, ended - started};
}

/// Times `request` `rounds` times after `warm_up` untimed ones; counts the requests that it
/// says (by returning false) went wrong, the untimed ones included.
template <class Request>
Latencies time_requests(std::size_t rounds, std::size_t warm_up, Request request, std::size_t& unexpected) {
    for (std::size_t round = 0; round < warm_up; ++round) {
        if (!request()) ++unexpected;
    }
    Latencies latencies;
    latencies.reserve(rounds);
    for (std::size_t round = 0; round < rounds; ++round) {
        const Clock::time_point sent = Clock::now();
        const bool as_expected = request();
        latencies.push_back(Clock::now() - sent);
        if (!as_expected) ++unexpected;
    }
    return latencies;
}

/// The exit code of a request bench: 0, or 1 after a line saying that the figures are void
/// because `latency` timed requests and `load` load requests were not answered as planned.
inline int exit_code_of_requests(std::size_t latency, std::size_t load) {
    if (latency == 0 && load == 0) return 0;
    std::printf("\n%zu latency requests and %zu load requests were not answered as planned: the figures are void\n",
                latency, load);
    return 1;
}

/// A positive decimal count from a command line; false for anything else.
inline bool parse_count(const char* text, std::size_t& value) {
    char* end = nullptr;
    const unsigned long long parsed = std::strtoull(text, &end, 10);
    if (end == text || *end != '\0' || parsed == 0) return false;
    value = static_cast<std::size_t>(parsed);
    return true;
}

}  // namespace zevo::bench

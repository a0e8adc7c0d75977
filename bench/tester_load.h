#pragma once
// The load part of the network benches: DoIP testers, each on a thread of its own, send their
// request again and again without pause for a period, and the answers are counted. The caller's
// `started` runs just before the testers are let go and `stopped` just after they have all
// returned, so that readings of other processes frame the measured period. Runs on the calling
// thread plus one thread per tester; a link that fails on a tester's thread ends the process.

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <thread>
#include <vector>

#include "bench/doip_tester.h"
#include "bench/measurement.h"

namespace zevo::bench {

struct Tester_load {
    std::size_t answers = 0;
    std::size_t unexpected = 0;  ///< answers other than a positive one to the request sent
    double seconds = 0;          ///< how long the testers sent
};

/// `testers[i]` sends `requests[i]`; both have the same length.
inline Tester_load send_without_pause(const std::vector<Doip_tester*>& testers, const std::vector<doip::Bytes>& requests,
                                      Clock::duration period, const std::function<void()>& started = {},
                                      const std::function<void()>& stopped = {}) {
    std::vector<std::size_t> answers(testers.size(), 0);
    std::vector<std::size_t> unexpected(testers.size(), 0);
    std::atomic<bool> go{false};
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    for (std::size_t index = 0; index < testers.size(); ++index) {
        threads.emplace_back([&, index] {
            while (!go.load(std::memory_order_acquire)) std::this_thread::yield();
            const doip::Bytes& request = requests[index];
            while (!stop.load(std::memory_order_acquire)) {
                const doip::Bytes answer = testers[index]->exchange(request);
                ++answers[index];
                if (answer.empty() || answer[0] != request[0] + 0x40) ++unexpected[index];
            }
        });
    }
    if (started) started();
    const Clock::time_point began = Clock::now();
    go.store(true, std::memory_order_release);
    std::this_thread::sleep_for(period);  // the measured period itself, not a synchronisation
    stop.store(true, std::memory_order_release);
    for (std::thread& thread : threads) thread.join();
    Tester_load result;
    result.seconds = std::chrono::duration<double>(Clock::now() - began).count();
    if (stopped) stopped();
    for (std::size_t index = 0; index < testers.size(); ++index) {
        result.answers += answers[index];
        result.unexpected += unexpected[index];
    }
    return result;
}

}  // namespace zevo::bench

#pragma once
// The soak's traffic: testers 0E80, 0E81, ... each on a thread of its own, each sending requests
// of the mix without pause on its own DoIP connection (reconnecting after a loss) until stopped.
// Made, stopped and destroyed by the soak's main thread; the testers report to the referee.

#include <atomic>
#include <thread>
#include <vector>

#include "tests/soak/soak_tester.h"

namespace zevo::soak {

class Traffic {
public:
    Traffic(int testers, const Tester_address& where, Soak_referee& referee, std::uint32_t seed);
    ~Traffic() { stop(); }
    Traffic(const Traffic&) = delete;
    Traffic& operator=(const Traffic&) = delete;

    /// Lets every tester finish its request and joins the threads.
    void stop();

private:
    std::atomic<bool> stop_{false};
    std::vector<std::thread> threads_;
};

}  // namespace zevo::soak

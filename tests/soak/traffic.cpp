#include "tests/soak/traffic.h"

#include <random>

#include "tests/soak/traffic_mix.h"

namespace zevo::soak {
namespace {
constexpr std::uint16_t first_tester = 0x0E80;
}

Traffic::Traffic(int testers, const Tester_address& where, Soak_referee& referee, std::uint32_t seed) {
    for (int i = 0; i < testers; ++i) {
        threads_.emplace_back([this, where, &referee, seed, i] {
            Soak_tester tester(where, static_cast<std::uint16_t>(first_tester + i), referee, Sequence_limits{});
            std::mt19937 random(seed + 1 + static_cast<std::uint32_t>(i));
            while (!stop_) {
                if (!tester.connected()) {
                    const std::string failed = tester.connect();
                    if (!failed.empty()) {
                        referee.tally().fail("tester " + std::to_string(i) + ": " + failed);
                        std::this_thread::sleep_for(std::chrono::milliseconds(500));
                        continue;
                    }
                }
                tester.exchange(next_traffic_request(random));
            }
        });
    }
}

void Traffic::stop() {
    stop_ = true;
    for (std::thread& thread : threads_) {
        if (thread.joinable()) thread.join();
    }
}

}  // namespace zevo::soak

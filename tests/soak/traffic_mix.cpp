#include "tests/soak/traffic_mix.h"

namespace zevo::soak {
namespace {

const std::vector<Bytes> reads{{0x22, 0x2C, 0x55}, {0x22, 0x2C, 0x56}, {0x22, 0x2C, 0x57}, {0x22, 0x2C, 0x60}};
// 0x0648 echoes its data, 0xC00D reports the key list's hash, 0xC00F the key state: none changes it.
const std::vector<Bytes> starts{{0x31, 0x01, 0x06, 0x48, 0x01, 0xCA, 0xFE},
                                {0x31, 0x01, 0xC0, 0x0D, 0x01},
                                {0x31, 0x01, 0xC0, 0x0F, 0x00}};
const std::vector<Bytes> results{{0x31, 0x03, 0x06, 0x48}, {0x31, 0x03, 0xC0, 0x0D}, {0x31, 0x03, 0xC0, 0x0F}};

const Bytes& pick(const std::vector<Bytes>& from, std::mt19937& random) {
    return from[std::uniform_int_distribution<std::size_t>(0, from.size() - 1)(random)];
}

/// A Start with a kind byte and 16 bytes: the hash routines' arguments.
Bytes hash_start(std::uint8_t routine_low) {
    Bytes request{0x31, 0x01, 0xC0, routine_low, 0x01};
    for (std::uint8_t i = 0; i < 16; ++i) request.push_back(i);
    return request;
}

}  // namespace

Bytes next_traffic_request(std::mt19937& random) {
    const int kind = std::uniform_int_distribution<int>(0, 3)(random);
    if (kind <= 1) return pick(reads, random);
    return pick(kind == 2 ? starts : results, random);
}

std::vector<Bytes> recovery_requests() {
    std::vector<Bytes> all = reads;
    all.insert(all.end(), starts.begin(), starts.end());
    return all;
}

Bytes held_call_request() { return hash_start(0x0C); }
Bytes slow_request() { return hash_start(0x0B); }

std::string soak_scenario_json() {
    return "{\"routine_duration_ms\": " + std::to_string(routine_work.count()) +
           ", \"faults\": [{\"identifier\": \"0xC00C\", \"method\": \"start\", \"no_answer\": true},"
           " {\"identifier\": \"0xC00B\", \"method\": \"start\", \"delay_ms\": " +
           std::to_string(slow_request_delay.count()) + "}]}\n";
}

}  // namespace zevo::soak

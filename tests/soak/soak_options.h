#pragma once
// The command line of zevo-soak: how long, which seed, the programs and manifests, the testers,
// and whether the memory rule applies. Parsed on the main thread; throws std::invalid_argument
// with the message for the user.

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zevo::soak {

struct Soak_options {
    std::chrono::seconds duration{60};            ///< --seconds, at least 10
    std::optional<std::uint32_t> seed;            ///< --seed; default: a random one, printed
    std::string keysim;                           ///< --keysim PATH (required)
    std::string host;                             ///< --zevo-dm PATH (required)
    std::string keysim_manifest;                  ///< --keysim-manifest FILE (required)
    std::string host_manifest;                    ///< --host-manifest FILE (required): its request time-out is the held call's end
    std::string work;                             ///< --work DIR (required): logs and the scenario
    int testers = 5;                              ///< --testers N, 1-6: the testers of the traffic (one more injects faults)
    std::chrono::milliseconds request_timeout{2000};  ///< --request-timeout MS, passed to zevo-dm
    std::string rss_rule_skipped;                 ///< --skip-rss-rule REASON: the memory rule does not hold here
    std::vector<std::string> faults;              ///< --faults KIND,KIND...: only these kinds (default all)
    int host_log_level = 2;                       ///< --log-level N, 0-6: zevo-dm's log (errors by default)
};

Soak_options parse_soak_options(const std::vector<std::string>& arguments);
extern const char soak_usage[];

}  // namespace zevo::soak

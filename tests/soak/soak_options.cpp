#include "tests/soak/soak_options.h"

#include <algorithm>
#include <stdexcept>

#include "tests/soak/fault_injector.h"

namespace zevo::soak {

const char soak_usage[] =
    "usage: zevo-soak --seconds N --keysim PATH --zevo-dm PATH --keysim-manifest FILE --host-manifest FILE\n"
    "                 --work DIR [--seed N] [--testers N] [--request-timeout MS] [--skip-rss-rule REASON]\n"
    "                 [--log-level N] [--faults KIND,...]\n";

namespace {

long long number(const std::string& name, const std::string& text, long long low, long long high) {
    std::size_t used = 0;
    long long value = 0;
    try {
        value = std::stoll(text, &used);
    } catch (const std::exception&) {
        used = 0;
    }
    if (used != text.size() || text.empty() || value < low || value > high) {
        throw std::invalid_argument(name + ": expected a number " + std::to_string(low) + ".." + std::to_string(high) +
                                    ", got '" + text + "'");
    }
    return value;
}

std::vector<std::string> fault_list(const std::string& text) {
    std::vector<std::string> kinds;
    for (std::size_t start = 0; start <= text.size();) {
        const std::size_t comma = std::min(text.find(',', start), text.size());
        const std::string kind = text.substr(start, comma - start);
        if (std::find(std::begin(fault_kinds), std::end(fault_kinds), kind) == std::end(fault_kinds)) {
            throw std::invalid_argument("--faults: '" + kind +
                                        "' is none of keysim-killed, withdrawn, tester-left, held-to-timeout");
        }
        kinds.push_back(kind);
        start = comma + 1;
    }
    return kinds;
}

}  // namespace

Soak_options parse_soak_options(const std::vector<std::string>& arguments) {
    Soak_options options;
    for (std::size_t i = 0; i < arguments.size(); i += 2) {
        const std::string& name = arguments[i];
        if (i + 1 >= arguments.size()) throw std::invalid_argument(name + ": a value is missing");
        const std::string& value = arguments[i + 1];
        if (name == "--seconds") options.duration = std::chrono::seconds(number(name, value, 10, 86400));
        else if (name == "--seed") options.seed = static_cast<std::uint32_t>(number(name, value, 0, 4294967295LL));
        else if (name == "--keysim") options.keysim = value;
        else if (name == "--zevo-dm") options.host = value;
        else if (name == "--keysim-manifest") options.keysim_manifest = value;
        else if (name == "--host-manifest") options.host_manifest = value;
        else if (name == "--work") options.work = value;
        else if (name == "--testers") options.testers = static_cast<int>(number(name, value, 1, 6));
        else if (name == "--request-timeout") options.request_timeout = std::chrono::milliseconds(number(name, value, 100, 4000));
        else if (name == "--skip-rss-rule") options.rss_rule_skipped = value;
        else if (name == "--faults") options.faults = fault_list(value);
        else if (name == "--log-level") options.host_log_level = static_cast<int>(number(name, value, 0, 6));
        else throw std::invalid_argument("unknown option '" + name + "'");
    }
    for (const auto& [name, value] : {std::pair<const char*, const std::string*>{"--keysim", &options.keysim},
                                      {"--zevo-dm", &options.host},
                                      {"--keysim-manifest", &options.keysim_manifest},
                                      {"--host-manifest", &options.host_manifest},
                                      {"--work", &options.work}}) {
        if (value->empty()) throw std::invalid_argument(std::string(name) + " is required");
    }
    return options;
}

}  // namespace zevo::soak

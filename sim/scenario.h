#pragma once
// Fault injection for the simulated key-handling services: what a service does instead of its
// normal answer, per identifier and method, read from a small JSON scenario or built in code.
// Plain data; parse_scenario runs on the caller's thread and throws Scenario_error.

#include <chrono>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace zevo::sim {

/// The methods of the service interfaces, by their method identifiers.
enum class Method : std::uint16_t { cancel = 0, read_or_results = 1, start = 2 };

/// One fault: applies to the calls of one method of one service, the next `times` of them
/// (all when `times` is empty). Every field has the default "do as normal".
struct Fault {
    std::uint16_t identifier = 0;  ///< the UDS identifier of the service, e.g. 0x2C56
    Method method = Method::read_or_results;
    std::chrono::milliseconds delay{0};                        ///< answer this much later
    std::optional<std::vector<std::uint8_t>> application_error;  ///< answer code 2 with these bytes
    std::optional<std::uint8_t> return_code;                   ///< answer this code, empty payload
    bool short_payload = false;      ///< the normal payload less its last byte
    bool malformed_payload = false;  ///< a payload whose first length field overruns it
    bool no_answer = false;          ///< keep the call unanswered (the runtime's timeout ends it)
    bool drop = false;               ///< drop the call: its handler is destroyed unanswered
    /// Keep the call until a Cancel of the same service is served: a held Start is then answered
    /// 0 and its work never begins; a held Read or RequestResults gets the error 0x22.
    bool hold_until_cancel = false;
    /// Withdraw the service at this call, answer nothing, and offer it again after this time.
    std::optional<std::chrono::milliseconds> withdraw_for;
    std::optional<unsigned> times;   ///< how many calls the fault applies to; empty: all
};

struct Scenario {
    std::chrono::milliseconds routine_duration{100};  ///< how long a started routine works
    std::vector<Fault> faults;                        ///< in order: the first that applies wins
};

/// A scenario file or text that cannot be used: what() names the JSON path of the fault, e.g.
/// "$.faults[1].delay_ms: expected a non-negative integer".
class Scenario_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Parses a scenario from JSON text (format: sim/README.md). Unknown keys are errors. Throws
/// Scenario_error.
Scenario parse_scenario(const std::string& json_text);

/// Reads and parses a scenario file. Throws Scenario_error (also when the file cannot be read);
/// what() then starts with the path.
Scenario load_scenario_file(const std::string& path);

}  // namespace zevo::sim

#pragma once
// The ten simulated services as one table: identifier, interface name, kind, and the entry
// points of the behaviour written once per kind of service (service_state.h). Constant data,
// read from any thread.

#include <cstdint>
#include <string>
#include <vector>

#include "sim/scenario.h"
#include "sim/service_answer.h"

namespace zevo::sim {

class Service_state;

struct Service_entry {
    std::uint16_t identifier;
    const char* interface_name;  ///< the text the service is offered under
    bool routine;                ///< a routine (Start, RequestResults, Cancel) or a data identifier (Read, Cancel)
    /// Answers one call; runs under the simulator's lock.
    Answer (*serve)(Service_state& state, Method method, const std::vector<std::uint8_t>& request);
};

/// All ten, data identifiers first, each kind in ascending order.
const std::vector<Service_entry>& service_table();

/// The entry of `identifier`; null when it is not served.
const Service_entry* find_service(std::uint16_t identifier);

/// The method of `method_id` on a service of this kind; false when it has none.
bool method_of(std::uint16_t method_id, bool routine, Method& method);

/// How the method is named in scenarios: "read", "request_results", "start", "cancel".
const char* method_name(Method method, bool routine);

/// "0x2C56": four upper-case hex digits.
std::string hex_identifier(std::uint16_t identifier);

}  // namespace zevo::sim

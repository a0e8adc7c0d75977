#include "host/service_wait.h"

#include <thread>

#include "host/hex_bytes.h"

namespace zevo::host {

Service_wait_result wait_for_services(const std::vector<std::uint16_t>& identifiers, bool found,
                                      const Service_probe& probe, std::chrono::milliseconds timeout,
                                      const Stop_request& stop) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point started = Clock::now();
    const Clock::time_point deadline = started + timeout;
    Service_wait_result result;
    result.pending = identifiers;
    for (;;) {
        std::vector<std::uint16_t> still_pending;
        for (std::uint16_t identifier : result.pending) {
            if (probe(identifier) != found) still_pending.push_back(identifier);
        }
        result.pending = std::move(still_pending);
        const Clock::time_point now = Clock::now();
        result.waited = std::chrono::duration_cast<std::chrono::milliseconds>(now - started);
        if (result.pending.empty() || now >= deadline) return result;
        if (stop && stop()) {
            result.stopped = true;
            return result;
        }
        // A poll, not a wait for a notification: what changes is a pointer inside the extension,
        // set on a pool thread of the platform, which tells nobody.
        std::this_thread::sleep_for(service_poll_period);
    }
}

std::string format_identifiers(const std::vector<std::uint16_t>& identifiers) {
    std::string text;
    for (std::uint16_t identifier : identifiers) {
        if (!text.empty()) text += ", ";
        text += "0x" + format_hex_value(identifier, 4);
    }
    return text;
}

}  // namespace zevo::host

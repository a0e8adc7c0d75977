#pragma once
// Waits, bounded, until extensions have found or lost their remote services. Discovery runs on
// the platform's threads and the extensions do not report it, so a probe is polled (see
// Uds_dispatcher::has_found_service). Runs on the calling thread; throws what the probe throws.

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace zevo::host {

/// True when the extension of the identifier has its service now.
using Service_probe = std::function<bool(std::uint16_t identifier)>;
/// True when the wait is to end early (the host was interrupted).
using Stop_request = std::function<bool()>;

/// The pause between two rounds of probes.
constexpr std::chrono::milliseconds service_poll_period{1};

struct Service_wait_result {
    std::vector<std::uint16_t> pending;  ///< identifiers not in the wanted state at the end; empty: reached
    bool stopped = false;                ///< the stop request ended the wait
    std::chrono::milliseconds waited{0};  ///< from the start to the last round of probes

    bool reached() const { return pending.empty() && !stopped; }
};

/// Probes every identifier until each one's probe answers `found` (an identifier that did stays
/// done), or `timeout` has passed, or `stop` says so. Probes at least once, also with a zero
/// timeout.
Service_wait_result wait_for_services(const std::vector<std::uint16_t>& identifiers, bool found,
                                      const Service_probe& probe, std::chrono::milliseconds timeout,
                                      const Stop_request& stop);

/// "0x2C55, 0xC00F": the identifiers for a message.
std::string format_identifiers(const std::vector<std::uint16_t>& identifiers);

}  // namespace zevo::host

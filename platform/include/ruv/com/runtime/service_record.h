#pragma once
// The runtime's record of one found service, shared by every port attached to it: the service
// state, which the binding writes and proxies read before each call, and the binding that carries
// the calls. The state is atomic; the binding never changes. A port keeps its record after the
// service has gone: only the state changes.

#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>

#include "ruv/com/runtime/service_binding.h"

namespace ruv::com::runtime::service_state {

inline constexpr std::uint8_t not_available = 0;  ///< withdrawn, or lost by discovery
inline constexpr std::uint8_t available = 2;      ///< offered; calls reach the service

}  // namespace ruv::com::runtime::service_state

namespace ruv::com::runtime {

struct Service_record {
    /// `carrier` must not be null. Throws nothing.
    explicit Service_record(std::shared_ptr<Service_binding> carrier,
                            std::uint8_t initial_state = service_state::available) noexcept
        : state(initial_state), binding(std::move(carrier)) {}

    Service_record(const Service_record&) = delete;
    Service_record& operator=(const Service_record&) = delete;

    /// The first field: written by the binding with release, read by proxies with acquire.
    std::atomic<std::uint8_t> state;
    /// Carries the calls of this service; kept after withdrawal, when it answers 0xFF.
    const std::shared_ptr<Service_binding> binding;
};

}  // namespace ruv::com::runtime

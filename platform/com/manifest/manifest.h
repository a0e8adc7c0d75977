#pragma once
// The deployment manifest of the SOME/IP binding: this node's unicast address, the service
// discovery settings, and per interface name (and instance text) the numbers the wire uses.
// Plain records with their defaults; read once at start (manifest_reader.h), then read-only, so
// any thread may read them.

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ruv::com::someip_binding {

using Ipv4_address = std::array<std::uint8_t, 4>;

enum class Transport : std::uint8_t { udp, tcp };

const char* to_text(Transport transport) noexcept;

/// Timing and addressing of service discovery; every field may be left out of the file.
struct Sd_settings {
    Ipv4_address multicast{224, 244, 224, 245};          ///< the SD group
    std::uint16_t port = 30490;                           ///< SD's UDP port
    std::chrono::milliseconds initial_delay_min{0};       ///< the initial wait is random in [min, max]
    std::chrono::milliseconds initial_delay_max{3000};
    std::chrono::milliseconds repetition_base_delay{10};  ///< doubles after each repetition
    unsigned repetition_max = 3;                          ///< messages of the repetition phase
    std::chrono::milliseconds cyclic_offer_delay{1000};   ///< main phase: one Offer per period
    std::uint32_t ttl_seconds = 0xFFFFFF;                 ///< of our offers; 0xFFFFFF: until reboot
    std::chrono::milliseconds request_response_delay{2000};  ///< most we delay an answer to a multicast Find
};

/// Number of method indexes a service interface may have: 0 Cancel, 1 Read or RequestResults,
/// 2 Start.
inline constexpr std::size_t method_indexes = 3;

/// One service interface, by its full name.
struct Interface_deployment {
    std::string name;
    std::uint16_t service_id = 0;
    std::uint8_t major_version = 1;
    std::uint32_t minor_version = 0;
    /// Wire method id per method index; 0 (reserved on the wire) where the interface has none.
    std::array<std::uint16_t, method_indexes> method_ids{};
    bool udp = false;
    bool tcp = false;
    Transport request_transport = Transport::udp;  ///< one of the transports offered

    /// The method index of a wire method id, if the interface has it.
    std::optional<std::uint16_t> method_index(std::uint16_t wire_id) const noexcept;
};

/// One instance of an interface. The ports are the providing side's: 0 where not offered here.
struct Instance_deployment {
    std::string interface_name;
    std::string instance;
    std::uint16_t instance_id = 0;
    std::uint16_t udp_port = 0;
    std::uint16_t tcp_port = 0;
};

struct Manifest {
    std::string source;  ///< the file it came from, for messages
    Ipv4_address unicast{};
    Sd_settings sd;
    /// How long a call waits for its answer before it ends with 0x86; zero: never.
    std::chrono::milliseconds request_timeout{std::chrono::seconds{10}};
    std::vector<Interface_deployment> interfaces;
    std::vector<Instance_deployment> instances;

    const Interface_deployment* interface_named(const std::string& name) const noexcept;
    const Interface_deployment* interface_with_id(std::uint16_t service_id) const noexcept;
    const Instance_deployment* instance_of(const std::string& interface_name,
                                           const std::string& instance) const noexcept;
    const Instance_deployment* instance_with_id(const std::string& interface_name,
                                                std::uint16_t instance_id) const noexcept;
};

/// "127.0.0.1" and the like.
std::string to_text(const Ipv4_address& address);

}  // namespace ruv::com::someip_binding

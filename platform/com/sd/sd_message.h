#pragma once
// The records of a SOME/IP-SD message as the binding handles them: flags, entries (Find, Offer,
// StopOffer = Offer with TTL 0, Subscribe and SubscribeAck of an eventgroup) and the options
// their runs reference (IPv4 endpoint, IPv4 multicast, configuration). Plain values; decoding
// and encoding are in sd_codec.h.

#include <array>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace ruv::com::someip_binding::sd {

inline constexpr std::uint16_t service_id = 0xFFFF;
inline constexpr std::uint16_t method_id = 0x8100;
inline constexpr std::uint16_t default_port = 30490;

namespace flag {
inline constexpr std::uint8_t reboot = 0x80;
inline constexpr std::uint8_t unicast = 0x40;
inline constexpr std::uint8_t explicit_initial_data_control = 0x20;
}  // namespace flag

namespace entry_type {
inline constexpr std::uint8_t find_service = 0x00;
inline constexpr std::uint8_t offer_service = 0x01;
inline constexpr std::uint8_t subscribe_eventgroup = 0x06;
inline constexpr std::uint8_t subscribe_eventgroup_ack = 0x07;
}  // namespace entry_type

namespace option_type {
inline constexpr std::uint8_t configuration = 0x01;
inline constexpr std::uint8_t ipv4_endpoint = 0x04;
inline constexpr std::uint8_t ipv4_multicast = 0x14;
}  // namespace option_type

namespace l4 {
inline constexpr std::uint8_t tcp = 0x06;
inline constexpr std::uint8_t udp = 0x11;
}  // namespace l4

inline constexpr std::uint16_t any_instance = 0xFFFF;
inline constexpr std::uint8_t any_major = 0xFF;
inline constexpr std::uint32_t any_minor = 0xFFFFFFFF;
inline constexpr std::uint32_t ttl_forever = 0xFFFFFF;

struct Ipv4_endpoint {
    std::array<std::uint8_t, 4> address{};
    std::uint8_t protocol = l4::udp;
    std::uint16_t port = 0;

    bool operator==(const Ipv4_endpoint& other) const noexcept {
        return address == other.address && protocol == other.protocol && port == other.port;
    }
};

struct Option {
    std::uint8_t type = option_type::ipv4_endpoint;
    Ipv4_endpoint endpoint;  ///< ipv4_endpoint and ipv4_multicast
    std::vector<std::pair<std::string, std::string>> configuration;  ///< key, value ("" for a bare key)

    bool operator==(const Option& other) const noexcept {
        return type == other.type && endpoint == other.endpoint && configuration == other.configuration;
    }
};

struct Entry {
    std::uint8_t type = entry_type::find_service;
    std::uint16_t service_id = 0;
    std::uint16_t instance_id = any_instance;
    std::uint8_t major_version = any_major;
    std::uint32_t ttl = 0;                    ///< 24 bits, seconds
    std::uint32_t minor_version = any_minor;  ///< service entries
    std::uint8_t counter = 0;                 ///< eventgroup entries, 4 bits
    std::uint16_t eventgroup_id = 0;          ///< eventgroup entries
    /// The options of the entry's two runs that this binding knows, in order; unknown types are
    /// left out. When encoding, the options to reference.
    std::vector<Option> options;

    bool is_service_entry() const noexcept {
        return type == entry_type::find_service || type == entry_type::offer_service;
    }
    bool is_stop_offer() const noexcept { return type == entry_type::offer_service && ttl == 0; }

    bool operator==(const Entry& other) const noexcept;
};

struct Message {
    std::uint8_t flags = 0;
    std::vector<Entry> entries;

    bool operator==(const Message& other) const noexcept {
        return flags == other.flags && entries == other.entries;
    }
};

}  // namespace ruv::com::someip_binding::sd

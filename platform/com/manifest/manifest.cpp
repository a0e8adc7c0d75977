#include "com/manifest/manifest.h"

namespace ruv::com::someip_binding {

const char* to_text(Transport transport) noexcept { return transport == Transport::tcp ? "tcp" : "udp"; }

std::string to_text(const Ipv4_address& address) {
    return std::to_string(address[0]) + "." + std::to_string(address[1]) + "." + std::to_string(address[2]) + "." +
           std::to_string(address[3]);
}

std::optional<std::uint16_t> Interface_deployment::method_index(std::uint16_t wire_id) const noexcept {
    for (std::size_t index = 0; index < method_ids.size(); ++index) {
        if (wire_id != 0 && method_ids[index] == wire_id) {
            return static_cast<std::uint16_t>(index);
        }
    }
    return std::nullopt;
}

const Interface_deployment* Manifest::interface_named(const std::string& name) const noexcept {
    for (const Interface_deployment& deployment : interfaces) {
        if (deployment.name == name) {
            return &deployment;
        }
    }
    return nullptr;
}

const Interface_deployment* Manifest::interface_with_id(std::uint16_t service_id) const noexcept {
    for (const Interface_deployment& deployment : interfaces) {
        if (deployment.service_id == service_id) {
            return &deployment;
        }
    }
    return nullptr;
}

const Instance_deployment* Manifest::instance_of(const std::string& interface_name,
                                                 const std::string& instance) const noexcept {
    for (const Instance_deployment& deployment : instances) {
        if (deployment.interface_name == interface_name && deployment.instance == instance) {
            return &deployment;
        }
    }
    return nullptr;
}

const Instance_deployment* Manifest::instance_with_id(const std::string& interface_name,
                                                      std::uint16_t instance_id) const noexcept {
    for (const Instance_deployment& deployment : instances) {
        if (deployment.interface_name == interface_name && deployment.instance_id == instance_id) {
            return &deployment;
        }
    }
    return nullptr;
}

}  // namespace ruv::com::someip_binding

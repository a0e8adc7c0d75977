// The manifest's JSON layout (example: manifests/README.md). Every check names the
// JSON path of the value it is about, so that a user sees at once what is wrong and where.

#include "com/manifest/manifest_reader.h"

#include <cstdlib>
#include <fstream>
#include <initializer_list>
#include <sstream>

#include <nlohmann/json.hpp>

namespace ruv::com::someip_binding {
namespace {

using Json = nlohmann::json;

constexpr std::uint64_t longest_ms = 3'600'000;

/// A JSON value with its path and the file it came from; each reading either yields the value
/// or throws Manifest_error naming both.
class Node {
public:
    Node(const Json& value, std::string path, const std::string& source) : value_(value), path_(std::move(path)), source_(source) {}

    [[noreturn]] void fail(const std::string& complaint) const {
        throw Manifest_error("manifest " + source_ + ": " + path_ + ": " + complaint);
    }

    const std::string& path() const noexcept { return path_; }

    /// This object, with only the listed keys allowed.
    void expect_object(std::initializer_list<const char*> keys) const {
        if (!value_.is_object()) {
            fail("expected an object");
        }
        for (const auto& item : value_.items()) {
            bool listed = false;
            for (const char* key : keys) {
                listed = listed || item.key() == key;
            }
            if (!listed) {
                Node(item.value(), path_ + "." + item.key(), source_).fail("unknown key");
            }
        }
    }

    bool has(const char* key) const { return value_.contains(key); }

    Node operator[](const char* key) const {
        const auto found = value_.find(key);
        if (found == value_.end()) {
            fail(std::string("missing \"") + key + "\"");
        }
        return Node(*found, path_ + "." + key, source_);
    }

    std::vector<Node> elements(bool allow_empty) const {
        if (!value_.is_array() || (!allow_empty && value_.empty())) {
            fail(allow_empty ? "expected an array" : "expected a non-empty array");
        }
        std::vector<Node> nodes;
        for (std::size_t index = 0; index < value_.size(); ++index) {
            nodes.emplace_back(value_[index], path_ + "[" + std::to_string(index) + "]", source_);
        }
        return nodes;
    }

    /// Pairs of key and node of an object.
    std::vector<std::pair<std::string, Node>> members() const {
        if (!value_.is_object()) {
            fail("expected an object");
        }
        std::vector<std::pair<std::string, Node>> nodes;
        for (const auto& item : value_.items()) {
            nodes.emplace_back(item.key(), Node(item.value(), path_ + "." + item.key(), source_));
        }
        return nodes;
    }

    /// An integer in [low, high], as a number or as a hex text such as "0x2C55".
    std::uint64_t integer(std::uint64_t low, std::uint64_t high) const {
        const std::string complaint = "expected an integer " + std::to_string(low) + ".." + std::to_string(high);
        std::uint64_t number = 0;
        if (value_.is_number_unsigned()) {
            number = value_.get<std::uint64_t>();
        } else if (value_.is_string()) {
            const std::string& text = value_.get_ref<const std::string&>();
            if (text.size() < 3 || text.size() > 10 || text[0] != '0' || (text[1] != 'x' && text[1] != 'X') ||
                text.find_first_not_of("0123456789abcdefABCDEF", 2) != std::string::npos) {
                fail(complaint);
            }
            number = std::strtoull(text.c_str() + 2, nullptr, 16);
        } else {
            fail(complaint);
        }
        if (number < low || number > high) {
            fail(complaint);
        }
        return number;
    }

    std::chrono::milliseconds milliseconds() const {
        return std::chrono::milliseconds{static_cast<std::chrono::milliseconds::rep>(integer(0, longest_ms))};
    }

    std::string text() const {
        if (!value_.is_string() || value_.get_ref<const std::string&>().empty()) {
            fail("expected a non-empty text");
        }
        return value_.get<std::string>();
    }

    Ipv4_address address() const {
        const char* complaint = "expected an IPv4 address such as \"127.0.0.1\"";
        if (!value_.is_string()) {
            fail(complaint);
        }
        std::istringstream in(value_.get<std::string>());
        Ipv4_address address{};
        for (std::size_t part = 0; part < address.size(); ++part) {
            unsigned number = 256;
            char dot = '.';
            if (!(in >> number) || number > 255 || (part < 3 && (!(in >> dot) || dot != '.'))) {
                fail(complaint);
            }
            address[part] = static_cast<std::uint8_t>(number);
        }
        if (in.peek() != std::char_traits<char>::eof()) {
            fail(complaint);
        }
        return address;
    }

    Transport transport() const {
        if (value_ == "udp") {
            return Transport::udp;
        }
        if (value_ == "tcp") {
            return Transport::tcp;
        }
        fail("expected \"udp\" or \"tcp\"");
    }

private:
    const Json& value_;
    std::string path_;
    const std::string& source_;
};

template <class Number>
Number narrow(std::uint64_t value) {
    return static_cast<Number>(value);
}

Sd_settings read_sd(const Node& node) {
    node.expect_object({"multicast", "port", "initial_delay_min_ms", "initial_delay_max_ms",
                        "repetition_base_delay_ms", "repetition_max", "cyclic_offer_delay_ms", "ttl_s",
                        "request_response_delay_ms"});
    Sd_settings sd;
    if (node.has("multicast")) {
        sd.multicast = node["multicast"].address();
        if ((sd.multicast[0] & 0xF0) != 0xE0) {
            node["multicast"].fail("expected an IPv4 multicast address (224.0.0.0 to 239.255.255.255)");
        }
    }
    if (node.has("port")) sd.port = narrow<std::uint16_t>(node["port"].integer(1, 0xFFFF));
    if (node.has("initial_delay_min_ms")) sd.initial_delay_min = node["initial_delay_min_ms"].milliseconds();
    if (node.has("initial_delay_max_ms")) sd.initial_delay_max = node["initial_delay_max_ms"].milliseconds();
    if (sd.initial_delay_max < sd.initial_delay_min) {
        node["initial_delay_max_ms"].fail("expected at least initial_delay_min_ms");
    }
    if (node.has("repetition_base_delay_ms")) sd.repetition_base_delay = node["repetition_base_delay_ms"].milliseconds();
    if (node.has("repetition_max")) sd.repetition_max = narrow<unsigned>(node["repetition_max"].integer(0, 10));
    if (node.has("cyclic_offer_delay_ms")) {
        sd.cyclic_offer_delay = std::chrono::milliseconds{
            static_cast<std::chrono::milliseconds::rep>(node["cyclic_offer_delay_ms"].integer(1, longest_ms))};
    }
    if (node.has("ttl_s")) sd.ttl_seconds = narrow<std::uint32_t>(node["ttl_s"].integer(1, 0xFFFFFF));
    if (node.has("request_response_delay_ms")) sd.request_response_delay = node["request_response_delay_ms"].milliseconds();
    return sd;
}

/// 0 Cancel, 1 Read or RequestResults, 2 Start.
std::size_t method_index_of(const std::string& name, const Node& node) {
    if (name == "Cancel") return 0;
    if (name == "Read" || name == "RequestResults") return 1;
    if (name == "Start") return 2;
    node.fail("unknown method: expected Cancel, Read, RequestResults or Start");
}

Interface_deployment read_interface(const Node& node, const Manifest& manifest) {
    node.expect_object({"name", "service_id", "major_version", "minor_version", "methods", "transports",
                        "request_transport"});
    Interface_deployment deployment;
    deployment.name = node["name"].text();
    if (manifest.interface_named(deployment.name) != nullptr) {
        node["name"].fail("a second interface of this name");
    }
    deployment.service_id = narrow<std::uint16_t>(node["service_id"].integer(1, 0xFFFE));
    if (manifest.interface_with_id(deployment.service_id) != nullptr) {
        node["service_id"].fail("a second interface with this service id");
    }
    deployment.major_version = narrow<std::uint8_t>(node["major_version"].integer(0, 0xFE));
    if (node.has("minor_version")) deployment.minor_version = narrow<std::uint32_t>(node["minor_version"].integer(0, 0xFFFFFFFE));
    for (const auto& [name, method] : node["methods"].members()) {
        const std::size_t index = method_index_of(name, method);
        if (deployment.method_ids[index] != 0) {
            method.fail("a second method with index " + std::to_string(index));
        }
        const auto wire_id = narrow<std::uint16_t>(method.integer(1, 0x7FFE));
        if (deployment.method_index(wire_id)) {
            method.fail("a second method with this wire method id");
        }
        deployment.method_ids[index] = wire_id;
    }
    if (deployment.method_ids[0] == 0) {
        node["methods"].fail("missing \"Cancel\"");
    }
    for (const Node& transport : node["transports"].elements(false)) {
        bool& offered = transport.transport() == Transport::tcp ? deployment.tcp : deployment.udp;
        if (offered) {
            transport.fail("named twice");
        }
        offered = true;
    }
    if (node.has("request_transport")) {
        deployment.request_transport = node["request_transport"].transport();
    } else if (deployment.udp && deployment.tcp) {
        node.fail("missing \"request_transport\": the interface has two transports");
    } else {
        deployment.request_transport = deployment.tcp ? Transport::tcp : Transport::udp;
    }
    if ((deployment.request_transport == Transport::tcp ? deployment.tcp : deployment.udp) == false) {
        node["request_transport"].fail("not one of the interface's transports");
    }
    return deployment;
}

Instance_deployment read_instance(const Node& node, const Manifest& manifest) {
    node.expect_object({"interface", "instance", "instance_id", "udp_port", "tcp_port"});
    Instance_deployment deployment;
    deployment.interface_name = node["interface"].text();
    const Interface_deployment* interface = manifest.interface_named(deployment.interface_name);
    if (interface == nullptr) {
        node["interface"].fail("not an interface of $.interfaces");
    }
    deployment.instance = node["instance"].text();
    if (manifest.instance_of(deployment.interface_name, deployment.instance) != nullptr) {
        node["instance"].fail("a second entry for this interface and instance");
    }
    deployment.instance_id = narrow<std::uint16_t>(node["instance_id"].integer(1, 0xFFFE));
    if (manifest.instance_with_id(deployment.interface_name, deployment.instance_id) != nullptr) {
        node["instance_id"].fail("a second instance of this interface with this id");
    }
    if (node.has("udp_port")) {
        if (!interface->udp) node["udp_port"].fail("the interface has no udp transport");
        deployment.udp_port = narrow<std::uint16_t>(node["udp_port"].integer(1, 0xFFFF));
    }
    if (node.has("tcp_port")) {
        if (!interface->tcp) node["tcp_port"].fail("the interface has no tcp transport");
        deployment.tcp_port = narrow<std::uint16_t>(node["tcp_port"].integer(1, 0xFFFF));
    }
    return deployment;
}

}  // namespace

Manifest parse_manifest(const std::string& text, const std::string& source) {
    Json json;
    try {
        json = Json::parse(text);
    } catch (const Json::parse_error& error) {
        throw Manifest_error("manifest " + source + ": not JSON: " + error.what());
    }
    const Node root(json, "$", source);
    root.expect_object({"unicast", "service_discovery", "request_timeout_ms", "interfaces", "services"});
    Manifest manifest;
    manifest.source = source;
    manifest.unicast = root["unicast"].address();
    if (root.has("service_discovery")) manifest.sd = read_sd(root["service_discovery"]);
    if (root.has("request_timeout_ms")) manifest.request_timeout = root["request_timeout_ms"].milliseconds();
    for (const Node& node : root["interfaces"].elements(false)) {
        manifest.interfaces.push_back(read_interface(node, manifest));
    }
    for (const Node& node : root["services"].elements(true)) {
        manifest.instances.push_back(read_instance(node, manifest));
    }
    return manifest;
}

Manifest read_manifest(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    if (!in || !(text << in.rdbuf())) {
        throw Manifest_error("manifest " + path + ": cannot be read");
    }
    return parse_manifest(text.str(), path);
}

std::optional<std::string> manifest_path_from_environment() {
    const char* path = std::getenv(manifest_variable);
    if (path == nullptr || *path == '\0') {
        return std::nullopt;
    }
    return std::string(path);
}

}  // namespace ruv::com::someip_binding

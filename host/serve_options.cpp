#include "host/serve_options.h"

#include <arpa/inet.h>

#include <cstdint>
#include <vector>

#include "host/hex_bytes.h"
#include "host/host_options.h"

namespace zevo::host {
namespace {

// Logical addresses of ISO 13400-2 that each option may take.
constexpr std::uint16_t node_first_low = 0x0001, node_last_low = 0x0DFF;
constexpr std::uint16_t node_first_high = 0x1000, node_last_high = 0x7FFF;
constexpr std::uint16_t tester_first = 0x0E00, tester_last = 0x0FFF;
constexpr std::uint16_t functional_first = 0xE000, functional_last = 0xEFFF;

void parse_listen(const std::string& text, doip::Entity_config& entity) {
    const std::size_t colon = text.find(':');
    const std::string address = text.substr(0, colon);
    in_addr parsed{};
    if (address.empty() || ::inet_pton(AF_INET, address.c_str(), &parsed) != 1) {
        throw Option_error("--listen wants an IPv4 address and an optional port, ADDRESS[:PORT], not '" + text + "'");
    }
    entity.address = address;
    if (colon != std::string::npos) {
        entity.port = static_cast<std::uint16_t>(
            parse_number("--listen", text.substr(colon + 1), 0, 65535, "a port from 0 (a free one) to 65535"));
    }
}

doip::Entity_id parse_entity_id(const std::string& name, const std::string& text) {
    std::vector<std::uint8_t> bytes;
    try {
        bytes = parse_hex_bytes({text});
    } catch (const Hex_error&) {
        bytes.clear();
    }
    doip::Entity_id id{};
    if (bytes.size() != id.size()) {
        throw Option_error(name + " wants 6 bytes as 12 hex digits such as 025A45564F01, not '" + text + "'");
    }
    for (std::size_t i = 0; i < id.size(); ++i) id[i] = bytes[i];
    return id;
}

doip::Vin parse_vin(const std::string& text) {
    doip::Vin vin{};
    bool printable = text.size() == vin.size();
    for (std::size_t i = 0; printable && i < vin.size(); ++i) {
        printable = text[i] > ' ' && text[i] < 0x7F;
        vin[i] = static_cast<std::uint8_t>(text[i]);
    }
    if (!printable) throw Option_error("--vin wants 17 printable ASCII characters, not '" + text + "'");
    return vin;
}

std::uint16_t parse_in_range(const std::string& name, const std::string& text, std::uint16_t first,
                             std::uint16_t last, const std::string& what) {
    const std::string example = format_hex_value(first, 4);
    const std::uint16_t address = parse_hex_address(name, text, example);
    if (address < first || address > last) {
        throw Option_error(name + " wants " + what + " (" + example + "-" + format_hex_value(last, 4) + "), not '" +
                           text + "'");
    }
    return address;
}

void parse_testers(const std::string& text, doip::Entity_config& entity) {
    const std::size_t dash = text.find('-');
    const std::string what = "tester addresses";
    if (dash == std::string::npos) throw Option_error("--testers wants a range LOW-HIGH such as 0E00-0FFF, not '" + text + "'");
    const std::uint16_t low = parse_in_range("--testers", text.substr(0, dash), tester_first, tester_last, what);
    const std::uint16_t high = parse_in_range("--testers", text.substr(dash + 1), tester_first, tester_last, what);
    if (low > high) throw Option_error("--testers wants LOW-HIGH with LOW not above HIGH, not '" + text + "'");
    entity.tester_min = low;
    entity.tester_max = high;
}

}  // namespace

bool is_serve_option(const std::string& name) {
    for (const char* option : {"--listen", "--logical-address", "--vin", "--eid", "--gid", "--testers",
                               "--functional-address", "--max-testers"}) {
        if (name == option) return true;
    }
    return false;
}

void parse_serve_option(const std::string& name, const std::string& value, Serve_options& options) {
    doip::Entity_config& entity = options.entity;
    if (name == "--listen") {
        parse_listen(value, entity);
    } else if (name == "--logical-address") {
        const std::string example = format_hex_value(entity.logical_address, 4);
        const std::uint16_t address = parse_hex_address(name, value, example);
        if ((address < node_first_low || address > node_last_low) &&
            (address < node_first_high || address > node_last_high)) {
            throw Option_error(name + " wants a vehicle node's address (0001-0DFF or 1000-7FFF), not '" + value + "'");
        }
        entity.logical_address = address;
    } else if (name == "--vin") {
        entity.vin = parse_vin(value);
    } else if (name == "--eid") {
        entity.eid = parse_entity_id(name, value);
    } else if (name == "--gid") {
        entity.gid = parse_entity_id(name, value);
    } else if (name == "--testers") {
        parse_testers(value, entity);
    } else if (name == "--functional-address") {
        entity.functional_address =
            parse_in_range(name, value, functional_first, functional_last, "a functional group address");
    } else if (name == "--max-testers") {
        entity.max_testers = static_cast<std::uint8_t>(parse_number(name, value, 1, 255, "a number from 1 to 255"));
    }
}

std::string format_logical_address(std::uint16_t address) { return format_hex_value(address, 4); }

std::string serve_usage() {
    const doip::Entity_config defaults;
    const std::string vin(defaults.vin.begin(), defaults.vin.end());
    std::string eid;
    for (std::uint8_t byte : defaults.eid) eid += format_hex_value(byte, 2);
    return "Options of serve (the DoIP entity, ISO 13400-2):\n"
           "  --listen ADDR[:PORT]     IPv4 address and port of TCP and UDP; port 0: a free one,\n"
           "                           printed when listening (default: " + defaults.address + ":" +
           std::to_string(defaults.port) + ")\n"
           "  --logical-address HEX    the entity's logical address, 0001-0DFF or 1000-7FFF\n"
           "                           (default: " + format_logical_address(defaults.logical_address) + ")\n"
           "  --vin TEXT               the VIN in identification answers, 17 characters\n"
           "                           (default: " + vin + ")\n"
           "  --eid HEX12, --gid HEX12 entity and group id, 6 bytes (default: " + eid + ")\n"
           "  --testers LO-HI          tester addresses routing activation accepts, within\n"
           "                           0E00-0FFF (default: " + format_logical_address(defaults.tester_min) + "-" +
           format_logical_address(defaults.tester_max) + ")\n"
           "  --functional-address HEX the address of functional requests, E000-EFFF\n"
           "                           (default: " + format_logical_address(defaults.functional_address) + ")\n"
           "  --max-testers N          testers activated at once, 1 to 255 (default: " +
           std::to_string(defaults.max_testers) + ")\n";
}

}  // namespace zevo::host

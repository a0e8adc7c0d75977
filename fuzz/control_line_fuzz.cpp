// control_line_fuzz: arbitrary bytes as a line of zevo-keysim's control port. A line either reads
// as a command, which writes back to the same line's meaning, or is refused with Control_error;
// arbitrary bytes as an address, or as a served identifier (zevo-keysim --withdrawn), are read
// or refused likewise. Nothing else may leave the parsers.

#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/fuzz_check.h"
#include "sim/control_protocol.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string line(reinterpret_cast<const char*>(data), size);
    try {
        const zevo::sim::Control_command command = zevo::sim::parse_control_command(line);
        const zevo::sim::Control_command again =
            zevo::sim::parse_control_command(zevo::sim::format_control_command(command));
        zevo::fuzz::expect(again.kind == command.kind && again.identifier == command.identifier &&
                               again.method == command.method && again.timeout == command.timeout,
                           "a command reads back as another");
    } catch (const zevo::sim::Control_error&) {
    }
    try {
        const zevo::sim::Control_address address = zevo::sim::parse_control_address(line, size % 2 == 0);
        zevo::fuzz::expect(!address.address.empty(), "an address without its IPv4 part");
    } catch (const zevo::sim::Control_error&) {
    }
    try {
        const std::uint16_t identifier = zevo::sim::parse_served_identifier(line);
        zevo::fuzz::expect(zevo::sim::parse_control_command("offer " + line).identifier == identifier,
                           "an identifier that a command reads as another");
    } catch (const zevo::sim::Control_error&) {
    }
    return 0;
}

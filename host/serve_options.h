#pragma once
// The options of `zevo-dm serve`: where the DoIP entity listens and who it is (logical address,
// VIN, EID, GID, accepted testers, functional address, tester sockets). Parsed on the main thread
// by parse_host_options; every bad value throws Option_error naming the option.

#include <string>

#include "host/doip/entity_config.h"

namespace zevo::host {

struct Serve_options {
    /// Everything the entity is; defaults as in zevo::doip::Entity_config (127.0.0.1:13400,
    /// logical address 0x0010, VIN ZEVOBENCH00000001, testers 0x0E00-0x0FFF, functional 0xE400,
    /// 4 testers at once).
    doip::Entity_config entity;
};

/// Whether `name` ("--listen", ...) is an option of serve; each of them takes a value.
bool is_serve_option(const std::string& name);

/// Stores the value of serve option `name` in `options`. Throws Option_error naming the option
/// and the value when the value is bad.
void parse_serve_option(const std::string& name, const std::string& value, Serve_options& options);

/// The options' part of --help.
std::string serve_usage();

/// The entity's logical address as the help and the listening line print it: four hex digits.
std::string format_logical_address(std::uint16_t address);

}  // namespace zevo::host

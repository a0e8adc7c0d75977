#pragma once
// The entity's own log lines (testers connected or refused, activations, NACKs), plain text
// through ara::log with application id ZEVO and context DOIP. Thread-safe.

#include <cstdint>
#include <string>

namespace zevo::doip {

void log_info(const std::string& text);
void log_warn(const std::string& text);
// "0x0E80"
std::string hex4(std::uint16_t value);
std::string hex2(std::uint8_t value);

}  // namespace zevo::doip

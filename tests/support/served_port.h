#pragma once
// The port that `zevo-dm serve` announces in its first line ("zevo-dm: serving DoIP on ADDRESS
// port N, ..."), for the tests, benches and the soak that start it on a free port.

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

namespace zevo::test_support {

/// The line's port; 0 when the line names none.
inline std::uint16_t served_port(const std::string& line) {
    const std::size_t at = line.find(" port ");
    if (at == std::string::npos) return 0;
    try {
        const unsigned long port = std::stoul(line.substr(at + 6));
        return port <= 0xFFFF ? static_cast<std::uint16_t>(port) : 0;
    } catch (const std::logic_error&) {  // no digits behind " port "
        return 0;
    }
}

}  // namespace zevo::test_support

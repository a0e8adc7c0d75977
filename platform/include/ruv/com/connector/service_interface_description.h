#pragma once
// What the runtime is told about an interface when a port attaches to it: four bytes, in memory
// order 0, 0, the number of methods, 0 (0x00030000 as a little-endian word for a routine with
// three methods, 0x00020000 for a data identifier with two). Made on the spot by each proxy.

#include <cstdint>

namespace ruv::com::connector {

struct Service_interface_description {
    std::uint8_t reserved_0 = 0;    ///< always 0
    std::uint8_t reserved_1 = 0;    ///< always 0
    std::uint8_t method_count = 0;  ///< methods of the interface
    std::uint8_t reserved_3 = 0;    ///< always 0
};

}  // namespace ruv::com::connector

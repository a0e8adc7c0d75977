// A shared object that looks like the plug-in but exports only the two table queries, so that
// the host's handling of a missing entry point can be tested.

#include <cstdint>

namespace {
constexpr std::uint16_t tables[] = {0x2C56, 0xC00F};
}

extern "C" {

__attribute__((visibility("default"))) const std::uint16_t* get_did_info(std::uint16_t* count) {
    *count = 1;
    return tables;
}

__attribute__((visibility("default"))) const std::uint16_t* get_rid_info(std::uint16_t* count) {
    *count = 1;
    return tables + 1;
}

}

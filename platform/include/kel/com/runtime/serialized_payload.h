#pragma once
// The bytes of one request or response as they travel between a proxy and the runtime: a shared
// buffer, the range of valid data in it, and a leading word of the runtime's own. Passed by value
// and moved, one thread at a time. Its field order is a binary contract; nothing here throws.

#include <cstdint>
#include <memory>
#include <vector>

namespace kel::com::runtime {

struct Serialized_payload {
    /// The runtime's own word. The request path writes 0; the response path carries it unread.
    std::uint32_t header_word = 0;
    /// The storage; null for a payload without bytes.
    std::shared_ptr<std::vector<std::uint8_t>> buffer;
    /// First valid byte inside *buffer, or null with `end` for no bytes.
    std::uint8_t* begin = nullptr;
    /// One past the last valid byte.
    std::uint8_t* end = nullptr;
};

}  // namespace kel::com::runtime

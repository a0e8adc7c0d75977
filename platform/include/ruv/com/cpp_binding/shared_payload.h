#pragma once
// The buffer a proxy serialises a request into. Any thread; throws std::bad_alloc only.

#include <cstdint>
#include <memory>
#include <vector>

namespace ruv::com::cpp_binding {

/// A new, empty buffer owned by the returned pointer alone. `size_hint` bytes are reserved;
/// every caller in this system passes 0.
std::shared_ptr<std::vector<std::uint8_t>> get_shared_payload(unsigned long size_hint);

}  // namespace ruv::com::cpp_binding

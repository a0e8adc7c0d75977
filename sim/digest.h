#pragma once
// The 16-byte digest behind the simulated identity, PSS and verification hashes: two FNV-1a
// lanes over a domain byte and the data, each finished with a 64-bit mixer. Deterministic and
// cheap; not cryptographic. Pure function, any thread.

#include <array>
#include <cstdint>
#include <vector>

namespace zevo::sim {

using Hash16 = std::array<std::uint8_t, 16>;

/// The digest of `data` in `domain` (so that equal data of different kinds hash apart).
Hash16 digest16(std::uint8_t domain, const std::vector<std::uint8_t>& data);

}  // namespace zevo::sim

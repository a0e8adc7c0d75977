#pragma once
// What the soak knows about one UDS request it sends: the bytes, the service and the identifier
// they address, and the kind (a read, a routine's Start or its RequestResults). Plain values and
// pure functions, any thread; nothing throws.

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace zevo::soak {

using Bytes = std::vector<std::uint8_t>;
using Clock = std::chrono::steady_clock;
using Time = Clock::time_point;
using Milliseconds = std::chrono::milliseconds;

enum class Request_kind { read, start, results, other };

struct Request_info {
    Request_kind kind = Request_kind::other;
    std::uint8_t service = 0;
    std::uint16_t identifier = 0;  ///< the data identifier or routine, 0 for other requests
};

/// The kind and identifier of `22 DID` and `31 01|03 RID ...` requests; other bytes are `other`.
Request_info describe_request(const Bytes& request);

/// Hex bytes separated by spaces, "31 01 C0 0F 00".
std::string hex_text(const Bytes& bytes);

/// Milliseconds from `from` to `to`, for figures and messages.
long long milliseconds_between(Time from, Time to);

}  // namespace zevo::soak

#pragma once
// What the dispatcher answers to one request: the response bytes, or none when the tester asked
// to suppress the positive response. Built and read on the thread that dispatched the request.

#include <cstdint>
#include <string>
#include <vector>

#include "host/negative_response_code.h"
#include "host/uds_protocol.h"

namespace zevo::host {

struct Uds_response {
    /// The response as sent: 62/6E/71... or 7F SID NRC. Empty when `suppressed`.
    std::vector<std::uint8_t> bytes;
    /// True when the request carried the suppress-positive-response bit and the answer was
    /// positive: per ISO 14229-1 nothing is sent. Negative answers are never suppressed.
    bool suppressed = false;
    /// Set when a job left by an exception (answered with generalReject); what it said.
    std::string job_error;
    /// The host cancelled a job of this request while it ran. A cancelled job returns 0 with no
    /// data, so the bytes are those of a positive answer without the job's record.
    bool cancelled = false;

    friend bool operator==(const Uds_response& a, const Uds_response& b) {
        // job_error and cancelled are notes about how the answer came about, not part of it
        return a.bytes == b.bytes && a.suppressed == b.suppressed;
    }
    friend bool operator!=(const Uds_response& a, const Uds_response& b) { return !(a == b); }
};

/// 7F SID NRC.
inline Uds_response negative_response(std::uint8_t sid, Negative_response_code code) {
    return Uds_response{{negative_response_sid, sid, to_byte(code)}, false, {}, false};
}

/// No bytes: a positive answer the tester asked not to receive.
inline Uds_response suppressed_response() { return Uds_response{{}, true, {}, false}; }

}  // namespace zevo::host

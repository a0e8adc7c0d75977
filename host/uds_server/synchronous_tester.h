#pragma once
// The command line's tester: sends one request at a time to the UDS server and waits for the
// request's end, keeping every answer it got (0x78s, then the final one). Used by `send` and
// `session` on the main thread; the server answers from its own threads. Throws nothing but
// std::bad_alloc.

#include <cstdint>
#include <string>
#include <vector>

#include "host/uds_server/uds_server.h"

namespace zevo::host {

struct Exchange {
    std::vector<std::vector<std::uint8_t>> answers;  ///< every answer as sent, in order
    Request_end end;                                  ///< how the request ended

    /// The final answer, or nothing for a suppressed, withheld or cancelled one.
    const std::vector<std::uint8_t>* final_answer() const {
        return end.kind == Request_end::Kind::answered ? &end.answer : nullptr;
    }
};

class Synchronous_tester {
public:
    /// Talks to `server` as tester `tester` from logical address `source`.
    Synchronous_tester(Uds_server& server, std::uint16_t source, std::uint64_t tester = 0)
        : server_(server), source_(source), tester_(tester) {}

    /// Sends `request` and waits until it has ended.
    Exchange exchange(const std::vector<std::uint8_t>& request, bool functional = false);

private:
    Uds_server& server_;
    std::uint16_t source_;
    std::uint64_t tester_;
};

/// The lines printed for an exchange, each "<- " and an answer or a note: "<- 7F 22 78",
/// "<- 62 2C 56 00 00 02", "<- (no response: suppressed)", "<- (no response: functional
/// request)", "<- (cancelled)".
std::vector<std::string> describe_exchange(const Exchange& exchange);

/// The note or bytes of how an exchange ended, as in describe_exchange without the "<- ".
std::string describe_end(const Request_end& end);

}  // namespace zevo::host

#pragma once
// The seam between the DoIP entity and the UDS server behind it: the entity hands each
// diagnostic message of an activated tester to a Diagnostic_handler and gives it a reply
// function that carries UDS answers back to that tester. Called on the entity's I/O thread.

#include <cstdint>
#include <functional>
#include <vector>

namespace zevo::doip {

struct Diagnostic_request {
    std::uint64_t connection;  // the tester's TCP connection, unique for the entity's life
    std::uint16_t source;      // the tester's logical address (activated on that connection)
    std::uint16_t target;      // the entity's logical address or its functional address
    bool functional;           // target is the functional address
    std::vector<std::uint8_t> uds;
};

// Sends one UDS answer to the tester that asked (a request may get several: 7F xx 78, then
// the final one). Safe from any thread; false and nothing sent once the connection is gone.
using Diagnostic_reply = std::function<bool(std::vector<std::uint8_t> uds)>;

class Diagnostic_handler {
public:
    virtual ~Diagnostic_handler() = default;
    // On the entity's I/O thread, after the 0x8002 acknowledge has been queued; never blocks.
    virtual void on_request(Diagnostic_request request, Diagnostic_reply reply) = 0;
    // The connection closed (peer, inactivity, error, shutdown): no reply reaches it now.
    virtual void on_connection_closed(std::uint64_t connection) = 0;
};

}  // namespace zevo::doip

#pragma once
// Puts the host's UDS server behind the DoIP entity: each diagnostic message of an activated
// tester becomes a request of the server, with the DoIP connection as the tester's identity,
// and a closed connection cancels that tester's running jobs. Called on the entity's I/O
// thread; never blocks (the server runs jobs on its workers). Throws nothing of its own.

#include <cstdint>

#include "host/doip/diagnostic_handler.h"
#include "host/uds_server/uds_server.h"

namespace zevo::host {

class Doip_bridge final : public doip::Diagnostic_handler {
public:
    /// `server` must outlive the bridge, and the entity that calls the bridge must be stopped
    /// before the server is destroyed.
    explicit Doip_bridge(Uds_server& server) : server_(server) {}

    void on_request(doip::Diagnostic_request request, doip::Diagnostic_reply reply) override;
    void on_connection_closed(std::uint64_t connection) override;

private:
    Uds_server& server_;
};

}  // namespace zevo::host

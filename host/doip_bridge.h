#pragma once
// Puts the host's UDS server behind the DoIP entity: each diagnostic message of an activated
// tester becomes a request of the server, with the DoIP connection as the tester's identity,
// and a closed connection cancels that tester's running jobs. Called on the entity's I/O
// thread; never blocks (the server runs jobs on its workers). Throws nothing of its own.

#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "host/doip/diagnostic_handler.h"
#include "host/uds_server/uds_server.h"

namespace zevo::host {

class Doip_bridge final : public doip::Diagnostic_handler {
public:
    /// Told when a request ends cancelled (its tester gone, or the server shut down), on the
    /// thread of the job that returned: "request 31 01 06 48 01 of tester 0E80 on connection 3
    /// cancelled".
    using Note = std::function<void(const std::string&)>;

    /// `server` must outlive the bridge, and the entity that calls the bridge must be stopped
    /// before the server is destroyed.
    explicit Doip_bridge(Uds_server& server, Note note = {}) : server_(server), note_(std::move(note)) {}

    void on_request(doip::Diagnostic_request request, doip::Diagnostic_reply reply) override;
    void on_connection_closed(std::uint64_t connection) override;

private:
    Uds_server& server_;
    const Note note_;
};

}  // namespace zevo::host

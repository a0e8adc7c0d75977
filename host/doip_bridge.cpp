#include "host/doip_bridge.h"

#include <utility>

namespace zevo::host {

void Doip_bridge::on_request(doip::Diagnostic_request request, doip::Diagnostic_reply reply) {
    // The entity's reply already refuses to send once the connection is gone, as the server
    // expects of a reply to a tester that left.
    server_.on_request(request.connection, request.source, request.functional, std::move(request.uds),
                       std::move(reply));
}

void Doip_bridge::on_connection_closed(std::uint64_t connection) { server_.on_tester_gone(connection); }

}  // namespace zevo::host

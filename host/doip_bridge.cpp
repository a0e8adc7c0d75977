#include "host/doip_bridge.h"

#include "host/hex_bytes.h"

namespace zevo::host {

void Doip_bridge::on_request(doip::Diagnostic_request request, doip::Diagnostic_reply reply) {
    Request_done done;
    if (note_) {
        // The text is made only for the rare request that ends cancelled.
        done = [note = note_, uds = request.uds, source = request.source,
                connection = request.connection](const Request_end& end) {
            if (end.kind != Request_end::Kind::cancelled) return;
            note("request " + format_hex_bytes(uds) + " of tester " + format_hex_value(source, 4) + " on connection " +
                 std::to_string(connection) + " cancelled");
        };
    }
    // The entity's reply already refuses to send once the connection is gone, as the server
    // expects of a reply to a tester that left.
    server_.on_request(request.connection, request.source, request.functional, std::move(request.uds),
                       std::move(reply), std::move(done));
}

void Doip_bridge::on_connection_closed(std::uint64_t connection) { server_.on_tester_gone(connection); }

}  // namespace zevo::host

#pragma once
// zevo-dm serve: the DoIP entity in front of the host's UDS server until SIGINT or SIGTERM.
// Called once by the host application on the main thread, after the extensions have found
// their services; returns when the signal has stopped the server and closed every connection.

#include <ostream>

#include "host/interrupt_watcher.h"
#include "host/serve_options.h"
#include "host/uds_server/uds_server.h"

namespace zevo::host {

/// Listens as `options` say, prints the listening line on `out`, serves testers through
/// `server` until `watcher` sees a signal, then shuts the server down (later requests are
/// refused, running jobs cancelled, nothing more is sent) and stops the entity. Returns
/// exit_done, or exit_cannot_listen with a line on `err` when the sockets cannot be bound.
int serve_testers(const Serve_options& options, Uds_server& server, Interrupt_watcher& watcher, std::ostream& out,
                  std::ostream& err);

}  // namespace zevo::host

#pragma once
// zevo-dm from command line to exit code: parse the options, start the embedded simulator, load
// the plug-in, make and attach the extensions, wait for their services, run the command, detach
// and destroy. Called once by main on the main thread before any other thread exists.

#include <ostream>
#include <string>
#include <vector>

namespace zevo::host {

/// The exit codes of zevo-dm; a signal ends it with 128 + the signal's number (130 for SIGINT,
/// see Interrupt_watcher).
enum Host_exit_code : int {
    exit_done = 0,                 /**< the command ran; for session: every step as expected */
    exit_unexpected_answer = 1,    /**< send or session: at least one answer was not the expected one */
    exit_usage_or_plugin = 2,      /**< bad command line, scenario file or description, or the plug-in could not be used */
    exit_services_not_found = 3,   /**< an extension did not find its service within the discovery timeout */
    exit_cannot_listen = 4,        /**< serve: the entity's sockets could not be bound */
};

/// Runs zevo-dm with `arguments` (without the program name). Results go to `out`, errors to
/// `err`. Blocks SIGINT and SIGTERM in the calling thread and handles them on a thread of its own.
int run_host(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err);

}  // namespace zevo::host

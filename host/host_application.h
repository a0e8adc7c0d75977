#pragma once
// zevo-dm from command line to exit code: parse the options, load the plug-in, make and attach
// the extensions, run the command, detach and destroy. Called once by main on the main thread.

#include <ostream>
#include <string>
#include <vector>

namespace zevo::host {

/// The exit codes of zevo-dm.
enum Host_exit_code : int {
    exit_done = 0,                 /**< the command ran; for session: every answer as expected */
    exit_session_mismatch = 1,     /**< session: at least one answer was not the expected one */
    exit_usage_or_plugin = 2,      /**< bad command line, or the plug-in could not be used */
};

/// Runs zevo-dm with `arguments` (without the program name). Results go to `out`, errors to `err`.
int run_host(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err);

}  // namespace zevo::host

#pragma once
// The command line of zevo-dm as a plain record with documented defaults, its parser and the
// help text. Parsed once on the main thread before anything is loaded.

#include <chrono>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/expectation.h"
#include "host/serve_options.h"

namespace zevo::host {

/// A command line that cannot be run; the message says what is wrong.
class Option_error : public std::invalid_argument {
public:
    using std::invalid_argument::invalid_argument;
};

/// A 16-bit address in hex given to option `name`: two or four digits, optionally behind "0x"
/// ("0E80", "0x0e80", "F1"). Throws Option_error naming the option, with `example` ("0E80").
std::uint16_t parse_hex_address(const std::string& name, const std::string& text, const std::string& example);

/// A decimal number from `minimum` to `maximum` (at most 18 digits) given to option `name`.
/// Throws Option_error naming the option, the value and `what` it wants ("a level from 0 to 6").
long long parse_number(const std::string& name, const std::string& text, long long minimum, long long maximum,
                       const char* what);

enum class Host_command {
    none,     /**< no command given: print the help, exit 2 */
    send,     /**< send requests, print the answers, compare them with their expectations */
    session,  /**< run the simulator's scripted session over every served identifier */
    serve,    /**< serve DoIP testers until SIGINT or SIGTERM */
};

/// The path of the plug-in built together with this host.
std::string default_plugin_path();

struct Host_options {
    /// --plugin PATH: the plug-in to dlopen. Default: default_plugin_path().
    std::string plugin_path = default_plugin_path();
    /// --instance TEXT: the instance text every extension's attach receives. Default "1".
    std::string instance = "1";
    /// --tester-address HEX: the tester's logical address put into meta_info. Default 0x0E80.
    std::uint16_t tester_address = 0x0E80;
    /// --scenario FILE: faults for the embedded simulator (sim/README.md). Default none.
    std::optional<std::string> scenario_path;
    /// --log-level N, 0 (off) to 6 (verbose): ZEVO_LOG_LEVEL for this process. Default: the
    /// environment's, or the log library's default when it has none.
    std::optional<int> log_level;
    /// --request-timeout MS: how long the platform waits for a service's answer before it
    /// answers the call with 0x86 itself; 0 never. Default: the platform's (10 s).
    std::optional<std::chrono::milliseconds> request_timeout;
    /// --discovery-timeout MS: how long the host waits at start for every extension to find its
    /// service, and a session step for one to find or lose it; 0: no wait at start. Default 5 s.
    std::chrono::milliseconds discovery_timeout{5000};
    /// --no-simulator: start no simulator in the process; the services must be offered by
    /// someone else. Default off: the embedded simulator serves all ten.
    bool simulator = true;
    /// --help: print the help and exit 0, whatever else is given. Default off.
    bool help = false;
    /// The command word. Default none.
    Host_command command = Host_command::none;
    /// send: the requests in order, each with its expectation if one was given. Empty for other
    /// commands. Arguments holding white space are one request each; a run of arguments without
    /// white space forms one request ("22 2C 56" and 22 2C 56 are the same request).
    std::vector<Scripted_request> requests;
    /// --description FILE: the diagnostic description to serve by. Default: the embedded one.
    std::optional<std::string> description_path;
    /// --p2 MS, --p2-star MS: the server's P2 and P2* (defaults 50 and 5000; P2* in 10 ms steps).
    std::chrono::milliseconds p2{50};
    std::chrono::milliseconds p2_star{5000};
    /// --max-response-size N: the longest answer the server sends (longer reads: 7F 22 14). Default 4095.
    std::size_t max_response_size = 4095;
    /// --manifest FILE: the SOME/IP deployment manifest (manifests/README.md); the services are
    /// found over SOME/IP-SD as with ZEVO_COM_MANIFEST, and no simulator runs in the process.
    /// Default none.
    std::optional<std::string> manifest_path;
    /// --simulator-control ADDRESS:PORT: the control port of a zevo-keysim, through which session
    /// withdraws and offers its services and waits for held calls; only without the embedded
    /// simulator. Default none.
    std::optional<std::string> simulator_control;
    /// serve: the DoIP entity's address, identity and limits (--listen, --logical-address, --vin,
    /// --eid, --gid, --testers, --functional-address, --max-testers). Only with serve.
    Serve_options serve;
};

/// Options and command from the arguments behind the program name. Options may stand before or
/// after the command, as "--plugin PATH" or "--plugin=PATH". Throws Option_error for an unknown
/// option, a missing or bad value, an unknown or repeated command, bad hex, stray arguments, for
/// session without a simulator to drive (neither the embedded one nor --simulator-control), for
/// --simulator-control beside the embedded simulator, and for an option of serve given to another
/// command.
Host_options parse_host_options(const std::vector<std::string>& arguments);

/// The level `send` logs at unless asked for more: warnings and errors, so that its answer is not
/// lost among the info records of every service search.
constexpr int send_default_log_level = 3;

/// The ZEVO_LOG_LEVEL that zevo-dm sets for itself before the log library reads it, or nothing
/// to leave the environment's as it is: --log-level when given; else nothing when
/// `environment_level` (ZEVO_LOG_LEVEL, may be null) is set and not empty; else
/// send_default_log_level for send, and nothing for every other command, which keeps the log
/// library's default (4, info).
std::optional<int> log_level_to_set(const Host_options& options, const char* environment_level);

/// The text of --help.
std::string host_usage();

}  // namespace zevo::host

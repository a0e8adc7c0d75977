#include "host/host_options.h"

#include <optional>

#include "host/hex_bytes.h"

#ifndef ZEVO_DM_DEFAULT_PLUGIN
#error "ZEVO_DM_DEFAULT_PLUGIN (path of the plug-in built with the host) must be defined by the build"
#endif

namespace zevo::host {

std::uint16_t parse_hex_address(const std::string& name, const std::string& text, const std::string& example) {
    std::string digits = text;
    if (digits.size() > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) digits.erase(0, 2);
    if (digits.size() == 2) digits.insert(0, "00");
    std::vector<std::uint8_t> bytes;
    try {
        bytes = parse_hex_bytes({digits});
    } catch (const Hex_error&) {
        bytes.clear();
    }
    if (bytes.size() != 2) {
        throw Option_error(name + " wants a 16-bit hex address such as " + example + " or 0x" + example + ", not '" +
                           text + "'");
    }
    return static_cast<std::uint16_t>(bytes[0] << 8 | bytes[1]);
}

long long parse_number(const std::string& name, const std::string& text, long long minimum, long long maximum,
                       const char* what) {
    const auto refuse = [&] { return Option_error(name + " wants " + what + ", not '" + text + "'"); };
    if (text.empty() || text.size() > 18) throw refuse();
    long long value = 0;
    for (char c : text) {
        if (c < '0' || c > '9') throw refuse();
        value = value * 10 + (c - '0');
    }
    if (value < minimum || value > maximum) throw refuse();
    return value;
}

namespace {

std::chrono::milliseconds parse_milliseconds(const std::string& name, const std::string& text) {
    return std::chrono::milliseconds{parse_number(name, text, 0, 86'400'000, "a number of milliseconds (0 to 86400000)")};
}

/// Splits "--name=value" and fetches the value of "--name value" from the next argument.
class Option_reader {
public:
    explicit Option_reader(const std::vector<std::string>& arguments) : arguments_(arguments) {}

    bool done() const { return position_ >= arguments_.size(); }
    const std::string& next() { return arguments_[position_++]; }

    std::string value_of(const std::string& name, const std::optional<std::string>& inline_value) {
        if (inline_value) return *inline_value;
        if (done()) throw Option_error(name + " needs a value");
        return next();
    }

private:
    const std::vector<std::string>& arguments_;
    std::size_t position_ = 0;
};

}  // namespace

std::string default_plugin_path() { return ZEVO_DM_DEFAULT_PLUGIN; }

Host_options parse_host_options(const std::vector<std::string>& arguments) {
    Host_options options;
    std::vector<std::string> operands;  // the command word and what follows it
    std::string serve_option;           // the first option of serve given, if any
    Option_reader reader(arguments);
    while (!reader.done()) {
        const std::string& argument = reader.next();
        if (argument.size() < 2 || argument[0] != '-') {
            operands.push_back(argument);
            continue;
        }
        std::string name = argument;
        std::optional<std::string> inline_value;
        if (const auto equals = argument.find('='); equals != std::string::npos) {
            name = argument.substr(0, equals);
            inline_value = argument.substr(equals + 1);
        }
        if (name == "--help" || name == "-h") {
            if (inline_value) throw Option_error(name + " takes no value");
            options.help = true;
        } else if (name == "--plugin") {
            options.plugin_path = reader.value_of(name, inline_value);
            if (options.plugin_path.empty()) throw Option_error("--plugin needs a non-empty path");
        } else if (name == "--instance") {
            options.instance = reader.value_of(name, inline_value);
        } else if (name == "--tester-address") {
            options.tester_address = parse_hex_address(name, reader.value_of(name, inline_value), "0E80");
        } else if (name == "--scenario") {
            options.scenario_path = reader.value_of(name, inline_value);
            if (options.scenario_path->empty()) throw Option_error("--scenario needs a non-empty path");
        } else if (name == "--log-level") {
            options.log_level =
                static_cast<int>(parse_number(name, reader.value_of(name, inline_value), 0, 6, "a level from 0 to 6"));
        } else if (name == "--request-timeout") {
            options.request_timeout = parse_milliseconds(name, reader.value_of(name, inline_value));
        } else if (name == "--discovery-timeout") {
            options.discovery_timeout = parse_milliseconds(name, reader.value_of(name, inline_value));
        } else if (name == "--description") {
            options.description_path = reader.value_of(name, inline_value);
            if (options.description_path->empty()) throw Option_error("--description needs a non-empty path");
        } else if (name == "--p2") {
            options.p2 = std::chrono::milliseconds{
                parse_number(name, reader.value_of(name, inline_value), 1, 65535, "a number of milliseconds (1 to 65535)")};
        } else if (name == "--p2-star") {
            options.p2_star = std::chrono::milliseconds{parse_number(
                name, reader.value_of(name, inline_value), 10, 655350, "a number of milliseconds (10 to 655350)")};
            if (options.p2_star.count() % 10 != 0) throw Option_error("--p2-star wants a multiple of 10 ms");
        } else if (name == "--max-response-size") {
            options.max_response_size = static_cast<std::size_t>(parse_number(
                name, reader.value_of(name, inline_value), 8, 1 << 24, "a number of bytes (8 to 16777216)"));
        } else if (name == "--manifest" || name == "--simulator-control") {
            std::optional<std::string>& path = name == "--manifest" ? options.manifest_path : options.simulator_control;
            path = reader.value_of(name, inline_value);
            if (path->empty()) throw Option_error(name + " needs a non-empty value");
        } else if (is_serve_option(name)) {
            parse_serve_option(name, reader.value_of(name, inline_value), options.serve);
            if (serve_option.empty()) serve_option = name;
        } else if (name == "--no-simulator") {
            if (inline_value) throw Option_error(name + " takes no value");
            options.simulator = false;
        } else {
            throw Option_error("unknown option '" + argument + "'");
        }
    }
    if (options.manifest_path) options.simulator = false;
    if (options.simulator_control && options.simulator) {
        throw Option_error("--simulator-control drives zevo-keysim and needs --manifest or --no-simulator");
    }
    if (options.help || operands.empty()) return options;

    const std::string& command = operands.front();
    const std::vector<std::string> command_arguments(operands.begin() + 1, operands.end());
    if (command == "send") {
        options.command = Host_command::send;
        // An argument with white space is a request of its own; arguments without form one together.
        std::vector<std::string> texts;
        bool joining = false;
        for (const std::string& argument : command_arguments) {
            const bool spaced = argument.find_first_of(" \t") != std::string::npos;
            if (spaced || !joining) {
                texts.push_back(argument);
            } else {
                texts.back() += " " + argument;
            }
            joining = !spaced;
        }
        if (texts.empty()) throw Option_error("send: no request bytes given");
        for (const std::string& text : texts) {
            try {
                options.requests.push_back(parse_scripted_request(text));
            } catch (const Expectation_error& error) {
                throw Option_error(std::string("send: ") + error.what());
            }
        }
    } else if (command == "session") {
        options.command = Host_command::session;
        if (!command_arguments.empty()) {
            throw Option_error("session takes no arguments, got '" + command_arguments.front() + "'");
        }
        if (!options.simulator && !options.simulator_control) {
            throw Option_error("session drives a simulator: without the embedded one it needs --simulator-control");
        }
    } else if (command == "serve") {
        options.command = Host_command::serve;
        if (!command_arguments.empty()) {
            throw Option_error("serve takes no arguments, got '" + command_arguments.front() + "'");
        }
    } else {
        throw Option_error("unknown command '" + command + "' (commands: send, session, serve)");
    }
    if (!serve_option.empty() && options.command != Host_command::serve) {
        throw Option_error(serve_option + " is an option of serve");
    }
    return options;
}

std::optional<int> log_level_to_set(const Host_options& options, const char* environment_level) {
    if (options.log_level) return options.log_level;
    if (environment_level != nullptr && *environment_level != '\0') return std::nullopt;
    if (options.command == Host_command::send) return send_default_log_level;
    return std::nullopt;
}

std::string host_usage() {
    return "Usage: zevo-dm [options] send REQUEST...\n"
           "       zevo-dm [options] session\n"
           "       zevo-dm --manifest FILE --simulator-control ADDRESS:PORT [options] session\n"
           "       zevo-dm [options] serve\n"
           "\n"
           "Starts the ten simulated key-handling services in this process (the platform's local\n"
           "binding), loads the diagnostic plug-in with dlopen, makes one extension per data\n"
           "identifier and routine it serves, attaches each with the instance text, waits until\n"
           "every one has found its service, and serves UDS requests (ISO 14229-1) as a\n"
           "diagnostic server: 10 DiagnosticSessionControl (01 default, 03 extended), 3E\n"
           "TesterPresent, and through the extensions 22 ReadDataByIdentifier, 2E\n"
           "WriteDataByIdentifier and 31 RoutineControl, as far as the diagnostic description\n"
           "allows them in the active session. A job not answered within P2 gets 7F xx 78.\n"
           "Jobs run on worker threads, one per extension. At the end every extension is\n"
           "detached and destroyed.\n"
           "\n"
           "Commands:\n"
           "  send REQUEST... send requests in order to one server and simulator; prints\n"
           "                  '-> request' and '<- answer' lines (also each 7F xx 78, and\n"
           "                  '(no response: suppressed)' or '(cancelled)' where nothing came).\n"
           "                  A request is hex bytes, two digits each, optionally followed by\n"
           "                  '=> EXPECTED': bytes, '*' for any byte, '...' at the end for any\n"
           "                  further bytes, or 'none'. An argument holding spaces is one request;\n"
           "                  arguments without spaces form one request together:\n"
           "                    zevo-dm send 22 2C 56\n"
           "                    zevo-dm send \"22 2C 56 => 62 2C 56 * * *\" \"31 01 C0 0F 00 => 71 01 C0 0F\"\n"
           "                  An answer other than the expected one prints 'expected ...' and\n"
           "                  makes the exit code 1.\n"
           "  session         run the simulator's scripted session: every data identifier read,\n"
           "                  every routine started and its results requested, an application\n"
           "                  error, a request too short (7F .. 13), an unknown identifier\n"
           "                  (7F .. 31), a slow routine cancelled while the service holds the\n"
           "                  call, a service withdrawn and found again. Prints '# step', '-> request'\n"
           "                  and '<- response' per step, and 'expected ...' under a response that\n"
           "                  differs from the simulator's expectation; the session goes on.\n"
           "  serve           put the server on the network as a DoIP entity (ISO 13400-2) for\n"
           "                  real testers: TCP and UDP on --listen, vehicle identification,\n"
           "                  routing activation, diagnostic messages to the logical or the\n"
           "                  functional address. Prints 'zevo-dm: serving DoIP on ADDRESS port\n"
           "                  PORT, logical address HEX' once it listens, and serves until SIGINT\n"
           "                  or SIGTERM: then it stops accepting, cancels the running jobs,\n"
           "                  closes every connection, detaches the extensions and exits 0.\n"
           "\n"
           "Options (before or after the command; --name VALUE or --name=VALUE):\n"
           "  --plugin PATH            plug-in to load\n"
           "                           (default: " + default_plugin_path() + ")\n"
           "  --instance TEXT          instance text handed to attach and under which the\n"
           "                           simulator offers its services (default: 1)\n"
           "  --scenario FILE          faults for the simulator, a JSON file (see sim/README.md);\n"
           "                           the session adds them to the faults its script relies on\n"
           "  --log-level N            0 off, 1 fatal, 2 error, 3 warning, 4 info, 5 debug (the\n"
           "                           plug-in's traces of every call), 6 verbose; sets\n"
           "                           ZEVO_LOG_LEVEL for this process (default: ZEVO_LOG_LEVEL\n"
           "                           from the environment, else 3 for send and 4 for session).\n"
           "                           Log lines go to standard error, or to a DLT daemon with\n"
           "                           ZEVO_LOG_SINK=dlt (see the README's Platform logging).\n"
           "  --request-timeout MS     how long the platform waits for a service's answer before\n"
           "                           it fails the call; 0 never (default: the platform's, 10000)\n"
           "  --discovery-timeout MS   how long to wait for every extension to find its service\n"
           "                           at start, and in a session for one to find or lose it;\n"
           "                           0: no wait at start (default: 5000)\n"
           "  --no-simulator           start no simulator: the services must be offered by someone\n"
           "                           else; without them every served identifier answers\n"
           "                           7F SID 10 (use with --discovery-timeout 0). For session\n"
           "                           with --simulator-control only.\n"
           "  --manifest FILE          find the services over SOME/IP with SOME/IP-SD as this\n"
           "                           deployment manifest says (as ZEVO_COM_MANIFEST does, see\n"
           "                           manifests/README.md); starts no simulator\n"
           "  --simulator-control ADDRESS:PORT\n"
           "                           the control port of zevo-keysim --control, through which\n"
           "                           session withdraws, offers and waits for held calls (with\n"
           "                           --manifest or --no-simulator)\n"
           "  --tester-address HEX     tester's address written into meta_info (default: 0E80)\n"
           "  --description FILE       the diagnostic description (JSON) saying which identifiers\n"
           "                           may be read, written, started, stopped or asked for results\n"
           "                           in which session (default: the embedded one, see README)\n"
           "  --p2 MS                  P2server: 7F xx 78 before it passes (default: 50)\n"
           "  --p2-star MS             P2*server, a multiple of 10 (default: 5000)\n"
           "  --max-response-size N    longest answer; longer reads get 7F 22 14 (default: 4095)\n"
           "  -h, --help               print this help and exit\n"
           "\n" +
           serve_usage() +
           "\n"
           "Exit codes: 0 done; 1 an answer not as expected (send, session); 2 bad command line,\n"
           "scenario file, description or plug-in; 3 services not found within the discovery timeout;\n"
           "4 serve cannot listen on its address and port;\n"
           "130 interrupted by SIGINT (Ctrl-C), 143 by SIGTERM: the running job is cancelled\n"
           "through the extension's cancel and the host ends normally (serve ends with 0, since\n"
           "a signal is how it is meant to stop); a second signal, or a host still running 5 s\n"
           "after the first, ends it at once with 130 or 143.\n";
}

}  // namespace zevo::host

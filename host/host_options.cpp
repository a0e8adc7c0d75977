#include "host/host_options.h"

#include <optional>

#include "host/hex_bytes.h"

#ifndef ZEVO_DM_DEFAULT_PLUGIN
#error "ZEVO_DM_DEFAULT_PLUGIN (path of the plug-in built with the host) must be defined by the build"
#endif

namespace zevo::host {
namespace {

std::uint16_t parse_tester_address(const std::string& text) {
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
        throw Option_error("--tester-address wants a 16-bit hex address such as 0E80 or 0x0E80, not '" + text + "'");
    }
    return static_cast<std::uint16_t>(bytes[0] << 8 | bytes[1]);
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
            options.tester_address = parse_tester_address(reader.value_of(name, inline_value));
        } else {
            throw Option_error("unknown option '" + argument + "'");
        }
    }
    if (options.help || operands.empty()) return options;

    const std::string& command = operands.front();
    const std::vector<std::string> command_arguments(operands.begin() + 1, operands.end());
    if (command == "send") {
        options.command = Host_command::send;
        try {
            options.request = parse_hex_bytes(command_arguments);
        } catch (const Hex_error& error) {
            throw Option_error(std::string("send: ") + error.what());
        }
    } else if (command == "session") {
        options.command = Host_command::session;
        if (!command_arguments.empty()) {
            throw Option_error("session takes no arguments, got '" + command_arguments.front() + "'");
        }
    } else {
        throw Option_error("unknown command '" + command + "' (commands: send, session)");
    }
    return options;
}

std::string host_usage() {
    return "Usage: zevo-dm [options] send BYTES...\n"
           "       zevo-dm [options] session\n"
           "\n"
           "Loads the diagnostic plug-in with dlopen, makes one extension per data identifier and\n"
           "routine it serves, attaches each with the instance text and answers UDS requests\n"
           "(ISO 14229-1: 22 ReadDataByIdentifier, 2E WriteDataByIdentifier, 31 RoutineControl)\n"
           "through them. At the end every extension is detached and destroyed.\n"
           "\n"
           "Commands:\n"
           "  send BYTES...   send one request and print the response as hex bytes, e.g.\n"
           "                  'zevo-dm send 22 2C 56' prints '7F 22 10' while the service is absent.\n"
           "                  BYTES are two hex digits per byte, as separate arguments or in one:\n"
           "                  22 2C 56, 222C56 and \"22 2C 56\" are the same request.\n"
           "  session         run the scripted session: a read of every data identifier, a start\n"
           "                  and a results request of every routine, an unknown DID and a request\n"
           "                  that is too short. Prints '-> request' and '<- response' per step and\n"
           "                  exits 0 when every response is the expected one, 1 otherwise.\n"
           "\n"
           "Options (before or after the command; --name VALUE or --name=VALUE):\n"
           "  --plugin PATH          plug-in to load\n"
           "                         (default: " + default_plugin_path() + ")\n"
           "  --instance TEXT        instance text handed to attach (default: 1)\n"
           "  --tester-address HEX   tester's address written into meta_info (default: 0E80)\n"
           "  -h, --help             print this help and exit\n"
           "\n"
           "Exit codes: 0 done; 1 session responses did not match; 2 bad command line, or the\n"
           "plug-in could not be loaded or lacks an entry point.\n";
}

}  // namespace zevo::host

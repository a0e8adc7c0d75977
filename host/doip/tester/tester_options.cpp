#include "host/doip/tester/tester_options.h"

#include <cctype>

namespace zevo::doip {
namespace {

unsigned long parse_number(const std::string& option, const std::string& text, int base, unsigned long max) {
    std::size_t used = 0;
    unsigned long value = 0;
    try {
        value = std::stoul(text, &used, base);
    } catch (const std::exception&) {
        used = 0;
    }
    if (text.empty() || used != text.size() || value > max || text[0] == '-') {
        throw Usage_error(option + ": '" + text + "' is not a " + (base == 16 ? "hex" : "decimal") +
                          " number up to " + std::to_string(max));
    }
    return value;
}

std::uint16_t parse_address(const std::string& option, std::string text) {
    if (text.rfind("0x", 0) == 0 || text.rfind("0X", 0) == 0) text = text.substr(2);
    return static_cast<std::uint16_t>(parse_number(option, text, 16, 0xFFFF));
}

}  // namespace

Tester_options parse_tester_options(const std::vector<std::string>& arguments) {
    Tester_options options;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        auto value = [&]() -> const std::string& {
            if (i + 1 >= arguments.size()) throw Usage_error(argument + " needs a value");
            return arguments[++i];
        };
        if (argument == "-h" || argument == "--help") {
            options.help = true;
        } else if (argument == "--discover") {
            options.discover = true;
        } else if (argument == "--host") {
            options.host = value();
            options.host_given = true;
        } else if (argument == "--port") {
            options.port = static_cast<std::uint16_t>(parse_number(argument, value(), 10, 65535));
        } else if (argument == "--source") {
            options.source = parse_address(argument, value());
        } else if (argument == "--target") {
            options.target = parse_address(argument, value());
        } else if (argument == "--functional") {
            options.functional = true;
        } else if (argument == "--functional-address") {
            options.functional_address = parse_address(argument, value());
        } else if (argument == "--file") {
            options.file = value();
        } else if (argument == "--keep-alive") {
            options.keep_alive = true;
        } else if (argument == "--timeout") {
            options.timeout = std::chrono::milliseconds(parse_number(argument, value(), 10, 600000));
        } else if (argument == "--pause") {
            options.pause = std::chrono::milliseconds(parse_number(argument, value(), 10, 3600000));
        } else if (argument == "--doip-version") {
            unsigned long version = parse_number(argument, value(), 10, 3);
            if (version < 2) throw Usage_error("--doip-version: 2 or 3");
            options.version = static_cast<std::uint8_t>(version);
        } else if (!argument.empty() && argument[0] == '-' && argument.size() > 1 && !std::isxdigit(argument[1])) {
            throw Usage_error("unknown option " + argument + " (see --help)");
        } else {
            options.requests.push_back(argument);
        }
    }
    if (!options.help && !options.discover && options.requests.empty() && !options.file) {
        throw Usage_error("nothing to do: give requests, --file or --discover (see --help)");
    }
    return options;
}

std::string tester_usage() {
    return R"(usage: zevo-tester [options] [REQUEST...]
A DoIP tester (ISO 13400-2): finds entities, activates routing and sends UDS requests.

Each REQUEST (and each line of --file) is hex bytes, optionally followed by "=>" and the
expected answer, "*" standing for any byte:  "22 F1 90 => 62 F1 90 * *". Lines starting
with '#' are comments. Every answer is printed with its time; 7F xx 78 is followed to the
final answer.

  --discover              list the entities answering vehicle identification (broadcast
                          and 127.0.0.1, or only --host when given)
  --host ADDRESS          the entity's IPv4 address (default 127.0.0.1)
  --port N                its TCP and UDP port (default 13400)
  --source HEX            the tester's logical address (default 0E80)
  --target HEX            the entity's logical address (default: asked by identification)
  --functional            send to the functional address
  --functional-address HEX   (default E400)
  --file PATH             request lines from a file
  --keep-alive            send TesterPresent 3E 80 every 2 s while running
  --timeout MS            wait for an acknowledge or answer (default 2000; after 7F xx 78: 5500)
  --pause MS              wait between requests (default 0)
  --doip-version 2|3      protocol version of the messages sent (default 2)

Exit codes: 0 every answer as expected; 1 an answer differs, is missing or was refused;
2 a bad command line or file; 3 the entity is unreachable or refused the routing activation.
)";
}

}  // namespace zevo::doip

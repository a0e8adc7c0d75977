#pragma once
// zevo-tester's command line as a record with its defaults, and the parser that fills it.
// Pure; throws Usage_error with a message naming the bad argument.

#include <chrono>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace zevo::doip {

class Usage_error : public std::invalid_argument {
public:
    using std::invalid_argument::invalid_argument;
};

struct Tester_options {
    bool help = false;
    bool discover = false;                    // list the entities that answer identification
    std::string host = "127.0.0.1";           // the entity (for --discover: where to ask)
    bool host_given = false;                  // --discover without --host broadcasts
    std::uint16_t port = 13400;               // TCP and UDP
    std::uint16_t source = 0x0E80;            // the tester's logical address
    std::optional<std::uint16_t> target;      // the entity's; default: asked by identification
    bool functional = false;                  // send to the functional address
    std::uint16_t functional_address = 0xE400;
    std::optional<std::string> file;          // request lines, one per line
    std::vector<std::string> requests;        // request lines given as arguments
    bool keep_alive = false;                  // TesterPresent 3E 80 every 2 s while running
    std::chrono::milliseconds timeout{2000};  // for an acknowledge or an answer
    std::chrono::milliseconds pause{0};       // between two requests
    std::uint8_t version = 0x02;              // DoIP protocol version of what the tester sends
};

Tester_options parse_tester_options(const std::vector<std::string>& arguments);
std::string tester_usage();

}  // namespace zevo::doip

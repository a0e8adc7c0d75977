#pragma once
// The line protocol of zevo-keysim's control port, by which a host's scripted session in another
// process withdraws and offers services and waits for a call that a service holds: one command
// line in, one answer line out. Pure text functions, callable from any thread; the parsers throw
// Control_error.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "sim/scenario.h"

namespace zevo::sim {

/// A command line or address that cannot be used; what() says what is wrong.
class Control_error : public std::invalid_argument {
public:
    using std::invalid_argument::invalid_argument;
};

struct Control_command {
    enum class Kind {
        withdraw,               /**< "withdraw 0x2C56": the service stops being offered */
        offer,                  /**< "offer 0x2C56": the service is offered (again) */
        wait_for_pending_call,  /**< "wait-pending 0x0648 start 5000": until a call of the method is held */
    };
    Kind kind = Kind::withdraw;
    std::uint16_t identifier = 0;             ///< a served identifier
    Method method = Method::read_or_results;  ///< wait_for_pending_call only
    std::chrono::milliseconds timeout{0};     ///< wait_for_pending_call only, at most max_control_wait
};

/// The longest command line taken, without its line end.
constexpr std::size_t max_control_line = 128;
/// The longest wait a command may ask for.
constexpr std::chrono::milliseconds max_control_wait{3'600'000};

/// The answers: "ok" to withdraw and offer, "held" or "not held" to a wait, and "error " with
/// the reason to a line that cannot be run.
namespace control_answer {
constexpr char ok[] = "ok";
constexpr char held[] = "held";
constexpr char not_held[] = "not held";
constexpr char error_prefix[] = "error ";
}  // namespace control_answer

/// Parses a command line (words separated by single spaces, no line end): the identifier in hex
/// as "0x2C56", the method named as in scenarios ("read", "request_results", "start",
/// "cancel"), the timeout in decimal milliseconds. Throws Control_error.
Control_command parse_control_command(const std::string& line);

/// A served identifier written "0x2C56". Throws Control_error.
std::uint16_t parse_served_identifier(const std::string& text);

/// The line of `command`, as parse_control_command reads it.
std::string format_control_command(const Control_command& command);

/// Where a control port listens: a dotted IPv4 address and a port.
struct Control_address {
    std::string address;
    std::uint16_t port = 0;
};

/// "127.0.0.2:30600"; port 0 only when `any_port` (a listener that takes what it is given).
/// Throws Control_error.
Control_address parse_control_address(const std::string& text, bool any_port);

}  // namespace zevo::sim

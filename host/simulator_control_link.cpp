#include "host/simulator_control_link.h"

#include <stdexcept>

namespace zevo::host {
namespace {

sim::Control_address address_of(const std::string& text) {
    try {
        return sim::parse_control_address(text, false);
    } catch (const sim::Control_error& error) {
        throw std::runtime_error(std::string("--simulator-control: ") + error.what());
    }
}

}  // namespace

Simulator_control_link::Simulator_control_link(const std::string& address_and_port)
    : name_(address_and_port), socket_(sim::Control_socket::connect(address_of(address_and_port), answer_bound)) {}

std::string Simulator_control_link::run(const sim::Control_command& command) {
    const std::string line = sim::format_control_command(command);
    const auto fail = [&](const std::string& why) {
        return std::runtime_error("simulator control " + name_ + ": '" + line + "': " + why);
    };
    if (!socket_.send_line(line)) throw fail("the connection is lost");
    std::string answer;
    switch (socket_.receive_line(answer, command.timeout + answer_bound)) {
        case sim::Control_socket::Status::line: break;
        case sim::Control_socket::Status::timed_out: throw fail("no answer in time");
        default: throw fail("the connection is lost");
    }
    if (answer.rfind(sim::control_answer::error_prefix, 0) == 0) throw fail(answer);
    return answer;
}

Session_controls Simulator_control_link::controls() {
    using Kind = sim::Control_command::Kind;
    const auto expect_ok = [this](Kind kind, std::uint16_t identifier) {
        const std::string answer = run(sim::Control_command{kind, identifier, {}, {}});
        if (answer != sim::control_answer::ok) {
            throw std::runtime_error("simulator control " + name_ + ": unexpected answer '" + answer + "'");
        }
    };
    return Session_controls{
        [expect_ok](std::uint16_t identifier) { expect_ok(Kind::withdraw, identifier); },
        [expect_ok](std::uint16_t identifier) { expect_ok(Kind::offer, identifier); },
        [this](std::uint16_t identifier, sim::Method method, std::chrono::milliseconds timeout) {
            const std::string answer = run(sim::Control_command{Kind::wait_for_pending_call, identifier, method, timeout});
            if (answer != sim::control_answer::held && answer != sim::control_answer::not_held) {
                throw std::runtime_error("simulator control " + name_ + ": unexpected answer '" + answer + "'");
            }
            return answer == sim::control_answer::held;
        },
    };
}

}  // namespace zevo::host

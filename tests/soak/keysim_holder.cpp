#include "tests/soak/keysim_holder.h"

#include <signal.h>

#include <stdexcept>

#include "sim/control_socket.h"

namespace zevo::soak {
namespace {
constexpr std::chrono::milliseconds start_bound{20000};
constexpr std::chrono::milliseconds control_bound{5000};
constexpr char control_line[] = "zevo-keysim: control port ";
}  // namespace

void Keysim_holder::start() {
    const std::string log = settings_.work + "/keysim-" + std::to_string(++started_) + ".log";
    process_ = std::make_unique<Soak_process>(
        settings_.program,
        std::vector<std::string>{"--manifest", settings_.manifest, "--scenario", settings_.scenario, "--control",
                                 "127.0.0.2:0"},
        log);
    const auto offering = process_->wait_for_line("offering the ten services", start_bound);
    const auto port_line = process_->wait_for_line(control_line, control_bound);
    if (!offering || !port_line) {
        throw std::runtime_error("zevo-keysim did not start within 20 s:\n" + process_->log_tail(20));
    }
    control_ = sim::parse_control_address(port_line->substr(port_line->find(control_line) + sizeof control_line - 1),
                                          false);
}

void Keysim_holder::kill() {
    if (process_) process_->kill();
}

std::string Keysim_holder::control(const std::string& command) {
    try {
        sim::Control_socket socket = sim::Control_socket::connect(control_, control_bound);
        if (!socket.send_line(command)) return "error the control port closed";
        std::string answer;
        if (socket.receive_line(answer, control_bound) != sim::Control_socket::Status::line) {
            return "error no answer within 5 s";
        }
        return answer;
    } catch (const std::exception& error) {
        return std::string("error ") + error.what();
    }
}

std::optional<int> Keysim_holder::stop() {
    if (!process_) return std::nullopt;
    return process_->stop(SIGTERM, std::chrono::milliseconds(10000));
}

}  // namespace zevo::soak

#pragma once
// The scripted session's controls of a simulator in another process: withdraw, offer and the wait
// for a held call go as command lines over one TCP connection to zevo-keysim's control port
// (sim/control_protocol.h). Made by zevo-dm's main thread before the session; the controls are
// called by the session's thread, one at a time. Throws std::runtime_error (see below).

#include <chrono>
#include <string>

#include "host/session_runner.h"
#include "sim/control_socket.h"

namespace zevo::host {

class Simulator_control_link {
public:
    /// How long a command may take beyond the wait it asks for.
    static constexpr std::chrono::milliseconds answer_bound{5000};

    /// Connects to "ADDRESS:PORT". Throws std::runtime_error when the text is no address or the
    /// port cannot be reached within answer_bound.
    explicit Simulator_control_link(const std::string& address_and_port);

    /// Controls that run their commands over this link, which must outlive them. Each throws
    /// std::runtime_error when the answer does not come within its bound, the connection is lost,
    /// or the simulator refuses the command.
    Session_controls controls();

private:
    /// Sends the command and returns its answer line.
    std::string run(const sim::Control_command& command);

    const std::string name_;  ///< the address and port, for messages
    sim::Control_socket socket_;
};

}  // namespace zevo::host

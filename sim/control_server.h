#pragma once
// zevo-keysim's control port: a TCP listener that takes command lines (control_protocol.h) from
// one connection at a time and runs them on the simulator, so that a host's scripted session in
// another process can withdraw, offer and wait for held calls. Its own thread accepts and serves;
// made and stopped by zevo-keysim's main thread. The constructor throws std::system_error.

#include <cstdint>
#include <string>
#include <thread>

#include "sim/control_protocol.h"

namespace zevo::sim {

class Key_simulator;

/// Runs one command line on the simulator and gives its answer line. Throws nothing but
/// std::bad_alloc: a line that cannot be run is answered "error ...".
std::string answer_control_line(Key_simulator& simulator, const std::string& line);

class Control_server {
public:
    /// Listens on `where` (port 0: one the system chooses) and starts serving.
    Control_server(Key_simulator& simulator, const Control_address& where);
    /// stop().
    ~Control_server();
    Control_server(const Control_server&) = delete;
    Control_server& operator=(const Control_server&) = delete;

    /// The port it listens on.
    std::uint16_t port() const noexcept { return port_; }

    /// Closes the connection being served (a wait it runs still ends within its own time) and the
    /// listener, and joins the thread. A second call does nothing.
    void stop() noexcept;

private:
    void serve() noexcept;

    Key_simulator& simulator_;
    int listener_ = -1;
    int wake_[2] = {-1, -1};  ///< a pipe: a byte in it ends the thread
    std::uint16_t port_ = 0;
    std::thread thread_;      ///< accepts and serves; the only user of listener_ after the constructor
};

}  // namespace zevo::sim

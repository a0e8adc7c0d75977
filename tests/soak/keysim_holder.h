#pragma once
// zevo-keysim for the soak: started with the soak's scenario and a control port of a free port
// on 127.0.0.2, killed with SIGKILL and started again on demand, commanded over its control port
// (one connection per command, each wait bounded). Main thread only; start failures throw
// std::runtime_error.

#include <memory>
#include <string>

#include "sim/control_protocol.h"
#include "tests/soak/soak_process.h"

namespace zevo::soak {

struct Keysim_settings {
    std::string program;
    std::string manifest;
    std::string scenario;  ///< the scenario file
    std::string work;      ///< directory for the logs
};

class Keysim_holder {
public:
    explicit Keysim_holder(Keysim_settings settings) : settings_(std::move(settings)) {}

    /// Starts a new process (the old one must be gone) and waits until it offers its services.
    void start();
    /// SIGKILL, at once.
    void kill();
    /// The answer line of a control command, or "error ..." when the port cannot be used.
    std::string control(const std::string& command);
    /// SIGTERM and the exit code (nullopt when it had to be killed).
    std::optional<int> stop();
    Soak_process* process() { return process_.get(); }

private:
    Keysim_settings settings_;
    std::unique_ptr<Soak_process> process_;
    sim::Control_address control_;
    int started_ = 0;
};

}  // namespace zevo::soak

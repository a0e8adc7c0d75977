#pragma once
// A program the soak runs as a child (zevo-keysim, zevo-dm serve): both its output streams go
// to a log file, lines are awaited in that file with a bound, and it is stopped by a signal with
// a bounded wait for its exit code. The destructor kills (SIGKILL) and reaps a child still
// running, so that no process outlives the soak, also when it fails. Main thread only.

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace zevo::soak {

class Soak_process {
public:
    /// Starts `program` with `arguments`; throws std::runtime_error when it cannot be started.
    Soak_process(const std::string& program, const std::vector<std::string>& arguments, std::string log);
    ~Soak_process();
    Soak_process(const Soak_process&) = delete;
    Soak_process& operator=(const Soak_process&) = delete;

    pid_t pid() const { return pid_; }
    const std::string& log() const { return log_; }
    /// The first line of the log that holds `text`, once it does; nullopt after `bound` or when
    /// the child has ended without it.
    std::optional<std::string> wait_for_line(const std::string& text, std::chrono::milliseconds bound);
    /// Sends `signal` and waits up to `bound` for the end: the exit code, 128 + the signal that
    /// ended it, or nullopt when it still ran (it is killed then).
    std::optional<int> stop(int signal, std::chrono::milliseconds bound);
    /// SIGKILL and reap at once.
    void kill();
    /// The last `lines` lines of the log.
    std::string log_tail(std::size_t lines) const;

private:
    pid_t pid_ = -1;
    std::string log_;
};

}  // namespace zevo::soak

#pragma once
// A program that a test runs beside itself (dlt-daemon, dlt-receive, tshark, zevo-dm): started
// with extra environment variables and its standard output and error in files, stopped by the
// destructor (SIGTERM, then SIGKILL after a second), so that nothing outlives a failing test.
// Used on the test's thread only.

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace zevo::log_test {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

inline std::string read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream all;
    all << in.rdbuf();
    return all.str();
}

/// Polls `done` every 10 ms until it holds or `timeout` passes. An outside program (a daemon
/// being ready, a file growing) tells nothing else, so it is watched, bounded.
template <typename Condition>
bool wait_until(Condition&& done, std::chrono::milliseconds timeout) {
    const Clock::time_point deadline = Clock::now() + timeout;
    for (;;) {
        if (done()) return true;
        if (Clock::now() >= deadline) return false;
        std::this_thread::sleep_for(10ms);
    }
}

class Child_process {
public:
    Child_process(const std::vector<std::string>& arguments, const std::vector<std::pair<std::string, std::string>>& environment,
                  const std::string& out_path, const std::string& err_path)
        : out_path_(out_path), err_path_(err_path) {
        pid_ = fork();
        if (pid_ != 0) return;
        const int out = open(out_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        const int err = open(err_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        const int in = open("/dev/null", O_RDONLY);
        if (out < 0 || err < 0 || in < 0) _exit(126);
        dup2(in, STDIN_FILENO);
        dup2(out, STDOUT_FILENO);
        dup2(err, STDERR_FILENO);
        for (const auto& [name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
        std::vector<std::string> copies = arguments;
        std::vector<char*> argv;
        for (std::string& argument : copies) argv.push_back(argument.data());
        argv.push_back(nullptr);
        execvp(argv[0], argv.data());
        _exit(127);
    }

    ~Child_process() { stop(SIGTERM); }
    Child_process(const Child_process&) = delete;
    Child_process& operator=(const Child_process&) = delete;

    bool started() const { return pid_ > 0; }
    bool running() {
        if (pid_ <= 0 || reaped_) return false;
        int status = 0;
        if (waitpid(pid_, &status, WNOHANG) == pid_) {
            reaped_ = true;
            status_ = status;
            return false;
        }
        return true;
    }

    /// Waits at most `timeout` for the program to end by itself; true when it did.
    bool wait_for_exit(std::chrono::milliseconds timeout) {
        return wait_until([this] { return !running(); }, timeout);
    }

    /// Sends `signal`, waits a second for the end, then kills. Returns the wait status.
    int stop(int signal) {
        if (pid_ <= 0) return -1;
        if (running()) {
            kill(pid_, signal);
            if (!wait_for_exit(1000ms)) {
                kill(pid_, SIGKILL);
                waitpid(pid_, &status_, 0);
                reaped_ = true;
            }
        }
        return status_;
    }

    int exit_code() const { return reaped_ && WIFEXITED(status_) ? WEXITSTATUS(status_) : -1; }
    std::string out() const { return read_file(out_path_); }
    std::string err() const { return read_file(err_path_); }

private:
    std::string out_path_;
    std::string err_path_;
    pid_t pid_ = -1;
    bool reaped_ = false;
    int status_ = -1;
};

}  // namespace zevo::log_test

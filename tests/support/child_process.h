#pragma once
// Runs a program as a child process for a test (zevo-dm, the DoIP test server, zevo-tester,
// python3, tshark) and collects what it prints on its two streams. The child's standard input
// is a pipe that this object holds: closing it asks a server to end. Every wait is bounded; the
// destructor kills a child still running (SIGKILL) and reaps it, also when a test fails. Test
// thread only.

#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace zevo::test_support {

struct Run_result {
    int exit_code = -1;  ///< -1: killed, or ended by a signal
    std::string out;
    std::string err;
};

/// Variables set in the child's environment on top of the test's own.
using Environment = std::vector<std::pair<std::string, std::string>>;

class Child_process {
public:
    using Clock = std::chrono::steady_clock;

    /// Starts command[0] (looked up on PATH) with the rest as its arguments.
    explicit Child_process(const std::vector<std::string>& command, const Environment& environment = {}) {
        int in_pipe[2];
        int out_pipe[2];
        int err_pipe[2];
        if (pipe(in_pipe) != 0 || pipe(out_pipe) != 0 || pipe(err_pipe) != 0) return;
        child_ = fork();
        if (child_ == 0) {
            dup2(in_pipe[0], STDIN_FILENO);
            dup2(out_pipe[1], STDOUT_FILENO);
            dup2(err_pipe[1], STDERR_FILENO);
            for (int fd : {in_pipe[0], in_pipe[1], out_pipe[0], out_pipe[1], err_pipe[0], err_pipe[1]}) close(fd);
            for (const auto& [name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
            std::vector<std::string> copies = command;
            std::vector<char*> argv;
            for (std::string& argument : copies) argv.push_back(argument.data());
            argv.push_back(nullptr);
            execvp(argv[0], argv.data());
            _exit(127);
        }
        close(in_pipe[0]);
        close(out_pipe[1]);
        close(err_pipe[1]);
        input_ = in_pipe[1];
        if (child_ < 0) {
            close(out_pipe[0]);
            close(err_pipe[0]);
            return;
        }
        streams_ = {pollfd{out_pipe[0], POLLIN, 0}, pollfd{err_pipe[0], POLLIN, 0}};
    }

    ~Child_process() {
        close_input();
        if (child_ > 0 && !reaped_) {
            kill(child_, SIGKILL);
            waitpid(child_, nullptr, 0);
        }
        for (pollfd& stream : streams_) {
            if (stream.fd >= 0) close(stream.fd);
        }
    }

    Child_process(const Child_process&) = delete;
    Child_process& operator=(const Child_process&) = delete;

    bool started() const { return child_ > 0; }
    void close_input() {
        if (input_ >= 0) close(input_);
        input_ = -1;
    }
    void send_signal(int signal) {
        if (child_ > 0 && !reaped_) kill(child_, signal);
    }

    /// Reads until standard output (or standard error) holds a whole line containing every one
    /// of `pieces`; that line, or empty after `timeout` or at the end of the output.
    std::string wait_for_line(const std::vector<std::string>& pieces, std::chrono::milliseconds timeout,
                              bool error_stream = false) {
        const Clock::time_point deadline = Clock::now() + timeout;
        const std::string& text = error_stream ? result_.err : result_.out;
        for (;;) {
            std::size_t start = 0;
            for (std::size_t end; (end = text.find('\n', start)) != std::string::npos; start = end + 1) {
                std::string line = text.substr(start, end - start);
                bool all = true;
                for (const std::string& piece : pieces) all = all && line.find(piece) != std::string::npos;
                if (all) return line;
            }
            if (!read_some(deadline)) return {};
        }
    }
    std::string wait_for_line(const std::string& piece, std::chrono::milliseconds timeout, bool error_stream = false) {
        return wait_for_line(std::vector<std::string>{piece}, timeout, error_stream);
    }

    /// Reads both streams to their end and reaps the child; kills it when it still runs after
    /// `timeout` (exit_code -1 then).
    Run_result finish(std::chrono::milliseconds timeout) {
        const Clock::time_point deadline = Clock::now() + timeout;
        while (read_some(deadline)) {
        }
        if (streams_[0].fd >= 0 || streams_[1].fd >= 0) send_signal(SIGKILL);
        int status = 0;
        if (child_ > 0 && !reaped_) {
            waitpid(child_, &status, 0);
            reaped_ = true;
        }
        result_.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        return result_;
    }

private:
    /// One poll and the reads it allows; false when both streams ended or the deadline passed.
    /// Both streams are drained together so that neither pipe can fill up and stall the child.
    bool read_some(Clock::time_point deadline) {
        if (streams_[0].fd < 0 && streams_[1].fd < 0) return false;
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0) return false;
        // A local copy: g++ 12's fortified poll misjudges the size of a member array under TSan.
        std::array<pollfd, 2> polled = streams_;
        if (poll(polled.data(), polled.size(), static_cast<int>(left)) <= 0) return Clock::now() < deadline;
        std::array<std::string*, 2> sinks = {&result_.out, &result_.err};
        for (std::size_t i = 0; i < streams_.size(); ++i) {
            if (streams_[i].fd < 0 || polled[i].revents == 0) continue;
            char buffer[4096];
            const ssize_t got = read(streams_[i].fd, buffer, sizeof buffer);
            if (got > 0) {
                sinks[i]->append(buffer, static_cast<std::size_t>(got));
            } else {
                close(streams_[i].fd);
                streams_[i].fd = -1;
            }
        }
        return true;
    }

    pid_t child_ = -1;
    bool reaped_ = false;
    int input_ = -1;
    std::array<pollfd, 2> streams_{pollfd{-1, 0, 0}, pollfd{-1, 0, 0}};
    Run_result result_;
};

}  // namespace zevo::test_support

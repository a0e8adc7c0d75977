#pragma once
// Runs the built zevo-dm as a child process, as a tester would, and collects what it prints.
// Every wait is bounded: a child that outlives its deadline is killed and the test fails. Used
// on the test's thread only.

#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <string>
#include <vector>

namespace zevo::host::testing {

struct Run_result {
    int exit_code = -1;  ///< -1 when the child did not exit by itself
    std::string out;
    std::string err;
};

class Zevo_dm_process {
public:
    using Clock = std::chrono::steady_clock;

    /// Starts zevo-dm with `arguments` and ZEVO_LOG_LEVEL=3 in its environment (warnings and
    /// errors only, so that an empty standard error means nothing went wrong; --log-level wins).
    /// Under ThreadSanitizer the child also reads tsan_suppressions.txt.
    explicit Zevo_dm_process(const std::vector<std::string>& arguments) {
        int out_pipe[2];
        int err_pipe[2];
        if (pipe(out_pipe) != 0 || pipe(err_pipe) != 0) {
            ADD_FAILURE() << "pipe failed";
            return;
        }
        child_ = fork();
        if (child_ < 0) {
            ADD_FAILURE() << "fork failed";
            return;
        }
        if (child_ == 0) {
            dup2(out_pipe[1], STDOUT_FILENO);
            dup2(err_pipe[1], STDERR_FILENO);
            close(out_pipe[0]);
            close(out_pipe[1]);
            close(err_pipe[0]);
            close(err_pipe[1]);
            std::vector<char*> argv;
            std::string program = ZEVO_TEST_ZEVO_DM_PATH;
            argv.push_back(program.data());
            std::vector<std::string> copies = arguments;
            for (std::string& argument : copies) argv.push_back(argument.data());
            argv.push_back(nullptr);
            setenv("ZEVO_LOG_LEVEL", "3", 1);
            const char* tsan_options = std::getenv("TSAN_OPTIONS");
            const std::string with_suppressions = std::string(tsan_options != nullptr ? tsan_options : "") +
                                                  ":suppressions=" ZEVO_TEST_TSAN_SUPPRESSIONS;
            setenv("TSAN_OPTIONS", with_suppressions.c_str(), 1);
            execv(program.c_str(), argv.data());
            _exit(127);
        }
        close(out_pipe[1]);
        close(err_pipe[1]);
        streams_ = {pollfd{out_pipe[0], POLLIN, 0}, pollfd{err_pipe[0], POLLIN, 0}};
    }

    ~Zevo_dm_process() {
        if (child_ > 0 && !reaped_) {
            kill(child_, SIGKILL);
            waitpid(child_, nullptr, 0);
        }
        for (pollfd& stream : streams_) {
            if (stream.fd >= 0) close(stream.fd);
        }
    }

    Zevo_dm_process(const Zevo_dm_process&) = delete;
    Zevo_dm_process& operator=(const Zevo_dm_process&) = delete;

    /// Reads until a line of standard error holds every one of `pieces`, the child closes its
    /// streams, or `timeout` passes. True when such a line came.
    bool wait_for_error_line(const std::vector<std::string>& pieces, std::chrono::milliseconds timeout) {
        const Clock::time_point deadline = Clock::now() + timeout;
        for (;;) {
            if (has_error_line(pieces)) return true;
            if (!read_some(deadline)) return has_error_line(pieces);
        }
    }

    void send_signal(int signal) {
        if (child_ > 0) kill(child_, signal);
    }

    /// Reads both streams to their end and reaps the child; kills it when it still runs after
    /// `timeout`, which fails the test.
    Run_result finish(std::chrono::milliseconds timeout = std::chrono::seconds{30}) {
        const Clock::time_point deadline = Clock::now() + timeout;
        while (read_some(deadline)) {
        }
        if (streams_[0].fd >= 0 || streams_[1].fd >= 0) {
            ADD_FAILURE() << "zevo-dm still ran after " << timeout.count() << " ms; killed";
            kill(child_, SIGKILL);
        }
        int status = 0;
        if (child_ > 0) {
            waitpid(child_, &status, 0);
            reaped_ = true;
        }
        if (WIFEXITED(status)) {
            result_.exit_code = WEXITSTATUS(status);
        } else {
            ADD_FAILURE() << "zevo-dm did not exit normally (status " << status << ")";
        }
        return result_;
    }

private:
    bool has_error_line(const std::vector<std::string>& pieces) const {
        std::size_t start = 0;
        while (start < result_.err.size()) {
            std::size_t end = result_.err.find('\n', start);
            if (end == std::string::npos) return false;  // a line still being written
            const std::string line = result_.err.substr(start, end - start);
            bool all = true;
            for (const std::string& piece : pieces) all = all && line.find(piece) != std::string::npos;
            if (all) return true;
            start = end + 1;
        }
        return false;
    }

    /// One poll and the reads it allows. False when both streams are closed or the deadline passed.
    bool read_some(Clock::time_point deadline) {
        if (streams_[0].fd < 0 && streams_[1].fd < 0) return false;
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0) return false;
        // Both streams are drained together so that neither pipe can fill up and stall the child.
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
    std::array<pollfd, 2> streams_ = {pollfd{-1, 0, 0}, pollfd{-1, 0, 0}};
    Run_result result_;
};

/// Runs zevo-dm to its end, at most 30 s.
inline Run_result run_zevo_dm(const std::vector<std::string>& arguments) {
    Zevo_dm_process process(arguments);
    return process.finish();
}

}  // namespace zevo::host::testing

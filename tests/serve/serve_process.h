#pragma once
// zevo-dm serve as a child process on a free port of 127.0.0.1, for the tests of testers from
// outside. Started with its scenario file, waited for until it prints its listening line;
// stop() sends SIGTERM and collects how it ended, and the destructor kills a process still
// running (also when a test fails). Test thread only.

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/served_port.h"

namespace zevo::serve::testing {

using test_support::Child_process;
using test_support::Run_result;
using namespace std::chrono_literals;

/// A file of the test's own in /tmp, removed with the object.
class Temporary_file {
public:
    explicit Temporary_file(const std::string& text) {
        char pattern[] = "/tmp/zevo_serve_testXXXXXX";
        const int fd = ::mkstemp(pattern);
        if (fd < 0) {
            ADD_FAILURE() << "mkstemp failed";
            return;
        }
        ::close(fd);
        path_ = pattern;
        std::ofstream(path_) << text;
    }
    ~Temporary_file() {
        if (!path_.empty()) std::remove(path_.c_str());
    }
    Temporary_file(const Temporary_file&) = delete;
    Temporary_file& operator=(const Temporary_file&) = delete;
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

class Serve_process {
public:
    /// Starts `zevo-dm serve` on 127.0.0.1 with a free port, logging at info level (the host's
    /// notes of cancelled requests), the simulator running `scenario_json`, and `options`.
    explicit Serve_process(const std::string& scenario_json, const std::vector<std::string>& options = {})
        : scenario_(scenario_json) {
        // Under ThreadSanitizer the child reads the host's suppressions; other builds ignore it.
        static const bool suppressed = [] {
            const char* given = std::getenv("TSAN_OPTIONS");
            const std::string options_text =
                std::string(given != nullptr ? given : "") + ":suppressions=" ZEVO_TEST_TSAN_SUPPRESSIONS;
            return ::setenv("TSAN_OPTIONS", options_text.c_str(), 1) == 0;
        }();
        (void)suppressed;
        std::vector<std::string> command = {ZEVO_TEST_ZEVO_DM, "--log-level", "4", "--scenario", scenario_.path(),
                                            "--listen", "127.0.0.1:0"};
        command.insert(command.end(), options.begin(), options.end());
        command.push_back("serve");
        process_ = std::make_unique<Child_process>(command);
        port_ = zevo::test_support::served_port(
            process_->wait_for_line("zevo-dm: serving DoIP on 127.0.0.1 port ", 20s));
        if (port_ == 0) {
            ADD_FAILURE() << "zevo-dm serve did not start: " << process_->finish(1s).err;
        }
    }

    /// The listening port; 0 when the process did not start.
    std::uint16_t port() const { return port_; }
    std::string port_text() const { return std::to_string(port_); }

    /// Waits (bounded) for a line of standard error holding `piece`; true when it came.
    bool wait_for_error_line(const std::string& piece, std::chrono::milliseconds timeout = 10s) {
        return !process_->wait_for_line(piece, timeout, true).empty();
    }

    /// SIGTERM, then how the process ended within `timeout` (exit code -1: killed).
    Run_result stop(std::chrono::milliseconds timeout = 10s) {
        process_->send_signal(SIGTERM);
        return process_->finish(timeout);
    }

private:
    Temporary_file scenario_;
    std::unique_ptr<Child_process> process_;  // its destructor kills a process still running
    std::uint16_t port_ = 0;
};

}  // namespace zevo::serve::testing

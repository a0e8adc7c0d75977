#pragma once
// Runs the built zevo-dm as a child process, as a tester would, and collects what it prints.
// Every wait is bounded: a child that outlives its deadline is killed and the test fails. Used
// on the test's thread only.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <vector>

#include "tests/support/child_process.h"

namespace zevo::host::testing {

using test_support::Run_result;

class Zevo_dm_process {
public:
    /// Starts zevo-dm with `arguments` and ZEVO_LOG_LEVEL=3 in its environment (warnings and
    /// errors only, so that an empty standard error means nothing went wrong; --log-level wins).
    /// Under ThreadSanitizer the child also reads tsan_suppressions.txt.
    explicit Zevo_dm_process(const std::vector<std::string>& arguments)
        : child_(command(arguments), {{"ZEVO_LOG_LEVEL", "3"}, tsan_options()}) {
        if (!child_.started()) ADD_FAILURE() << "zevo-dm could not be started";
    }

    /// Reads until a line of standard error holds every one of `pieces`, the child closes its
    /// streams, or `timeout` passes. True when such a line came.
    bool wait_for_error_line(const std::vector<std::string>& pieces, std::chrono::milliseconds timeout) {
        return !child_.wait_for_line(pieces, timeout, true).empty();
    }

    void send_signal(int signal) { child_.send_signal(signal); }

    /// Reads both streams to their end and reaps the child; kills it when it still runs after
    /// `timeout`, which fails the test, as does an end by a signal.
    Run_result finish(std::chrono::milliseconds timeout = std::chrono::seconds{30}) {
        Run_result result = child_.finish(timeout);
        if (result.exit_code == -1) {
            ADD_FAILURE() << "zevo-dm did not exit by itself within " << timeout.count()
                          << " ms (killed, or ended by a signal)";
        }
        return result;
    }

private:
    static std::vector<std::string> command(const std::vector<std::string>& arguments) {
        std::vector<std::string> command{ZEVO_TEST_ZEVO_DM_PATH};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return command;
    }
    static std::pair<std::string, std::string> tsan_options() {
        const char* given = std::getenv("TSAN_OPTIONS");
        return {"TSAN_OPTIONS",
                std::string(given != nullptr ? given : "") + ":suppressions=" ZEVO_TEST_TSAN_SUPPRESSIONS};
    }

    test_support::Child_process child_;
};

/// Runs zevo-dm to its end, at most 30 s.
inline Run_result run_zevo_dm(const std::vector<std::string>& arguments) {
    Zevo_dm_process process(arguments);
    return process.finish();
}

}  // namespace zevo::host::testing

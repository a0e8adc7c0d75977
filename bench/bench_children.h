#pragma once
// The files and child processes of a bench run: a scratch file removed when it goes, and a child
// stopped as a user stops it (SIGTERM, then up to 10 s to end, killed after). Both throw
// std::runtime_error when they cannot be made. Bench thread only.

#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/child_process.h"

namespace zevo::bench {

/// /tmp/BENCH_PID_NAME holding `text`, removed when the object goes.
class Scratch_file {
public:
    Scratch_file(const std::string& bench, const std::string& name, const std::string& text)
        : path_("/tmp/" + bench + "_" + std::to_string(::getpid()) + "_" + name) {
        std::ofstream out(path_);
        if (!(out << text)) throw std::runtime_error("cannot write " + path_);
    }
    ~Scratch_file() { std::remove(path_.c_str()); }
    Scratch_file(const Scratch_file&) = delete;
    Scratch_file& operator=(const Scratch_file&) = delete;
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

class Stopped_child {
public:
    explicit Stopped_child(const std::vector<std::string>& command,
                           const zevo::test_support::Environment& environment = {})
        : process_(command, environment) {
        if (!process_.started()) throw std::runtime_error("cannot start " + command.front());
    }
    ~Stopped_child() {
        process_.send_signal(SIGTERM);
        process_.finish(std::chrono::seconds{10});
    }
    Stopped_child(const Stopped_child&) = delete;
    Stopped_child& operator=(const Stopped_child&) = delete;
    zevo::test_support::Child_process& process() { return process_; }

private:
    zevo::test_support::Child_process process_;
};

}  // namespace zevo::bench

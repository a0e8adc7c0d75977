#pragma once
// One line at the head of a latency bench's output: what of the machine decides how fast a
// sleeping thread wakes. On a virtual machine whose idle processors halt (guest halt polling 0),
// every hand-off to a thread on an idle processor pays a round trip through the hypervisor, and
// the figures of a chain of threads move with it far more than those of a two-process ping-pong.
// Reads only /sys; prints what it finds and nothing for what is missing.

#include <cstdio>
#include <fstream>
#include <string>
#include <thread>

namespace zevo::bench {

inline std::string first_line_of(const char* path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

inline void print_machine_note() {
    std::string note = "machine: " + std::to_string(std::thread::hardware_concurrency()) + " processors";
    const std::string driver = first_line_of("/sys/devices/system/cpu/cpuidle/current_driver");
    if (!driver.empty()) note += "; idle driver " + driver;
    const std::string halt_poll = first_line_of("/sys/module/haltpoll/parameters/guest_halt_poll_ns");
    if (!halt_poll.empty()) {
        note += "; guest halt polling " + halt_poll + " ns";
        if (halt_poll == "0") note += " (an idle processor halts: a thread woken on it waits for the hypervisor)";
    }
    std::printf("%s\n", note.c_str());
}

}  // namespace zevo::bench

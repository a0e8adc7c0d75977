#pragma once
// What another process of a bench (an echo peer, zevo-keysim, a zevo-dm serve process) has used
// so far, read from /proc: context switches of all its threads and its processor time (as the
// kernel's clock ticks count it, and as the scheduler counts it to the nanosecond); and the
// process id of a child found by its name. Called on the bench's measuring thread; a process that
// cannot be read throws std::runtime_error.

#include <dirent.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace zevo::bench {

/// Calls `look(path)` with the /proc directory of every thread of a process.
template <class Look>
void for_each_thread(pid_t pid, Look look) {
    const std::string tasks = "/proc/" + std::to_string(pid) + "/task";
    DIR* directory = ::opendir(tasks.c_str());
    if (directory == nullptr) throw std::runtime_error("cannot read " + tasks);
    while (const dirent* task = ::readdir(directory)) {
        if (task->d_name[0] != '.') look(tasks + "/" + task->d_name);
    }
    ::closedir(directory);
}

/// Context switches (voluntary and not) of all threads of a process so far.
inline long context_switches(pid_t pid) {
    long total = 0;
    for_each_thread(pid, [&total](const std::string& thread) {
        std::ifstream status(thread + "/status");
        std::string line;
        while (std::getline(status, line)) {
            if (line.find("ctxt_switches:") != std::string::npos) total += std::stol(line.substr(line.find(':') + 1));
        }
    });
    return total;
}

/// Time on a processor of the threads a process has now, in seconds, to the nanosecond (the
/// scheduler's own account, /proc/PID/task/TID/schedstat); threads that have ended are not in it.
inline double running_seconds(pid_t pid) {
    unsigned long long nanoseconds = 0;
    for_each_thread(pid, [&nanoseconds](const std::string& thread) {
        std::ifstream schedstat(thread + "/schedstat");
        unsigned long long on_cpu = 0;
        if (schedstat >> on_cpu) nanoseconds += on_cpu;
    });
    return static_cast<double>(nanoseconds) / 1e9;
}

/// The fields of /proc/PID/stat after the command name (which may hold blanks): field 3 first.
inline std::istringstream stat_fields(pid_t pid) {
    const std::string path = "/proc/" + std::to_string(pid) + "/stat";
    std::ifstream file(path);
    std::string text;
    if (!std::getline(file, text) || text.rfind(')') == std::string::npos) throw std::runtime_error("cannot read " + path);
    return std::istringstream(text.substr(text.rfind(')') + 1));
}

/// User and system time the process has used so far (all its threads, utime + stime), in seconds;
/// as fine as the kernel's clock tick.
inline double processor_seconds(pid_t pid) {
    std::istringstream fields = stat_fields(pid);
    std::string skipped;
    for (int field = 3; field < 14; ++field) fields >> skipped;
    unsigned long long user = 0, system = 0;
    if (!(fields >> user >> system)) throw std::runtime_error("cannot read the times of process " + std::to_string(pid));
    return static_cast<double>(user + system) / static_cast<double>(::sysconf(_SC_CLK_TCK));
}

/// The child of this process whose command name is `name` (as /proc/PID/comm gives it, at most
/// 15 characters); throws when there is none.
inline pid_t child_named(const std::string& name) {
    DIR* directory = ::opendir("/proc");
    if (directory == nullptr) throw std::runtime_error("cannot read /proc");
    pid_t found = -1;
    while (const dirent* entry = ::readdir(directory)) {
        char* end = nullptr;
        const long pid = std::strtol(entry->d_name, &end, 10);
        if (end == entry->d_name || *end != '\0') continue;
        std::ifstream comm("/proc/" + std::string(entry->d_name) + "/comm");
        std::string command;
        if (!std::getline(comm, command) || command != name) continue;
        try {
            std::istringstream fields = stat_fields(static_cast<pid_t>(pid));
            std::string state;
            long parent = 0;
            if (fields >> state >> parent && parent == ::getpid()) found = static_cast<pid_t>(pid);
        } catch (const std::runtime_error&) {
            // ended between the two reads: not ours to count
        }
        if (found > 0) break;
    }
    ::closedir(directory);
    if (found <= 0) throw std::runtime_error("no child process named " + name);
    return found;
}

}  // namespace zevo::bench

#pragma once
// What a test can learn of a thread from the kernel: its number, and whether it sleeps in the
// kernel now (state S in /proc/self/task/N/stat). A test that must act while another thread is
// blocked in a wait polls the latter, bounded, instead of sleeping and hoping. Thread-safe.

#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <string>
#include <thread>

namespace zevo::test_support {

/// The kernel's number of the calling thread.
inline pid_t kernel_thread_id() { return static_cast<pid_t>(syscall(SYS_gettid)); }

/// True once thread `thread` of this process sleeps in the kernel; false when it does not within
/// `bound`. Looks as fast as the file can be read, yielding in between.
inline bool sleeping_within(pid_t thread, std::chrono::steady_clock::duration bound) {
    const std::string path = "/proc/self/task/" + std::to_string(thread) + "/stat";
    const auto deadline = std::chrono::steady_clock::now() + bound;
    while (std::chrono::steady_clock::now() < deadline) {
        std::ifstream stat(path);
        std::string line;
        std::getline(stat, line);
        const std::size_t name_end = line.rfind(')');  // the name in parentheses may hold anything
        if (name_end != std::string::npos && name_end + 2 < line.size() && line[name_end + 2] == 'S') {
            return true;
        }
        std::this_thread::yield();
    }
    return false;
}

}  // namespace zevo::test_support

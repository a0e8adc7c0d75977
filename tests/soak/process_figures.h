#pragma once
// What a running process holds, read from /proc: resident memory, open descriptors, threads.
// Any thread; a process that is gone reads as all zero.

#include <sys/types.h>

#include <cstddef>

namespace zevo::soak {

struct Process_figures {
    std::size_t rss_kib = 0;
    std::size_t descriptors = 0;
    std::size_t threads = 0;
};

Process_figures read_process_figures(pid_t pid);

}  // namespace zevo::soak

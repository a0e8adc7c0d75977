#pragma once
// The most threads a process has had so far, sampled every 100 ms on a thread of its own: the
// job runner starts a worker whenever a job finds none idle, so the pool reaches its size only
// when enough jobs have overlapped, and the soak compares the end with this peak. Made and read
// by the soak's main thread.

#include <sys/types.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace zevo::soak {

class Thread_peak {
public:
    explicit Thread_peak(pid_t pid);
    ~Thread_peak();
    Thread_peak(const Thread_peak&) = delete;
    Thread_peak& operator=(const Thread_peak&) = delete;

    std::size_t peak() const { return peak_; }

private:
    std::atomic<std::size_t> peak_{0};
    std::mutex mutex_;
    std::condition_variable stop_signal_;
    bool stop_ = false;  ///< guarded by mutex_
    std::thread sampler_;
};

}  // namespace zevo::soak

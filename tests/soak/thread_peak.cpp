#include "tests/soak/thread_peak.h"

#include "tests/soak/process_figures.h"

namespace zevo::soak {

Thread_peak::Thread_peak(pid_t pid)
    : sampler_([this, pid] {
          std::unique_lock<std::mutex> lock(mutex_);
          while (!stop_) {
              const std::size_t threads = read_process_figures(pid).threads;
              if (threads > peak_) peak_ = threads;
              stop_signal_.wait_for(lock, std::chrono::milliseconds(100), [this] { return stop_; });
          }
      }) {}

Thread_peak::~Thread_peak() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        stop_ = true;
    }
    stop_signal_.notify_all();
    sampler_.join();
}

}  // namespace zevo::soak

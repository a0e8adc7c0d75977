#include "ruv/com/strand.h"

#include <utility>

#include "com/runtime/runtime_log.h"

namespace ruv::com {

// Drains the queue in one go: since internal_post posts only when pending goes from 0 to 1,
// this is the only run() of the strand in the pool or on a thread, and it keeps the strand
// served for as long as anything is pending. Each task is destroyed before it is counted down,
// so that when pending reaches 0 nothing of the strand's tasks is left on this thread; after
// the notification the strand is not touched again but for the unlock (the stop wait may
// return and destroy it right after).
void Strand::run() noexcept {
    std::unique_lock<std::mutex> lock(mutex);
    while (!tasks.empty()) {
        std::function<void()> task = std::move(tasks.front());
        tasks.pop_front();
        const bool call = state != stopped_state;  // a stopped strand drops what is left
        running_thread = pthread_self();  // also while dropping: the closure's destructor runs here
        lock.unlock();
        if (call) {
            try {
                task();
            } catch (...) {
                runtime::detail::log_current_exception("A task of a strand");
            }
        }
        task = nullptr;
        lock.lock();
        running_thread = pthread_t{};
        --pending;
        if (pending == 0) {
            if (state == stopping_state) {
                state = stopped_state;
            }
            idle.notify_all();
        }
    }
}

}  // namespace ruv::com

#pragma once
// Turns SIGINT and SIGTERM into a reaction on a thread of its own (the host cancels its running
// job there) instead of the default ending of the process. Made on the main thread before any
// other thread exists, since only threads started after it inherit the blocked signals.

#include <chrono>
#include <csignal>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>

namespace zevo::host {

class Interrupt_watcher {
public:
    /// Runs at the first signal, with its number, under the watcher's lock: it must not block
    /// long nor call the watcher.
    using Reaction = std::function<void(int signal)>;

    /// Blocks SIGINT and SIGTERM in the calling thread, and so in every thread it starts later,
    /// and starts the watching thread. After the first signal the process ends at once with
    /// 128 + the signal's number, with a line on standard error, when a second signal comes or
    /// when it still runs `grace` later: an interrupted host waits for nothing unbounded.
    /// Throws std::system_error.
    explicit Interrupt_watcher(std::chrono::milliseconds grace = std::chrono::seconds{5});
    /// Stops the watching thread. The signals stay blocked in the calling thread.
    ~Interrupt_watcher();
    Interrupt_watcher(const Interrupt_watcher&) = delete;
    Interrupt_watcher& operator=(const Interrupt_watcher&) = delete;

    /// Sets what the first signal does, replacing the earlier reaction; waits for a reaction
    /// that runs, so that an empty one makes sure that nothing runs any more. When the signal
    /// has come already, `reaction` runs at once, on the calling thread.
    void set_reaction(Reaction reaction);

    /// The first signal received; 0 while none has come.
    int signal() const;

    /// The exit code of a process ended by `signal`: 128 + its number (130 for SIGINT).
    static int exit_code_for(int signal) { return 128 + signal; }

private:
    void watch();

    std::chrono::milliseconds grace_;
    sigset_t signals_{};
    mutable std::mutex mutex_;
    Reaction reaction_;      // guarded by mutex_, and runs under it
    int signal_ = 0;         // guarded by mutex_
    bool stopping_ = false;  // guarded by mutex_
    std::thread thread_;     // started last
};

/// Sets the watcher's reaction for as long as it lives: whatever the reaction refers to must
/// outlive the guard, and the destructor waits for a reaction that runs. A guard made while
/// another lives replaces that one's reaction; its destructor leaves none set.
class Reaction_guard {
public:
    Reaction_guard(Interrupt_watcher& watcher, Interrupt_watcher::Reaction reaction) : watcher_(watcher) {
        watcher_.set_reaction(std::move(reaction));
    }
    ~Reaction_guard() { watcher_.set_reaction({}); }
    Reaction_guard(const Reaction_guard&) = delete;
    Reaction_guard& operator=(const Reaction_guard&) = delete;

private:
    Interrupt_watcher& watcher_;
};

}  // namespace zevo::host

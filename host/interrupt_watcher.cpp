#include "host/interrupt_watcher.h"

#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <system_error>
#include <utility>

namespace zevo::host {
namespace {

/// One line on standard error with a single write, so that it is not torn by other writers.
void say(const std::string& text) {
    const std::string line = "zevo-dm: " + text + "\n";
    static_cast<void>(::write(STDERR_FILENO, line.data(), line.size()));
}

std::string signal_name(int signal) {
    switch (signal) {
        case SIGINT: return "SIGINT";
        case SIGTERM: return "SIGTERM";
        default: return "signal " + std::to_string(signal);
    }
}

timespec to_timespec(std::chrono::nanoseconds duration) {
    if (duration.count() < 0) duration = std::chrono::nanoseconds{0};
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(duration);
    timespec result{};
    result.tv_sec = static_cast<time_t>(seconds.count());
    result.tv_nsec = static_cast<long>((duration - seconds).count());
    return result;
}

}  // namespace

Interrupt_watcher::Interrupt_watcher(std::chrono::milliseconds grace) : grace_(grace) {
    sigemptyset(&signals_);
    sigaddset(&signals_, SIGINT);
    sigaddset(&signals_, SIGTERM);
    if (const int error = pthread_sigmask(SIG_BLOCK, &signals_, nullptr); error != 0) {
        throw std::system_error(error, std::generic_category(), "cannot block SIGINT and SIGTERM");
    }
    thread_ = std::thread([this] { watch(); });
}

Interrupt_watcher::~Interrupt_watcher() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    // Wakes the watching thread's wait; it sees stopping_ and ends instead of reacting.
    pthread_kill(thread_.native_handle(), SIGTERM);
    thread_.join();
}

void Interrupt_watcher::set_reaction(Reaction reaction) {
    const std::lock_guard<std::mutex> lock(mutex_);
    reaction_ = std::move(reaction);
    if (signal_ != 0 && reaction_) reaction_(signal_);  // the signal came before there was anything to react with
}

int Interrupt_watcher::signal() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return signal_;
}

void Interrupt_watcher::watch() {
    using Clock = std::chrono::steady_clock;
    int first = 0;
    Clock::time_point deadline{};
    for (;;) {
        int received = 0;
        if (first == 0) {
            if (sigwait(&signals_, &received) != 0) continue;
        } else {
            const timespec remaining = to_timespec(deadline - Clock::now());
            received = sigtimedwait(&signals_, nullptr, &remaining);
            if (received < 0 && errno == EINTR) continue;
        }
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            if (stopping_) return;
        }
        if (received < 0) {
            say("still running " + std::to_string(grace_.count()) + " ms after " + signal_name(first) +
                "; ending at once");
            std::_Exit(exit_code_for(first));
        }
        if (first != 0) {
            say(signal_name(received) + " again; ending at once");
            std::_Exit(exit_code_for(received));
        }
        first = received;
        deadline = Clock::now() + grace_;
        const std::lock_guard<std::mutex> lock(mutex_);
        signal_ = received;
        if (reaction_) reaction_(received);
    }
}

}  // namespace zevo::host

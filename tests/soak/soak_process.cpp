#include "tests/soak/soak_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace zevo::soak {
namespace {
constexpr std::chrono::milliseconds poll_interval{20};
}

Soak_process::Soak_process(const std::string& program, const std::vector<std::string>& arguments, std::string log)
    : log_(std::move(log)) {
    std::vector<std::string> words{program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    const pid_t parent = getpid();
    pid_ = fork();
    if (pid_ == 0) {
        // Only async-signal-safe calls until exec. The child dies with the soak, also when the
        // soak itself is killed and no destructor runs.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != parent) _exit(127);
        const int out = open(log_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        const int in = open("/dev/null", O_RDONLY);
        if (out < 0 || in < 0) _exit(127);
        dup2(in, STDIN_FILENO);
        dup2(out, STDOUT_FILENO);
        dup2(out, STDERR_FILENO);
        execv(argv[0], argv.data());
        _exit(127);
    }
    if (pid_ < 0) throw std::runtime_error("cannot start " + program);
}

Soak_process::~Soak_process() { kill(); }

void Soak_process::kill() {
    if (pid_ <= 0) return;
    ::kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
}

std::optional<std::string> Soak_process::wait_for_line(const std::string& text, std::chrono::milliseconds bound) {
    const auto deadline = std::chrono::steady_clock::now() + bound;
    for (;;) {
        std::ifstream in(log_);
        for (std::string line; std::getline(in, line);) {
            if (line.find(text) != std::string::npos) return line;
        }
        if (pid_ <= 0 || waitpid(pid_, nullptr, WNOHANG) == pid_) {
            pid_ = -1;
            return std::nullopt;
        }
        if (std::chrono::steady_clock::now() >= deadline) return std::nullopt;
        std::this_thread::sleep_for(poll_interval);
    }
}

std::optional<int> Soak_process::stop(int signal, std::chrono::milliseconds bound) {
    if (pid_ <= 0) return std::nullopt;
    ::kill(pid_, signal);
    const auto deadline = std::chrono::steady_clock::now() + bound;
    for (;;) {
        int status = 0;
        if (waitpid(pid_, &status, WNOHANG) == pid_) {
            pid_ = -1;
            if (WIFEXITED(status)) return WEXITSTATUS(status);
            return 128 + WTERMSIG(status);
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            kill();
            return std::nullopt;
        }
        std::this_thread::sleep_for(poll_interval);
    }
}

std::string Soak_process::log_tail(std::size_t lines) const {
    std::ifstream in(log_);
    std::vector<std::string> all;
    for (std::string line; std::getline(in, line);) all.push_back(line);
    std::ostringstream tail;
    for (std::size_t i = all.size() > lines ? all.size() - lines : 0; i < all.size(); ++i) tail << all[i] << '\n';
    return tail.str();
}

}  // namespace zevo::soak

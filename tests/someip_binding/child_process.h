#pragma once
// A program a test starts as a child process, killed (SIGKILL) and reaped when the object goes,
// also when the test fails half-way. Made and used on the test's thread.

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

extern char** environ;

namespace zevo::test {

class Child_process {
public:
    /// Starts `program` with `arguments` (without the program name); its output goes to `log`.
    Child_process(const std::string& program, std::vector<std::string> arguments, const std::string& log) {
        arguments.insert(arguments.begin(), program);
        std::vector<char*> argv;
        for (std::string& argument : arguments) argv.push_back(argument.data());
        argv.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 1, log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
        posix_spawn_file_actions_adddup2(&actions, 1, 2);
        if (posix_spawn(&pid_, program.c_str(), &actions, nullptr, argv.data(), environ) != 0) pid_ = -1;
        posix_spawn_file_actions_destroy(&actions);
    }
    ~Child_process() { kill(); }
    Child_process(const Child_process&) = delete;
    Child_process& operator=(const Child_process&) = delete;

    bool started() const { return pid_ > 0; }

    /// The process id; -1 when it did not start or has been killed.
    pid_t pid() const { return pid_; }

    /// SIGKILL and reap; a second call does nothing.
    void kill() {
        if (pid_ <= 0) return;
        ::kill(pid_, SIGKILL);
        int status = 0;
        ::waitpid(pid_, &status, 0);
        pid_ = -1;
    }

private:
    pid_t pid_ = -1;
};

}  // namespace zevo::test

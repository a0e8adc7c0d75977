// Runs the built zevo-dm binary as a tester would, with the plug-in built in this tree, and
// checks what it prints and how it exits.

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

struct Run_result {
    int exit_code = -1;
    std::string out;
    std::string err;
};

/// Starts zevo-dm with `arguments`, collects both output streams until it ends, and returns them
/// with its exit code. Fails the test when the process cannot be started or is killed.
Run_result run_zevo_dm(const std::vector<std::string>& arguments) {
    Run_result result;
    int out_pipe[2];
    int err_pipe[2];
    if (pipe(out_pipe) != 0 || pipe(err_pipe) != 0) {
        ADD_FAILURE() << "pipe failed";
        return result;
    }
    const pid_t child = fork();
    if (child < 0) {
        ADD_FAILURE() << "fork failed";
        return result;
    }
    if (child == 0) {
        dup2(out_pipe[1], STDOUT_FILENO);
        dup2(err_pipe[1], STDERR_FILENO);
        close(out_pipe[0]);
        close(out_pipe[1]);
        close(err_pipe[0]);
        close(err_pipe[1]);
        std::vector<char*> argv;
        std::string program = ZEVO_TEST_ZEVO_DM_PATH;
        argv.push_back(program.data());
        std::vector<std::string> copies = arguments;
        for (std::string& argument : copies) argv.push_back(argument.data());
        argv.push_back(nullptr);
        // Warnings and errors only: the service search's info lines are not what these tests
        // look at, and an empty standard error then means nothing went wrong.
        setenv("ZEVO_LOG_LEVEL", "3", 1);
        execv(program.c_str(), argv.data());
        _exit(127);
    }
    close(out_pipe[1]);
    close(err_pipe[1]);
    // Both streams are drained together so that neither pipe can fill up and stall the child.
    std::array<pollfd, 2> streams = {pollfd{out_pipe[0], POLLIN, 0}, pollfd{err_pipe[0], POLLIN, 0}};
    std::array<std::string*, 2> sinks = {&result.out, &result.err};
    int open_streams = 2;
    while (open_streams > 0) {
        if (poll(streams.data(), streams.size(), -1) < 0) break;
        for (std::size_t i = 0; i < streams.size(); ++i) {
            if (streams[i].fd < 0 || streams[i].revents == 0) continue;
            char buffer[4096];
            const ssize_t got = read(streams[i].fd, buffer, sizeof buffer);
            if (got > 0) {
                sinks[i]->append(buffer, static_cast<std::size_t>(got));
            } else {
                close(streams[i].fd);
                streams[i].fd = -1;
                --open_streams;
            }
        }
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFEXITED(status)) {
        result.exit_code = WEXITSTATUS(status);
    } else {
        ADD_FAILURE() << "zevo-dm did not exit normally";
    }
    return result;
}

TEST(host_zevo_dm, send_22_2c_56_prints_7f_22_10) {
    const Run_result run = run_zevo_dm({"send", "22", "2C", "56"});
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_EQ(run.out, "7F 22 10\n");
    EXPECT_EQ(run.err, "");
}

TEST(host_zevo_dm, send_takes_the_request_as_one_argument) {
    EXPECT_EQ(run_zevo_dm({"send", "222C56"}).out, "7F 22 10\n");
    EXPECT_EQ(run_zevo_dm({"send", "22 2C 56"}).out, "7F 22 10\n");
}

TEST(host_zevo_dm, send_of_an_unserved_did_prints_7f_22_31) {
    EXPECT_EQ(run_zevo_dm({"send", "22", "2C", "58"}).out, "7F 22 31\n");
}

TEST(host_zevo_dm, send_with_explicit_plugin_and_instance_loads_that_plugin) {
    const Run_result run =
        run_zevo_dm({"--plugin", ZEVO_TEST_PLUGIN_PATH, "--instance", "Instance_2", "send", "31", "01", "C0", "0F", "00"});
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_EQ(run.out, "7F 31 10\n");
}

TEST(host_zevo_dm, session_prints_every_exchange_and_exits_0) {
    const Run_result run = run_zevo_dm({"session"});
    EXPECT_EQ(run.exit_code, 0) << run.out << run.err;
    EXPECT_EQ(run.out.rfind("-> 22 2C 60\n<- 7F 22 10\n", 0), 0u) << run.out;
    EXPECT_NE(run.out.find("-> 22 2C 56\n<- 7F 22 10\n"), std::string::npos);
    EXPECT_NE(run.out.find("-> 31 03 06 48\n<- 7F 31 10\n"), std::string::npos);
    EXPECT_NE(run.out.find("-> 22 2C 58\n<- 7F 22 31\n"), std::string::npos);
    EXPECT_NE(run.out.find("-> 22 2C\n<- 7F 22 13\n"), std::string::npos);
    EXPECT_NE(run.out.find("session: all 18 responses as expected\n"), std::string::npos);
}

TEST(host_zevo_dm, plugin_that_cannot_be_loaded_exits_2_naming_it) {
    const Run_result run = run_zevo_dm({"--plugin", "/nonexistent/plugin.so", "send", "22", "2C", "56"});
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_EQ(run.out, "");
    EXPECT_NE(run.err.find("cannot load plug-in /nonexistent/plugin.so"), std::string::npos) << run.err;
}

TEST(host_zevo_dm, plugin_without_an_entry_point_exits_2_naming_it) {
    const Run_result run = run_zevo_dm({"--plugin", ZEVO_TEST_INCOMPLETE_PLUGIN_PATH, "session"});
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_NE(run.err.find("lacks the entry point construct_extension_did"), std::string::npos) << run.err;
}

TEST(host_zevo_dm, no_command_prints_the_help_and_exits_2) {
    const Run_result run = run_zevo_dm({});
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_NE(run.err.find("Usage: zevo-dm"), std::string::npos) << run.err;
}

TEST(host_zevo_dm, help_prints_the_help_and_exits_0) {
    const Run_result run = run_zevo_dm({"--help"});
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_NE(run.out.find("Usage: zevo-dm"), std::string::npos) << run.out;
}

TEST(host_zevo_dm, bad_hex_exits_2_naming_the_bad_piece) {
    const Run_result run = run_zevo_dm({"send", "22", "2X", "56"});
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_EQ(run.out, "");
    EXPECT_NE(run.err.find("'2X' is not hex"), std::string::npos) << run.err;
}

TEST(host_zevo_dm, bad_option_exits_2) {
    const Run_result run = run_zevo_dm({"--verbose", "session"});
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_NE(run.err.find("unknown option '--verbose'"), std::string::npos) << run.err;
}

}  // namespace

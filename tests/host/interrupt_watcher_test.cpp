// SIGINT and SIGTERM handled on the watcher's thread instead of ending the process; the ends
// at once after a second signal or a grace period. A program of its own: the watcher blocks the
// signals in the thread that makes it, and the tests send them to the whole process.

#include "host/interrupt_watcher.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <future>
#include <thread>

namespace zevo::host {
namespace {

using namespace std::chrono_literals;

struct Reacted {
    int signal;
    std::thread::id thread;
};

TEST(host_interrupt_watcher, sigint_runs_the_reaction_on_the_watching_thread) {
    Interrupt_watcher sut;
    std::promise<Reacted> reacted;
    sut.set_reaction([&](int signal) { reacted.set_value({signal, std::this_thread::get_id()}); });
    EXPECT_EQ(sut.signal(), 0);
    ASSERT_EQ(kill(getpid(), SIGINT), 0);
    std::future<Reacted> reaction = reacted.get_future();
    ASSERT_EQ(reaction.wait_for(10s), std::future_status::ready);
    const Reacted seen = reaction.get();
    EXPECT_EQ(seen.signal, SIGINT);
    EXPECT_NE(seen.thread, std::this_thread::get_id());
    EXPECT_EQ(sut.signal(), SIGINT);
}

TEST(host_interrupt_watcher, sigterm_is_handled_like_sigint) {
    Interrupt_watcher sut;
    std::promise<int> reacted;
    sut.set_reaction([&](int signal) { reacted.set_value(signal); });
    ASSERT_EQ(kill(getpid(), SIGTERM), 0);
    std::future<int> reaction = reacted.get_future();
    ASSERT_EQ(reaction.wait_for(10s), std::future_status::ready);
    EXPECT_EQ(reaction.get(), SIGTERM);
}

TEST(host_interrupt_watcher, reaction_set_after_the_signal_runs_at_once_on_the_caller) {
    Interrupt_watcher sut;
    std::promise<void> first;
    sut.set_reaction([&](int) { first.set_value(); });
    ASSERT_EQ(kill(getpid(), SIGINT), 0);
    ASSERT_EQ(first.get_future().wait_for(10s), std::future_status::ready);
    std::thread::id ran_on;
    sut.set_reaction([&](int) { ran_on = std::this_thread::get_id(); });
    EXPECT_EQ(ran_on, std::this_thread::get_id());
}

TEST(host_interrupt_watcher, ends_without_a_signal) {
    const Interrupt_watcher sut;
    EXPECT_EQ(sut.signal(), 0);
}

TEST(host_interrupt_watcher, exit_code_is_128_and_the_signal_number) {
    EXPECT_EQ(Interrupt_watcher::exit_code_for(SIGINT), 130);
    EXPECT_EQ(Interrupt_watcher::exit_code_for(SIGTERM), 143);
}

/// Blocks this thread for good: the watcher ends the process.
[[noreturn]] void wait_for_the_end() {
    for (;;) pause();
}

TEST(host_interrupt_watcher_death, a_second_signal_ends_the_process_at_once) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            Interrupt_watcher sut;
            std::promise<void> first;
            sut.set_reaction([&](int) { first.set_value(); });
            kill(getpid(), SIGINT);
            first.get_future().wait();
            kill(getpid(), SIGTERM);
            wait_for_the_end();
        },
        ::testing::ExitedWithCode(143), "zevo-dm: SIGTERM again; ending at once");
}

TEST(host_interrupt_watcher_death, a_process_still_running_after_the_grace_period_ends_at_once) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            Interrupt_watcher sut(50ms);
            kill(getpid(), SIGINT);
            wait_for_the_end();
        },
        ::testing::ExitedWithCode(130), "zevo-dm: still running 50 ms after SIGINT; ending at once");
}

}  // namespace
}  // namespace zevo::host

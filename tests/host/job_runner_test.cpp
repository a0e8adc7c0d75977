// Jobs run on worker threads, one per key at a time and different keys side by side; result and
// exceptions come back to the caller, and other threads cancel the running jobs, once or, after
// an interrupt or a cancel by id, again on the runner's clock until they have returned.

#include "host/job_runner.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <future>
#include <mutex>
#include <stdexcept>
#include <thread>

namespace zevo::host {
namespace {

using Code = ruv::dm::types::UDSResponseCodeType;
constexpr std::chrono::seconds bound{10};

const Job_cancel no_cancel = [] {};

/// A job that waits until it has been cancelled `needed` times; cancels counted before the
/// job began waiting are forgotten, as the plug-in's jobs forget a stale cancel.
class Stubborn_job {
public:
    explicit Stubborn_job(int needed) : needed_(needed) {}

    Code run() {
        std::unique_lock<std::mutex> lock(mutex_);
        cancels_seen_ = 0;
        waiting_ = true;
        changed_.notify_all();
        changed_.wait(lock, [this] { return cancels_seen_ >= needed_; });
        return 0x00;
    }
    void cancel() {
        const std::lock_guard<std::mutex> lock(mutex_);
        ++cancels_seen_;
        ++cancels_total_;
        changed_.notify_all();
    }
    bool wait_until_waiting() {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_for(lock, bound, [this] { return waiting_; });
    }
    int cancels_total() {
        const std::lock_guard<std::mutex> lock(mutex_);
        return cancels_total_;
    }

private:
    const int needed_;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool waiting_ = false;
    int cancels_seen_ = 0;
    int cancels_total_ = 0;
};

TEST(host_job_runner, job_runs_on_another_thread_and_its_result_comes_back) {
    Job_runner sut;
    std::thread::id job_thread;
    const Job_runner::Outcome outcome = sut.run(
        [&] {
            job_thread = std::this_thread::get_id();
            return Code{0x31};
        },
        no_cancel);
    EXPECT_EQ(outcome.code, 0x31);
    EXPECT_FALSE(outcome.cancelled);
    EXPECT_NE(job_thread, std::thread::id{});
    EXPECT_NE(job_thread, std::this_thread::get_id());
}

TEST(host_job_runner, the_worker_thread_is_kept_for_the_next_job) {
    Job_runner sut;
    std::thread::id first;
    std::thread::id second;
    sut.run(
        [&] {
            first = std::this_thread::get_id();
            return Code{0};
        },
        no_cancel);
    sut.run(
        [&] {
            second = std::this_thread::get_id();
            return Code{0};
        },
        no_cancel);
    EXPECT_EQ(first, second);
}

TEST(host_job_runner, job_has_finished_when_the_call_returns) {
    Job_runner sut;
    int effects = 0;
    sut.run(
        [&] {
            ++effects;
            return Code{0};
        },
        no_cancel);
    EXPECT_EQ(effects, 1);
}

TEST(host_job_runner, exception_of_the_job_is_rethrown_on_the_caller) {
    Job_runner sut;
    EXPECT_THROW(sut.run([]() -> Code { throw std::bad_alloc(); }, no_cancel), std::bad_alloc);
    EXPECT_EQ(sut.cancel_all(), 0u) << "the job's entry is gone after the exception";
}

TEST(host_job_runner, cancel_all_without_a_running_job_cancels_nothing) {
    Job_runner sut;
    EXPECT_EQ(sut.cancel_all(), 0u);
}

TEST(host_job_runner, cancel_all_calls_the_cancel_of_the_running_job_from_the_calling_thread) {
    Job_runner sut;
    Stubborn_job job(1);
    std::thread::id cancel_thread;
    std::future<Job_runner::Outcome> outcome = std::async(std::launch::async, [&] {
        return sut.run([&] { return job.run(); },
                       [&] {
                           cancel_thread = std::this_thread::get_id();
                           job.cancel();
                       });
    });
    ASSERT_TRUE(job.wait_until_waiting());
    EXPECT_EQ(sut.cancel_all(), 1u);
    ASSERT_EQ(outcome.wait_for(bound), std::future_status::ready);
    const Job_runner::Outcome result = outcome.get();
    EXPECT_TRUE(result.cancelled);
    EXPECT_EQ(result.code, 0x00);
    EXPECT_EQ(cancel_thread, std::this_thread::get_id());
    EXPECT_EQ(job.cancels_total(), 1);
}

TEST(host_job_runner, interrupt_refuses_later_jobs_without_running_them) {
    Job_runner sut;
    sut.interrupt();
    EXPECT_TRUE(sut.interrupted());
    bool ran = false;
    try {
        sut.run(
            [&] {
                ran = true;
                return Code{0};
            },
            no_cancel);
        ADD_FAILURE() << "no Job_refused";
    } catch (const Job_refused& refused) {
        EXPECT_STREQ(refused.what(), "the job was not run: the host was interrupted");
    }
    EXPECT_FALSE(ran);
}

TEST(host_job_runner, interrupt_repeats_the_cancel_until_the_job_has_returned) {
    Job_runner sut;
    Stubborn_job job(3);  // ignores two cancels, as a job that forgot one that came too early
    std::future<Job_runner::Outcome> outcome = std::async(std::launch::async, [&] {
        return sut.run([&] { return job.run(); }, [&] { job.cancel(); });
    });
    ASSERT_TRUE(job.wait_until_waiting());
    sut.interrupt();
    ASSERT_EQ(outcome.wait_for(bound), std::future_status::ready);
    EXPECT_TRUE(outcome.get().cancelled);
    EXPECT_GE(job.cancels_total(), 3);
}

TEST(host_job_runner, interrupt_refuses_a_job_still_waiting_for_its_key) {
    Job_runner sut;
    Stubborn_job holding(1);
    std::future<Job_runner::Outcome> first = std::async(std::launch::async, [&] {
        return sut.run({7}, [&] { return holding.run(); }, [&] { holding.cancel(); });
    });
    ASSERT_TRUE(holding.wait_until_waiting());
    std::promise<void> second_called;
    bool second_ran = false;
    std::future<Job_runner::Outcome> second = std::async(std::launch::async, [&] {
        second_called.set_value();
        return sut.run(
            {7},
            [&] {
                second_ran = true;
                return Code{0};
            },
            no_cancel);
    });
    second_called.get_future().wait();
    sut.interrupt();
    ASSERT_EQ(first.wait_for(bound), std::future_status::ready);
    EXPECT_TRUE(first.get().cancelled);
    ASSERT_EQ(second.wait_for(bound), std::future_status::ready);
    EXPECT_THROW(second.get(), Job_refused);
    EXPECT_FALSE(second_ran);
}

/// The outcome of a started job, handed over from its worker.
struct Done_box {
    std::promise<Job_runner::Outcome> promise;
    std::future<Job_runner::Outcome> future = promise.get_future();
    Job_runner::Done done() {
        return [this](const Job_runner::Outcome& outcome) { promise.set_value(outcome); };
    }
};

TEST(host_job_runner, jobs_with_different_keys_run_at_the_same_time) {
    Job_runner sut;
    Stubborn_job first(1);
    Stubborn_job second(1);
    Done_box first_done;
    Done_box second_done;
    const auto first_id = sut.start({1}, [&] { return first.run(); }, [&] { first.cancel(); }, first_done.done());
    const auto second_id = sut.start({2}, [&] { return second.run(); }, [&] { second.cancel(); }, second_done.done());
    ASSERT_TRUE(first_id && second_id);
    // Both wait at once: neither job can have returned, nothing has cancelled them yet.
    ASSERT_TRUE(first.wait_until_waiting());
    ASSERT_TRUE(second.wait_until_waiting());
    EXPECT_TRUE(sut.cancel(*first_id));
    EXPECT_TRUE(sut.cancel(*second_id));
    ASSERT_EQ(first_done.future.wait_for(bound), std::future_status::ready);
    ASSERT_EQ(second_done.future.wait_for(bound), std::future_status::ready);
    EXPECT_TRUE(first_done.future.get().cancelled);
    EXPECT_TRUE(second_done.future.get().cancelled);
}

TEST(host_job_runner, start_refuses_a_key_whose_job_runs_and_takes_it_once_the_job_has_returned) {
    Job_runner sut;
    Stubborn_job holding(1);
    Done_box done;
    const auto id = sut.start({1, 2}, [&] { return holding.run(); }, [&] { holding.cancel(); }, done.done());
    ASSERT_TRUE(id);
    ASSERT_TRUE(holding.wait_until_waiting());
    bool ran = false;
    const Extension_job mark = [&] {
        ran = true;
        return Code{0};
    };
    EXPECT_FALSE(sut.start({2}, mark, no_cancel, {}));
    sut.cancel(*id);
    ASSERT_EQ(done.future.wait_for(bound), std::future_status::ready);
    EXPECT_EQ(sut.run({2}, mark, no_cancel).code, 0);
    EXPECT_TRUE(ran);
}

TEST(host_job_runner, cancel_repeats_on_the_runner_clock_until_the_job_has_returned) {
    Manual_timer_queue timers;
    Job_runner sut(timers);
    Stubborn_job job(3);  // ignores two cancels, as a job that forgot one that came too early
    Done_box done;
    const auto id = sut.start({1}, [&] { return job.run(); }, [&] { job.cancel(); }, done.done());
    ASSERT_TRUE(id);
    ASSERT_TRUE(job.wait_until_waiting());
    EXPECT_TRUE(sut.cancel(*id));
    EXPECT_EQ(job.cancels_total(), 1);
    timers.advance(Job_runner::cancel_repeat_period - std::chrono::milliseconds{1});
    EXPECT_EQ(job.cancels_total(), 1);
    timers.advance(std::chrono::milliseconds{1});
    EXPECT_EQ(job.cancels_total(), 2);
    timers.advance(Job_runner::cancel_repeat_period);
    ASSERT_EQ(done.future.wait_for(bound), std::future_status::ready);
    EXPECT_EQ(job.cancels_total(), 3);
    sut.wait_idle();
    timers.advance(Job_runner::cancel_repeat_period * 5);
    EXPECT_EQ(job.cancels_total(), 3) << "no cancel after the job returned";
    EXPECT_FALSE(sut.cancel(*id));
}

TEST(host_job_runner, not_interrupted_at_first) {
    Job_runner sut;
    EXPECT_FALSE(sut.interrupted());
}

}  // namespace
}  // namespace zevo::host

#pragma once
// How long the job tests wait for another thread, and the one way they wait for a job run on a
// thread of its own: bounded, so that a flow that never returns fails its test within seconds
// and is then released, instead of holding the test program until the ctest time-out.
// Used from the test's own thread; `release` may run there while the job runs on its thread.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <future>
#include <string>
#include <type_traits>
#include <utility>

namespace zevo::test {

/// What a test gives another thread before calling it hung: the fake's call signal, a job's
/// answer, a completion on a helper thread. Far above any honest wait, also under sanitizers.
constexpr std::chrono::seconds hang_bound{10};

/// The job's answer once it is there. When it is not there within `bound`, the test fails
/// naming `what`, `release` is run to make the job return (set its cancel flag, complete or
/// drop its pending calls), and the answer is then taken as it comes. A job still hung one
/// hang_bound after its release would block the future's destructor for ever; the program then
/// ends with a message instead. Rethrows what the job threw.
template <class R, class Release>
R finish_within(std::future<R>& job, std::chrono::seconds bound, Release&& release, const std::string& what) {
    if (job.wait_for(bound) != std::future_status::ready) {
        ADD_FAILURE() << what << " hung: no return within " << bound.count() << " s; released it";
        std::forward<Release>(release)();
        if (job.wait_for(hang_bound) != std::future_status::ready) {
            std::fprintf(stderr, "%s stays hung after its release; ending the test program\n", what.c_str());
            std::abort();
        }
    }
    return job.get();
}

/// A job on a thread of its own, finished through finish_within. Not copied, not moved: made
/// by run_in_background, finished and destroyed where it was made.
template <class R>
class Background_job {
public:
    Background_job(std::string what, std::function<R()> job, std::function<void()> release)
        : what_(std::move(what)),
          release_(std::move(release)),
          future_(std::async(std::launch::async, std::move(job))) {}
    Background_job(const Background_job&) = delete;
    Background_job& operator=(const Background_job&) = delete;

    /// Once only. A bound of 0 releases a job that is not done at once: for a job already known to
    /// be stuck, such as one whose call never came.
    R finish(std::chrono::seconds bound = hang_bound) { return finish_within(future_, bound, release_, what_); }

    /// A test that stopped early (a failed ASSERT) leaves its job running: it is released at
    /// once, so that the objects it uses outlive it and the test still ends.
    ~Background_job() {
        if (!future_.valid()) {
            return;
        }
        if (future_.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
            release_();
        }
        try {
            static_cast<void>(finish_within(future_, hang_bound, release_, what_));
        } catch (...) {
            ADD_FAILURE() << what_ << " threw after the test had stopped";
        }
    }

private:
    std::string what_;
    std::function<void()> release_;
    std::future<R> future_;  ///< std::async's: its destructor waits, so finish comes first
};

/// Starts `job` on a thread of its own; see finish_within for `what` and `release`.
template <class Job, class Release>
Background_job<std::invoke_result_t<Job&>> run_in_background(std::string what, Job job, Release release) {
    return {std::move(what), std::move(job), std::move(release)};
}

/// Runs `action`, which must not block, on another thread and returns when it is done: a
/// completion that comes from another thread and is still over before the caller goes on.
template <class Action>
void on_another_thread(const std::string& what, Action action) {
    run_in_background(what, std::move(action), [] {}).finish();
}

}  // namespace zevo::test

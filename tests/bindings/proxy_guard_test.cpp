// The guard between jobs and the discovery callback: a swap of the proxy waits while a job holds
// the proxy, and the proxy it replaced is deleted only after the job has let go. The job and the
// swap run on threads of their own, ordered by latches; a hung thread fails the test within the
// bounds of bounded_wait.h.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <future>
#include <mutex>

#include "bounded_wait.h"
#include "extension/proxy_guard.h"

namespace {

using ruv::dm::foundation::extension::swap_proxy;
using ruv::dm::foundation::extension::use_proxy;
using zevo::test::hang_bound;
using zevo::test::run_in_background;

/// A proxy that tells when it is deleted. The guard is per type, so this test has it to itself.
struct Watched_proxy {
    explicit Watched_proxy(std::atomic<int>& deletions) : deletions_(deletions) {}
    Watched_proxy(const Watched_proxy&) = delete;
    Watched_proxy& operator=(const Watched_proxy&) = delete;
    ~Watched_proxy() { ++deletions_; }

    std::atomic<int>& deletions_;
};

/// A one-way signal between two threads, waited for with a bound.
class Signal {
public:
    void give() {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            given_ = true;
        }
        changed_.notify_all();
    }
    [[nodiscard]] bool wait(std::chrono::milliseconds bound) {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_for(lock, bound, [this] { return given_; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool given_ = false;  ///< guarded by mutex_
};

/// How long the job, holding the proxy, gives a swap that does not wait to get through. A swap
/// that waits, as it must, never gets through, so this window only costs time and never fails a
/// correct guard.
constexpr std::chrono::milliseconds swap_window{100};

TEST(proxy_guard, a_swap_waits_for_a_job_holding_the_proxy_and_the_old_one_goes_after_the_job_let_go) {
    std::atomic<int> old_deleted{0};
    std::atomic<int> fresh_deleted{0};
    auto* const old_proxy = new Watched_proxy(old_deleted);
    auto* const fresh_proxy = new Watched_proxy(fresh_deleted);
    Watched_proxy* proxy = old_proxy;

    Signal holding;
    Signal swapped;
    Signal may_let_go;
    auto job = run_in_background(
        "the job",
        [&] {
            return use_proxy(proxy, [&](Watched_proxy* current) {
                holding.give();
                static_cast<void>(may_let_go.wait(hang_bound));
                // Still the proxy the job began with, and alive, however long it held it.
                return current == old_proxy && old_deleted.load() == 0;
            });
        },
        [&] { may_let_go.give(); });
    ASSERT_TRUE(holding.wait(hang_bound)) << "the job never held the proxy";

    auto swap = run_in_background(
        "the swap",
        [&] {
            delete swap_proxy(proxy, fresh_proxy);  // as the discovery callback does
            swapped.give();
            return true;
        },
        [] {});
    EXPECT_FALSE(swapped.wait(swap_window)) << "the swap went through while the job held the proxy";
    EXPECT_EQ(old_deleted.load(), 0) << "the proxy was deleted under the job";

    may_let_go.give();
    EXPECT_TRUE(job.finish()) << "the job saw another proxy, or a deleted one";
    EXPECT_TRUE(swap.finish());
    EXPECT_EQ(old_deleted.load(), 1) << "the replaced proxy is deleted once, after the job";
    EXPECT_EQ(proxy, fresh_proxy);
    EXPECT_EQ(fresh_deleted.load(), 0);
    delete proxy;
}

}  // namespace

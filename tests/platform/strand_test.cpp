// The strand on a pool without workers, whose queue the test runs itself with run_one: one pool
// post per burst, tasks in posting order, a task posting to its own strand, the stop wait from
// outside and from inside a task, destruction with tasks queued, and posts that are dropped.
#include "ruv/com/strand.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <string>
#include <vector>

#include "strand_test_support.h"

namespace {

using ruv::com::static_thread_pool;
using ruv::com::Strand;
using zevo::test::await_state;
using zevo::test::Bounded_thread;
using zevo::test::Journal;
using zevo::test::queued_in;
using zevo::test::view_of;
using Notes = std::vector<std::string>;

constexpr std::uint8_t running = Strand::running_state;
constexpr std::uint8_t stopping = Strand::stopping_state;
constexpr std::uint8_t stopped = Strand::stopped_state;

TEST(Strand, two_tasks_posted_back_to_back_make_one_pool_post) {
    static_thread_pool pool{0};
    Strand sut{&pool};
    Journal journal;
    sut.internal_post([&journal] { journal.add("first"); });
    sut.internal_post([&journal] { journal.add("second"); });
    EXPECT_EQ(queued_in(pool), 1u);
    EXPECT_EQ(pool.outstanding_work.load(), 1u);
    EXPECT_EQ(view_of(sut).pending, 2u);
    EXPECT_EQ(view_of(sut).queued, 2u);

    EXPECT_TRUE(pool.run_one());
    EXPECT_FALSE(pool.run_one());
    EXPECT_EQ(journal.notes(), (Notes{"first", "second"}));
    EXPECT_EQ(view_of(sut).pending, 0u);
    EXPECT_EQ(pool.outstanding_work.load(), 0u);
}

TEST(Strand, first_post_after_the_queue_ran_dry_posts_to_the_pool_again) {
    static_thread_pool pool{0};
    Strand sut{&pool};
    Journal journal;
    sut.internal_post([&journal] { journal.add("first burst"); });
    EXPECT_TRUE(pool.run_one());
    sut.internal_post([&journal] { journal.add("second burst"); });
    EXPECT_EQ(queued_in(pool), 1u);
    EXPECT_TRUE(pool.run_one());
    EXPECT_EQ(journal.notes(), (Notes{"first burst", "second burst"}));
}

TEST(Strand, task_posting_to_its_own_strand_runs_it_next_and_pending_never_falls_to_0_between) {
    static_thread_pool pool{0};
    Strand sut{&pool};
    Journal journal;
    sut.internal_post([&] {
        sut.internal_post([&] { journal.add("inner, pending " + std::to_string(view_of(sut).pending)); });
        journal.add("outer, pending " + std::to_string(view_of(sut).pending) + ", pool queue " +
                    std::to_string(queued_in(pool)));
    });
    EXPECT_TRUE(pool.run_one());
    EXPECT_FALSE(pool.run_one()) << "the strand stayed served: nobody posted it again";
    EXPECT_EQ(journal.notes(), (Notes{"outer, pending 2, pool queue 0", "inner, pending 1"}));
    EXPECT_EQ(view_of(sut).pending, 0u);
}

TEST(Strand, tasks_run_in_posting_order_with_the_lock_released) {
    static_thread_pool pool{0};
    Strand sut{&pool};
    std::vector<int> order;
    for (int index = 0; index < 40; ++index) {
        sut.internal_post([&order, &sut, index] {
            std::unique_lock<std::mutex> lock(sut.mutex, std::try_to_lock);
            order.push_back(lock.owns_lock() ? index : -1);
        });
    }
    EXPECT_TRUE(pool.run_one());
    ASSERT_EQ(order.size(), 40u);
    for (int index = 0; index < 40; ++index) {
        EXPECT_EQ(order[static_cast<std::size_t>(index)], index);
    }
}

TEST(Strand, runs_each_task_with_running_thread_set_and_clears_it_afterwards) {
    static_thread_pool pool{0};
    Strand sut{&pool};
    bool inside = false;
    bool same_thread = false;
    sut.internal_post([&] {
        inside = sut.running_in_this_thread();
        same_thread = pthread_equal(sut.running_thread, pthread_self()) != 0;
    });
    EXPECT_FALSE(sut.running_in_this_thread());
    EXPECT_TRUE(pool.run_one());
    EXPECT_TRUE(inside);
    EXPECT_TRUE(same_thread);
    EXPECT_EQ(sut.running_thread, pthread_t{});
    EXPECT_FALSE(sut.running_in_this_thread());
}

TEST(Strand, stop_wait_on_an_idle_strand_goes_from_running_to_stopped_without_sleeping) {
    static_thread_pool pool{0};
    auto sut = std::make_shared<Strand>(&pool);
    ASSERT_EQ(view_of(*sut).state, running);
    // Nothing could wake a sleeping stop wait here: it returns only if it never sleeps.
    Bounded_thread stopper{[sut] { sut->stop_wait(); }};
    EXPECT_TRUE(stopper.join());
    EXPECT_EQ(view_of(*sut).state, stopped);
    EXPECT_EQ(view_of(*sut).pending, 0u);
    EXPECT_EQ(queued_in(pool), 0u);
}

TEST(Strand, stop_wait_with_two_queued_tasks_stops_the_strand_and_returns_after_the_second) {
    static_thread_pool pool{0};
    auto sut = std::make_shared<Strand>(&pool);
    Journal journal;
    sut->internal_post([&] { journal.add("first, state " + std::to_string(view_of(*sut).state)); });
    sut->internal_post([&] { journal.add("second, state " + std::to_string(view_of(*sut).state)); });
    Bounded_thread stopper{[&] {
        sut->stop_wait();
        journal.add("stop wait returned");
    }};
    ASSERT_TRUE(await_state(*sut, stopping));
    EXPECT_FALSE(stopper.finished_now());

    EXPECT_TRUE(pool.run_one());
    EXPECT_TRUE(stopper.join());
    EXPECT_EQ(journal.notes(), (Notes{"first, state 1", "second, state 1", "stop wait returned"}));
    EXPECT_EQ(view_of(*sut).state, stopped);
    EXPECT_EQ(view_of(*sut).pending, 0u);
}

TEST(Strand, task_posted_while_stopping_is_taken_and_runs_before_the_stop_wait_returns) {
    static_thread_pool pool{0};
    auto sut = std::make_shared<Strand>(&pool);
    Journal journal;
    sut->internal_post([&journal] { journal.add("queued before the stop"); });
    Bounded_thread stopper{[&] {
        sut->stop_wait();
        journal.add("stop wait returned");
    }};
    ASSERT_TRUE(await_state(*sut, stopping));
    sut->internal_post([&journal] { journal.add("posted while stopping"); });
    EXPECT_EQ(view_of(*sut).pending, 2u);
    EXPECT_EQ(queued_in(pool), 1u);

    EXPECT_TRUE(pool.run_one());
    EXPECT_TRUE(stopper.join());
    EXPECT_EQ(journal.notes(), (Notes{"queued before the stop", "posted while stopping", "stop wait returned"}));
}

TEST(Strand, stop_wait_inside_a_task_of_the_strand_returns_at_once_with_tasks_pending) {
    static_thread_pool pool{0};
    Strand sut{&pool};
    Journal journal;
    sut.internal_post([&] {
        sut.stop_wait();
        const auto seen = view_of(sut);
        journal.add("stop wait returned, state " + std::to_string(seen.state) + ", pending " +
                    std::to_string(seen.pending));
    });
    sut.internal_post([&journal] { journal.add("second task"); });
    Bounded_thread driver{[&pool] { pool.run_one(); }};
    EXPECT_TRUE(driver.join());
    EXPECT_EQ(journal.notes(), (Notes{"stop wait returned, state 1, pending 2", "second task"}));
    EXPECT_EQ(view_of(sut).state, stopped);
    EXPECT_EQ(view_of(sut).pending, 0u);
}

TEST(Strand, post_to_a_stopped_strand_is_dropped_at_once_without_a_pool_post) {
    static_thread_pool pool{0};
    Strand sut{&pool};
    sut.stop_wait();
    auto token = std::make_shared<int>(0);
    bool ran = false;
    sut.internal_post([token, &ran] { ran = true; });
    EXPECT_EQ(token.use_count(), 1) << "the dropped task is destroyed before the post returns";
    EXPECT_EQ(view_of(sut).pending, 0u);
    EXPECT_EQ(view_of(sut).queued, 0u);
    EXPECT_EQ(queued_in(pool), 0u);
    EXPECT_EQ(pool.outstanding_work.load(), 0u);
    EXPECT_FALSE(pool.run_one());
    EXPECT_FALSE(ran);
}

TEST(Strand, second_stop_wait_finds_the_strand_stopped_and_returns) {
    static_thread_pool pool{0};
    Strand sut{&pool};
    sut.internal_post([] {});
    EXPECT_TRUE(pool.run_one());
    sut.stop_wait();
    sut.stop_wait();
    EXPECT_EQ(view_of(sut).state, stopped);
}

TEST(Strand, destruction_with_queued_tasks_returns_after_pending_is_0_and_drops_posts_meanwhile) {
    static_thread_pool pool{0};
    auto* sut = new Strand(&pool);
    auto token = std::make_shared<int>(0);
    std::atomic<int> ran{0};
    sut->internal_post([token, &ran] { ++ran; });
    sut->internal_post([token, &ran] { ++ran; });
    ASSERT_EQ(token.use_count(), 3);

    std::atomic<bool> destroyed{false};
    Bounded_thread destroyer{[&] {
        delete sut;
        destroyed = true;
    }};
    ASSERT_TRUE(await_state(*sut, stopped));  // the destructor's first step: nothing is taken now
    // What a closure that still holds the strand would do while it is being destroyed.
    sut->internal_post([token, &ran] { ++ran; });
    EXPECT_EQ(token.use_count(), 3) << "the late task is dropped at once";
    EXPECT_EQ(view_of(*sut).pending, 2u);
    EXPECT_FALSE(destroyed.load());

    EXPECT_TRUE(pool.run_one());  // the strand's run counts the queued tasks down; sut is gone after
    EXPECT_TRUE(destroyer.join());
    EXPECT_TRUE(destroyed.load());
    EXPECT_EQ(ran.load(), 0) << "a strand that is being destroyed drops what is queued";
    EXPECT_EQ(token.use_count(), 1);
    EXPECT_EQ(pool.outstanding_work.load(), 0u);
}

TEST(Strand, destruction_of_an_idle_strand_returns_at_once) {
    static_thread_pool pool{0};
    auto* sut = new Strand(&pool);
    sut->internal_post([] {});
    EXPECT_TRUE(pool.run_one());
    Bounded_thread destroyer{[sut] { delete sut; }};
    EXPECT_TRUE(destroyer.join());
}

TEST(Strand, task_that_throws_is_logged_at_level_2_and_the_next_task_runs) {
    zevo::test::Recording_log_backend log;
    static_thread_pool pool{0};
    Strand sut{&pool};
    bool next_ran = false;
    sut.internal_post([] { throw std::runtime_error("task failed"); });
    sut.internal_post([&next_ran] { next_ran = true; });
    EXPECT_TRUE(pool.run_one());
    EXPECT_TRUE(next_ran);
    EXPECT_EQ(view_of(sut).pending, 0u);
    EXPECT_EQ(sut.running_thread, pthread_t{});
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].text, "A task of a strand threw: task failed");
    EXPECT_EQ(lines[0].level, 2);
    sut.stop_wait();
    EXPECT_EQ(view_of(sut).state, stopped);
}

TEST(Strand, task_that_throws_while_stopping_still_lets_the_stop_wait_return) {
    zevo::test::Recording_log_backend log;
    static_thread_pool pool{0};
    auto sut = std::make_shared<Strand>(&pool);
    sut->internal_post([] { throw 7; });
    Bounded_thread stopper{[sut] { sut->stop_wait(); }};
    ASSERT_TRUE(await_state(*sut, stopping));
    EXPECT_TRUE(pool.run_one());
    EXPECT_TRUE(stopper.join());
    EXPECT_EQ(view_of(*sut).state, stopped);
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].text, "A task of a strand threw a non-standard exception");
}

// A failed pool post reaches the caller with the strand's lock released, and leaves the task
// queued with pending at 1. (Holding the pool's mutex on this thread to make the lock fail
// would take the two locks in the wrong order.)
TEST(Strand, failed_pool_post_leaves_the_task_queued_and_the_lock_free) {
    static_thread_pool pool{0};
    Strand sut{&pool};
    ASSERT_TRUE(zevo::test::abandon_locked(pool.mutex));

    try {
        sut.internal_post([] {});
        ADD_FAILURE() << "no exception";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code(), std::errc::owner_dead);
        EXPECT_STREQ(error.what(), "Owner died");
    }
    EXPECT_TRUE(zevo::test::release_after_owner_died(pool.mutex));
    {
        std::unique_lock<std::mutex> strand_lock(sut.mutex, std::try_to_lock);
        EXPECT_TRUE(strand_lock.owns_lock());
        EXPECT_EQ(sut.pending, 1u);
        EXPECT_EQ(sut.tasks.size(), 1u);
        // Not served now: cleared by hand, so that the destructor finds nothing pending.
        sut.tasks.clear();
        sut.pending = 0;
    }
    EXPECT_EQ(pool.outstanding_work.load(), 0u);
    EXPECT_EQ(queued_in(pool), 0u);
}

}  // namespace

// The thread pool: what post counts and drops, a post whose lock or push fails, the workers and
// the queue served by run_one, closing (posts dropped, the queue still served) and joining.
#include "ruv/com/static_thread_pool.h"

#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "strand_test_support.h"

namespace {

using ruv::com::static_thread_pool;
using zevo::test::Bounded_thread;
using zevo::test::Journal;
using zevo::test::queued_in;
using zevo::test::strand_bound;
using Notes = std::vector<std::string>;

// A function whose every move and copy throws: the push onto the queue, which moves it into a
// std::function, fails.
struct Unmovable_function {
    Unmovable_function() = default;
    Unmovable_function(const Unmovable_function&) { throw std::runtime_error("cannot copy"); }
    Unmovable_function(Unmovable_function&&) { throw std::runtime_error("cannot move"); }
    Unmovable_function& operator=(const Unmovable_function&) = delete;
    Unmovable_function& operator=(Unmovable_function&&) = delete;
    ~Unmovable_function() = default;
    void operator()() const {}
};

TEST(Static_thread_pool, post_queues_the_function_and_counts_it_as_outstanding) {
    static_thread_pool sut{0};
    bool ran = false;
    sut.post([&ran] { ran = true; });
    EXPECT_EQ(queued_in(sut), 1u);
    EXPECT_EQ(sut.outstanding_work.load(), 1u);
    EXPECT_FALSE(ran) << "post never runs the function itself";
    EXPECT_TRUE(sut.run_one());
    EXPECT_TRUE(ran);
    EXPECT_EQ(sut.outstanding_work.load(), 0u);
    EXPECT_FALSE(sut.run_one());
}

TEST(Static_thread_pool, post_to_a_closed_pool_leaves_outstanding_work_unchanged) {
    static_thread_pool sut{0};
    sut.post([] {});
    sut.close();
    ASSERT_EQ(sut.pool_state.load(), 2);
    auto token = std::make_shared<int>(0);
    bool ran = false;
    sut.post([token, &ran] { ran = true; });
    EXPECT_EQ(sut.outstanding_work.load(), 1u);
    EXPECT_EQ(queued_in(sut), 1u);
    EXPECT_EQ(token.use_count(), 1) << "the dropped function is destroyed by the post";
    EXPECT_TRUE(sut.run_one()) << "what was queued before the close is still served";
    EXPECT_FALSE(sut.run_one());
    EXPECT_FALSE(ran);
}

TEST(Static_thread_pool, failing_lock_in_post_leaves_outstanding_work_where_it_stood) {
    static_thread_pool sut{0};
    sut.post([] {});
    ASSERT_EQ(sut.outstanding_work.load(), 1u);
    ASSERT_TRUE(zevo::test::abandon_locked(sut.mutex));
    bool ran = false;
    try {
        sut.post([&ran] { ran = true; });
        ADD_FAILURE() << "no exception";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code(), std::errc::owner_dead);
        EXPECT_STREQ(error.what(), "Owner died");
    }
    EXPECT_EQ(sut.outstanding_work.load(), 1u);
    EXPECT_EQ(sut.tasks.size(), 1u);
    EXPECT_TRUE(zevo::test::release_after_owner_died(sut.mutex));
    EXPECT_TRUE(sut.run_one());
    EXPECT_FALSE(sut.run_one());
    EXPECT_FALSE(ran);
    EXPECT_EQ(sut.outstanding_work.load(), 0u);
}

TEST(Static_thread_pool, failing_push_in_post_releases_the_lock_and_leaves_outstanding_work) {
    static_thread_pool sut{0};
    sut.post([] {});
    try {
        sut.post(Unmovable_function{});
        ADD_FAILURE() << "no exception";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "cannot move");
    }
    EXPECT_EQ(sut.outstanding_work.load(), 1u);
    std::unique_lock<std::mutex> lock(sut.mutex, std::try_to_lock);
    EXPECT_TRUE(lock.owns_lock());
    EXPECT_EQ(sut.tasks.size(), 1u);
}

TEST(Static_thread_pool, workers_run_posted_functions_on_their_own_threads) {
    static_thread_pool sut{2};
    EXPECT_EQ(sut.thread_count(), 2u);
    std::promise<std::thread::id> ran_on;
    auto ran = ran_on.get_future();
    sut.post([&ran_on] { ran_on.set_value(std::this_thread::get_id()); });
    ASSERT_EQ(ran.wait_for(strand_bound), std::future_status::ready);
    EXPECT_NE(ran.get(), std::this_thread::get_id());
    sut.join();
    EXPECT_EQ(sut.outstanding_work.load(), 0u);
}

TEST(Static_thread_pool, many_posters_every_function_runs_once) {
    constexpr int posters = 4;
    constexpr int per_poster = 500;
    static_thread_pool sut{3};
    std::mutex mutex;
    std::multiset<int> seen;
    {
        std::vector<std::unique_ptr<Bounded_thread>> threads;
        for (int poster = 0; poster < posters; ++poster) {
            threads.push_back(std::make_unique<Bounded_thread>([&sut, &mutex, &seen, poster] {
                for (int index = 0; index < per_poster; ++index) {
                    sut.post([&mutex, &seen, value = poster * per_poster + index] {
                        std::lock_guard<std::mutex> lock(mutex);
                        seen.insert(value);
                    });
                }
            }));
        }
        for (auto& thread : threads) {
            EXPECT_TRUE(thread->join());
        }
    }
    sut.join();  // closing lets the workers run what is queued before they leave
    EXPECT_EQ(seen.size(), static_cast<std::size_t>(posters * per_poster));
    for (int value = 0; value < posters * per_poster; ++value) {
        EXPECT_EQ(seen.count(value), 1u) << value;
    }
    EXPECT_EQ(sut.outstanding_work.load(), 0u);
}

TEST(Static_thread_pool, close_drops_later_posts_while_the_workers_serve_the_queue) {
    static_thread_pool sut{1};
    std::promise<void> started;
    std::promise<void> gate;
    auto gate_opened = gate.get_future().share();
    Journal journal;
    sut.post([&started, gate_opened] {
        started.set_value();
        gate_opened.wait();
    });
    ASSERT_EQ(started.get_future().wait_for(strand_bound), std::future_status::ready);
    sut.post([&journal] { journal.add("queued first"); });
    sut.post([&journal] { journal.add("queued second"); });
    sut.close();
    sut.post([&journal] { journal.add("posted after the close"); });
    gate.set_value();
    sut.join();
    EXPECT_EQ(journal.notes(), (Notes{"queued first", "queued second"}));
    EXPECT_EQ(sut.outstanding_work.load(), 0u);
}

TEST(Static_thread_pool, join_inside_a_function_of_the_pool_only_closes_it) {
    static_thread_pool sut{2};
    std::promise<void> returned;
    auto joined = returned.get_future();
    sut.post([&sut, &returned] {
        sut.join();
        returned.set_value();
    });
    ASSERT_EQ(joined.wait_for(strand_bound), std::future_status::ready);
    EXPECT_EQ(sut.pool_state.load(), 2);
    sut.join();
}

TEST(Static_thread_pool, function_that_throws_is_logged_at_level_2_and_counted_off) {
    zevo::test::Recording_log_backend log;
    static_thread_pool sut{0};
    sut.post([] { throw std::logic_error("pool function failed"); });
    bool next_ran = false;
    sut.post([&next_ran] { next_ran = true; });
    EXPECT_TRUE(sut.run_one());
    EXPECT_EQ(sut.outstanding_work.load(), 1u);
    EXPECT_TRUE(sut.run_one());
    EXPECT_TRUE(next_ran);
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].text, "A function of the static thread pool threw: pool function failed");
    EXPECT_EQ(lines[0].level, 2);
}

TEST(Static_thread_pool, worker_goes_on_after_a_function_that_throws) {
    zevo::test::Recording_log_backend log;
    static_thread_pool sut{1};
    std::promise<void> next;
    auto next_ran = next.get_future();
    sut.post([] { throw std::runtime_error("worker function failed"); });
    sut.post([&next] { next.set_value(); });
    EXPECT_EQ(next_ran.wait_for(strand_bound), std::future_status::ready);
    sut.join();  // before the log backend goes
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].text, "A function of the static thread pool threw: worker function failed");
}

TEST(Static_thread_pool, destruction_destroys_what_no_worker_ran) {
    auto token = std::make_shared<int>(0);
    {
        static_thread_pool sut{0};
        sut.post([token] {});
        EXPECT_EQ(token.use_count(), 2);
    }
    EXPECT_EQ(token.use_count(), 1);
}

}  // namespace

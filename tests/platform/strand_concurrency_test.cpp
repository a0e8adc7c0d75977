// Strands on pools with several workers: tasks of one strand never overlap and keep each
// poster's order, many strands share few threads, a stop wait on another thread waits for the
// running task, and posts racing with a stop are either run before it returns or dropped.
#include "ruv/com/strand.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "strand_test_support.h"

namespace {

using ruv::com::static_thread_pool;
using ruv::com::Strand;
using zevo::test::await_state;
using zevo::test::Bounded_thread;
using zevo::test::Journal;
using zevo::test::strand_bound;
using zevo::test::view_of;
using Notes = std::vector<std::string>;

// What the tasks of one strand see: how many of them run at once, and each poster's sequence.
class Overlap_probe {
public:
    explicit Overlap_probe(int posters) : next_(static_cast<std::size_t>(posters), 0) {}

    void task(int poster, int index) {
        if (inside_.fetch_add(1) != 0) {
            overlaps_.fetch_add(1);
        }
        // Only one task of the strand runs at a time, so no lock guards next_.
        int& expected = next_[static_cast<std::size_t>(poster)];
        if (expected != index) {
            out_of_order_.fetch_add(1);
        }
        expected = index + 1;
        ran_.fetch_add(1);
        inside_.fetch_sub(1);
    }

    int overlaps() const { return overlaps_.load(); }
    int out_of_order() const { return out_of_order_.load(); }
    int ran() const { return ran_.load(); }

private:
    std::atomic<int> inside_{0};
    std::atomic<int> overlaps_{0};
    std::atomic<int> out_of_order_{0};
    std::atomic<int> ran_{0};
    std::vector<int> next_;
};

TEST(Strand_concurrency, tasks_of_one_strand_never_overlap_and_keep_each_posters_order) {
    constexpr int posters = 4;
    constexpr int per_poster = 1000;
    static_thread_pool pool{4};
    Strand sut{&pool};
    Overlap_probe probe{posters};
    {
        std::vector<std::unique_ptr<Bounded_thread>> threads;
        for (int poster = 0; poster < posters; ++poster) {
            threads.push_back(std::make_unique<Bounded_thread>([&sut, &probe, poster] {
                for (int index = 0; index < per_poster; ++index) {
                    sut.internal_post([&probe, poster, index] { probe.task(poster, index); });
                }
            }));
        }
    }
    sut.stop_wait();  // lets everything queued run
    EXPECT_EQ(probe.ran(), posters * per_poster);
    EXPECT_EQ(probe.overlaps(), 0);
    EXPECT_EQ(probe.out_of_order(), 0);
    EXPECT_EQ(view_of(sut).pending, 0u);
}

TEST(Strand_concurrency, many_strands_share_a_small_pool_and_each_keeps_its_order) {
    constexpr int strands = 16;
    constexpr int per_strand = 200;
    static_thread_pool pool{3};
    std::vector<std::unique_ptr<Strand>> suts;
    std::vector<std::unique_ptr<Overlap_probe>> probes;
    for (int index = 0; index < strands; ++index) {
        suts.push_back(std::make_unique<Strand>(&pool));
        probes.push_back(std::make_unique<Overlap_probe>(1));
    }
    {
        Bounded_thread first{[&] {
            for (int task = 0; task < per_strand; ++task) {
                for (int strand = 0; strand < strands; strand += 2) {
                    const auto at = static_cast<std::size_t>(strand);
                    suts[at]->internal_post([probe = probes[at].get(), task] { probe->task(0, task); });
                }
            }
        }};
        Bounded_thread second{[&] {
            for (int task = 0; task < per_strand; ++task) {
                for (int strand = 1; strand < strands; strand += 2) {
                    const auto at = static_cast<std::size_t>(strand);
                    suts[at]->internal_post([probe = probes[at].get(), task] { probe->task(0, task); });
                }
            }
        }};
    }
    for (auto& sut : suts) {
        sut->stop_wait();
    }
    suts.clear();
    for (const auto& probe : probes) {
        EXPECT_EQ(probe->ran(), per_strand);
        EXPECT_EQ(probe->overlaps(), 0);
        EXPECT_EQ(probe->out_of_order(), 0);
    }
    pool.join();
    EXPECT_EQ(pool.outstanding_work.load(), 0u);
}

TEST(Strand_concurrency, stop_wait_on_another_thread_returns_only_after_the_running_task) {
    static_thread_pool pool{2};
    Strand sut{&pool};
    Journal journal;
    std::promise<void> started;
    std::promise<void> gate;
    auto gate_opened = gate.get_future().share();
    sut.internal_post([&started, gate_opened, &journal] {
        started.set_value();
        gate_opened.wait();
        journal.add("task returned");
    });
    ASSERT_EQ(started.get_future().wait_for(strand_bound), std::future_status::ready);
    Bounded_thread stopper{[&] {
        sut.stop_wait();
        journal.add("stop wait returned");
    }};
    ASSERT_TRUE(await_state(sut, Strand::stopping_state));
    EXPECT_FALSE(stopper.finished_now());
    gate.set_value();
    EXPECT_TRUE(stopper.join());
    EXPECT_EQ(journal.notes(), (Notes{"task returned", "stop wait returned"}));
    EXPECT_EQ(view_of(sut).state, Strand::stopped_state);
}

TEST(Strand_concurrency, posts_racing_with_a_stop_run_before_it_returns_or_are_dropped) {
    constexpr int posters = 3;
    static_thread_pool pool{3};
    Strand sut{&pool};
    std::atomic<int> ran{0};
    std::promise<void> go;
    auto started = go.get_future().share();
    std::atomic<int> posting{posters};
    std::vector<std::unique_ptr<Bounded_thread>> threads;
    for (int poster = 0; poster < posters; ++poster) {
        threads.push_back(std::make_unique<Bounded_thread>([&sut, &ran, &posting, started] {
            started.wait();
            for (int index = 0; index < 2000; ++index) {
                sut.internal_post([&ran] { ran.fetch_add(1); });
            }
            posting.fetch_sub(1);
        }));
    }
    go.set_value();
    sut.stop_wait();
    const int ran_at_stop = ran.load();
    for (auto& thread : threads) {
        EXPECT_TRUE(thread->join());
    }
    EXPECT_EQ(posting.load(), 0);
    EXPECT_EQ(ran.load(), ran_at_stop) << "nothing runs after the stop wait has returned";
    const auto seen = view_of(sut);
    EXPECT_EQ(seen.state, Strand::stopped_state);
    EXPECT_EQ(seen.pending, 0u);
    EXPECT_EQ(seen.queued, 0u);
}

TEST(Strand_concurrency, destruction_while_a_task_runs_waits_for_it) {
    static_thread_pool pool{2};
    auto* sut = new Strand(&pool);
    Journal journal;
    std::promise<void> started;
    std::promise<void> gate;
    auto gate_opened = gate.get_future().share();
    sut->internal_post([&started, gate_opened, &journal] {
        started.set_value();
        gate_opened.wait();
        journal.add("task returned");
    });
    sut->internal_post([&journal] { journal.add("queued task ran"); });
    ASSERT_EQ(started.get_future().wait_for(strand_bound), std::future_status::ready);
    Bounded_thread destroyer{[&] {
        delete sut;
        journal.add("destructor returned");
    }};
    ASSERT_TRUE(await_state(*sut, Strand::stopped_state));
    gate.set_value();
    EXPECT_TRUE(destroyer.join());
    EXPECT_EQ(journal.notes(), (Notes{"task returned", "destructor returned"}));
}

}  // namespace

// The runtime's worker threads: tasks run on a worker, never on the poster's thread, in posting
// order on one worker; a throwing task does not end its worker; stop lets the running task
// finish, drops the queued ones uncalled and refuses later posts, also from inside a task.
#include "ruv/com/runtime/dispatcher.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "local_call_support.h"

namespace {

using ruv::com::runtime::Dispatcher;
using zevo::test::ready;

// Sets its promise when destroyed: tells whether a task was destroyed, called or not.
struct Destruction_flag {
    explicit Destruction_flag(std::shared_ptr<std::promise<void>> on_destruction)
        : gone(std::move(on_destruction)) {}
    Destruction_flag(const Destruction_flag&) = default;
    ~Destruction_flag() {
        if (gone.use_count() == 1) {
            gone->set_value();
        }
    }
    std::shared_ptr<std::promise<void>> gone;
};

TEST(Dispatcher, runs_a_task_on_a_worker_not_on_the_posting_thread) {
    Dispatcher sut{2};
    std::promise<std::thread::id> ran;
    auto where = ran.get_future();
    ASSERT_TRUE(sut.post([&ran, &sut] {
        EXPECT_TRUE(sut.runs_on_worker());
        ran.set_value(std::this_thread::get_id());
    }));
    ASSERT_TRUE(ready(where));
    EXPECT_NE(where.get(), std::this_thread::get_id());
    EXPECT_FALSE(sut.runs_on_worker());
}

TEST(Dispatcher, one_worker_runs_tasks_in_posting_order) {
    Dispatcher sut{1};
    std::vector<int> order;
    std::promise<void> done;
    auto finished = done.get_future();
    for (int index = 0; index < 100; ++index) {
        sut.post([&order, index] { order.push_back(index); });
    }
    sut.post([&done] { done.set_value(); });
    ASSERT_TRUE(ready(finished));
    ASSERT_EQ(order.size(), 100U);
    for (int index = 0; index < 100; ++index) {
        EXPECT_EQ(order[static_cast<std::size_t>(index)], index);
    }
}

TEST(Dispatcher, a_throwing_task_leaves_its_worker_running) {
    Dispatcher sut{1};
    sut.post([] { throw std::runtime_error("task failure"); });
    sut.post([] { throw 42; });
    std::promise<void> after;
    auto ran = after.get_future();
    sut.post([&after] { after.set_value(); });
    EXPECT_TRUE(ready(ran));
}

TEST(Dispatcher, stop_waits_for_the_running_task_and_drops_the_queued_ones_uncalled) {
    Dispatcher sut{1};
    std::promise<void> started;
    std::promise<void> release;
    auto running = started.get_future();
    auto go_on = release.get_future().share();
    std::atomic<bool> first_finished{false};
    sut.post([&started, go_on, &first_finished] {
        started.set_value();
        go_on.wait();
        first_finished = true;
    });
    ASSERT_TRUE(ready(running));
    std::atomic<int> queued_calls{0};
    auto dropped = std::make_shared<std::promise<void>>();
    auto dropped_future = dropped->get_future();
    sut.post([&queued_calls, flag = Destruction_flag{std::move(dropped)}] { ++queued_calls; });
    std::thread stopper{[&sut] { sut.stop(); }};
    // Posting succeeds until the stopper has closed the queue; whatever got in is dropped too.
    while (sut.post([&queued_calls] { ++queued_calls; })) {
        std::this_thread::yield();
    }
    EXPECT_FALSE(first_finished) << "stop waits for the running task";
    release.set_value();
    stopper.join();
    EXPECT_TRUE(first_finished);
    EXPECT_EQ(queued_calls, 0);
    EXPECT_TRUE(ready(dropped_future, std::chrono::milliseconds{0}));
}

TEST(Dispatcher, post_after_stop_is_refused_and_the_task_destroyed_before_the_return) {
    Dispatcher sut{2};
    sut.stop();
    auto gone = std::make_shared<std::promise<void>>();
    auto destroyed = gone->get_future();
    bool called = false;
    EXPECT_FALSE(sut.post([&called, flag = Destruction_flag{std::move(gone)}] { called = true; }));
    EXPECT_TRUE(ready(destroyed, std::chrono::milliseconds{0}));
    EXPECT_FALSE(called);
}

TEST(Dispatcher, a_task_may_stop_its_own_dispatcher) {
    auto sut = std::make_shared<Dispatcher>(2);
    std::promise<bool> stopped;
    auto result = stopped.get_future();
    sut->post([sut, &stopped] {
        sut->stop();
        stopped.set_value(sut->post([] {}));
    });
    ASSERT_TRUE(ready(result));
    EXPECT_FALSE(result.get());
    sut->stop();  // a second stop returns at once
}

TEST(Dispatcher, runs_tasks_posted_from_many_threads_exactly_once) {
    Dispatcher sut{3};
    constexpr int threads = 6;
    constexpr int per_thread = 500;
    std::atomic<int> runs{0};
    std::promise<void> all;
    auto all_ran = all.get_future();
    std::vector<std::thread> posters;
    for (int thread = 0; thread < threads; ++thread) {
        posters.emplace_back([&] {
            for (int index = 0; index < per_thread; ++index) {
                sut.post([&] {
                    if (runs.fetch_add(1) + 1 == threads * per_thread) {
                        all.set_value();
                    }
                });
            }
        });
    }
    for (auto& poster : posters) {
        poster.join();
    }
    ASSERT_TRUE(ready(all_ran));
    EXPECT_EQ(runs, threads * per_thread);
}

TEST(Dispatcher, has_at_least_one_worker) {
    Dispatcher sut{0};
    EXPECT_EQ(sut.thread_count(), 1U);
    std::promise<void> ran;
    auto done = ran.get_future();
    sut.post([&ran] { ran.set_value(); });
    EXPECT_TRUE(ready(done));
}

}  // namespace

// A task deferred from a worker runs on that worker right after the task that deferred it, ahead
// of what was queued before, and the other workers are not woken for it.
TEST(Dispatcher, a_deferred_task_runs_on_the_deferring_worker_right_after_its_task) {
    Dispatcher sut{2};
    std::vector<std::string> order;  // written by the deferring worker only, read after `done`
    std::promise<void> done;
    auto finished = done.get_future();
    std::promise<std::thread::id> deferring_thread;
    auto deferring = deferring_thread.get_future();
    std::promise<std::thread::id> deferred_thread;
    auto deferred = deferred_thread.get_future();
    ASSERT_TRUE(sut.post([&] {
        deferring_thread.set_value(std::this_thread::get_id());
        ASSERT_TRUE(sut.defer([&] {
            order.push_back("deferred");
            deferred_thread.set_value(std::this_thread::get_id());
            done.set_value();
        }));
        order.push_back("deferring task returns");
    }));
    ASSERT_TRUE(ready(finished));
    ASSERT_EQ(order.size(), 2U);
    EXPECT_EQ(order[0], "deferring task returns");
    EXPECT_EQ(order[1], "deferred");
    EXPECT_EQ(deferring.get(), deferred.get());
}

TEST(Dispatcher, a_deferred_task_goes_before_the_tasks_queued_while_its_deferrer_ran) {
    Dispatcher sut{1};
    std::vector<int> order;
    std::promise<void> done;
    auto finished = done.get_future();
    ASSERT_TRUE(sut.post([&] {
        ASSERT_TRUE(sut.post([&order, &done] {
            order.push_back(2);
            done.set_value();
        }));
        ASSERT_TRUE(sut.defer([&order] { order.push_back(1); }));
    }));
    ASSERT_TRUE(ready(finished));
    EXPECT_EQ(order, (std::vector<int>{1, 2}));
}

TEST(Dispatcher, defer_from_a_thread_that_is_no_worker_posts) {
    Dispatcher sut{1};
    std::promise<std::thread::id> ran;
    auto where = ran.get_future();
    ASSERT_TRUE(sut.defer([&ran] { ran.set_value(std::this_thread::get_id()); }));
    ASSERT_TRUE(ready(where));
    EXPECT_NE(where.get(), std::this_thread::get_id());
}

TEST(Dispatcher, defer_after_stop_is_refused_and_the_task_destroyed_before_the_return) {
    Dispatcher sut{1};
    sut.stop();
    auto gone = std::make_shared<std::promise<void>>();
    auto destroyed = gone->get_future();
    bool called = false;
    EXPECT_FALSE(sut.defer([&called, flag = Destruction_flag{std::move(gone)}] { called = true; }));
    EXPECT_TRUE(ready(destroyed, std::chrono::milliseconds{0}));
    EXPECT_FALSE(called);
}

TEST(Dispatcher, a_task_deferred_by_a_task_that_stops_the_dispatcher_is_dropped_uncalled) {
    auto sut = std::make_shared<Dispatcher>(1);
    auto gone = std::make_shared<std::promise<void>>();
    auto destroyed = gone->get_future();
    std::atomic<bool> called{false};
    ASSERT_TRUE(sut->post([sut, &called, flag = Destruction_flag{std::move(gone)}]() mutable {
        ASSERT_TRUE(sut->defer([&called, flag = std::move(flag)] { called = true; }));
        sut->stop();
    }));
    ASSERT_TRUE(ready(destroyed));
    EXPECT_FALSE(called);
}

namespace {

TEST(Dispatcher, run_here_runs_the_task_on_the_calling_thread_before_the_return) {
    Dispatcher sut{1};
    std::thread::id where;
    EXPECT_TRUE(sut.run_here([&where] { where = std::this_thread::get_id(); }));
    EXPECT_EQ(where, std::this_thread::get_id());
}

TEST(Dispatcher, run_here_keeps_what_the_task_throws_from_the_calling_thread) {
    Dispatcher sut{1};
    EXPECT_TRUE(sut.run_here([] { throw std::runtime_error("handler failure"); }));
    EXPECT_TRUE(sut.run_here([] { throw 42; }));
}

TEST(Dispatcher, run_here_after_stop_is_refused_and_the_task_destroyed_before_the_return) {
    Dispatcher sut{1};
    sut.stop();
    auto gone = std::make_shared<std::promise<void>>();
    auto destroyed = gone->get_future();
    bool called = false;
    EXPECT_FALSE(sut.run_here([&called, flag = Destruction_flag{std::move(gone)}] { called = true; }));
    EXPECT_TRUE(ready(destroyed, std::chrono::milliseconds{0}));
    EXPECT_FALSE(called);
}

}  // namespace

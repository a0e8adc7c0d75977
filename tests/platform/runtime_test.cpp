// The process-wide runtime: one object, made on first use, whose threads are stopped at exit
// before the statics made ahead of it are destroyed, with calls still pending and without a
// hang; and a runtime of a test's own that shuts down from its own thread.
#include "ruv/com/runtime/runtime.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <future>
#include <memory>
#include <thread>
#include <utility>

#include "local_call_support.h"
#include "ruv/com/local/provider_registry.h"

namespace {

using ruv::com::runtime::Runtime;
using zevo::test::ready;

TEST(Runtime, process_runtime_is_one_object) {
    const auto first = Runtime::process();
    const auto second = Runtime::process();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first, second);
    EXPECT_EQ(first->dispatcher().thread_count(), ruv::com::runtime::Runtime_options{}.worker_threads);
}

// Checks, while the statics are destroyed at exit, that the process runtime's dispatcher has
// stopped by then: it was made before the runtime, so it is destroyed after it.
struct Runtime_stopped_at_exit {
    ~Runtime_stopped_at_exit() {
        if (Runtime::process()->dispatcher().post([] {})) {
            std::_Exit(3);  // still running during static destruction
        }
    }
};

void exit_with_calls_pending_and_a_watch() {
    static Runtime_stopped_at_exit check;
    static_cast<void>(check);
    auto& registry = ruv::com::local::Provider_registry::process();
    static zevo::test::Call_inbox inbox;  // keeps every Reply unanswered
    static auto offer = registry.offer(zevo::test::routine_name, "1", inbox.handler());
    static auto watch = registry.watch(zevo::test::routine_name, "1", [](auto) {});
    static auto port = zevo::test::port_of(offer);
    for (int index = 0; index < 3; ++index) {
        zevo::test::Handler_probe probe;
        port->call_method(1, zevo::test::payload_of({1, 2}), probe.handler());
    }
    if (!inbox.next() || !inbox.next() || !inbox.next()) {
        std::_Exit(4);
    }
    std::exit(0);
}

TEST(Runtime_death, process_exits_cleanly_with_calls_pending_and_threads_stopped_first) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(exit_with_calls_pending_and_a_watch(), testing::ExitedWithCode(0), "");
}

TEST(Runtime, shutdown_is_idempotent_and_refuses_later_work) {
    Runtime sut{ruv::com::runtime::Runtime_options{1}};
    sut.shutdown();
    sut.shutdown();
    EXPECT_FALSE(sut.dispatcher().post([] {}));
    EXPECT_EQ(sut.timer().schedule(ruv::com::runtime::Request_timer::Clock::now(), [] {}).sequence, 0U);
}

TEST(Runtime, last_reference_dropped_on_its_own_worker_ends_it_there) {
    std::promise<std::thread::id> destroyed;
    auto destroyed_on = destroyed.get_future();
    std::shared_ptr<Runtime> sut{new Runtime, [&destroyed](Runtime* runtime) {
                                     delete runtime;  // stops the timer, detaches this worker
                                     destroyed.set_value(std::this_thread::get_id());
                                 }};
    std::promise<std::thread::id> ran;
    auto ran_on = ran.get_future();
    std::promise<void> released;
    auto test_released = released.get_future();
    sut->dispatcher().post([owned = sut, &ran, &test_released] {
        test_released.wait();
        ran.set_value(std::this_thread::get_id());
    });
    sut.reset();  // the task's closure holds the last reference now
    released.set_value();
    ASSERT_TRUE(ready(ran_on));
    ASSERT_TRUE(ready(destroyed_on));
    EXPECT_EQ(destroyed_on.get(), ran_on.get());
}

}  // namespace

// The platform's component singleton: one object, one service finder and one thread pool
// factory for the process; the factory's default pool (0), its slot order (the destructor pair,
// then get_thread_pool, called through the raw virtual table), and a strand that runs on it.
#include "ruv/com/runtime/component_singleton.h"

#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <stdexcept>
#include <thread>
#include <type_traits>
#include <vector>

#include "ruv/com/static_thread_pool.h"
#include "ruv/com/strand.h"
#include "strand_test_support.h"

namespace {

using ruv::com::static_thread_pool;
using ruv::com::Strand;
using ruv::com::runtime::Component_singleton;
using ruv::com::runtime::Thread_pool_factory;
using zevo::test::Bounded_thread;
using zevo::test::strand_bound;

static_assert(std::is_polymorphic_v<Thread_pool_factory>);
static_assert(std::is_abstract_v<Thread_pool_factory>);
static_assert(std::has_virtual_destructor_v<Thread_pool_factory>);
static_assert(!std::is_copy_constructible_v<Component_singleton>);

TEST(Component_singleton, is_one_object_with_one_finder_and_one_factory) {
    Component_singleton& sut = Component_singleton::instance();
    EXPECT_EQ(&sut, &Component_singleton::instance());
    ASSERT_NE(sut.get_service_finder(), nullptr);
    ASSERT_NE(sut.get_thread_pool_factory(), nullptr);
    EXPECT_EQ(sut.get_service_finder(), sut.get_service_finder());
    EXPECT_EQ(sut.get_thread_pool_factory(), sut.get_thread_pool_factory());
}

TEST(Component_singleton, first_calls_from_many_threads_meet_the_same_object) {
    std::promise<void> go;
    auto started = go.get_future().share();
    std::vector<Component_singleton*> seen(4, nullptr);
    {
        std::vector<std::unique_ptr<Bounded_thread>> threads;
        for (std::size_t index = 0; index < seen.size(); ++index) {
            threads.push_back(std::make_unique<Bounded_thread>([&seen, started, index] {
                started.wait();
                seen[index] = &Component_singleton::instance();
            }));
        }
        go.set_value();
    }
    for (Component_singleton* one : seen) {
        EXPECT_EQ(one, &Component_singleton::instance());
    }
}

TEST(Thread_pool_factory, pool_0_is_the_open_default_pool_with_a_few_workers) {
    auto sut = Component_singleton::instance().get_thread_pool_factory();
    static_thread_pool* const pool = sut->get_thread_pool(0);
    ASSERT_NE(pool, nullptr);
    EXPECT_EQ(pool, sut->get_thread_pool(0));
    EXPECT_EQ(pool->pool_state.load(), static_thread_pool::open_state);
    EXPECT_EQ(pool->thread_count(), 4u);
}

TEST(Thread_pool_factory, other_pool_numbers_are_refused) {
    auto sut = Component_singleton::instance().get_thread_pool_factory();
    try {
        sut->get_thread_pool(1);
        ADD_FAILURE() << "no exception";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "Thread_pool_factory::get_thread_pool: unknown pool");
    }
}

using Slot = void (*)();
using Get_thread_pool_slot = static_thread_pool* (*)(Thread_pool_factory*, unsigned long);
constexpr std::size_t get_thread_pool_index = 2;

TEST(Thread_pool_factory, third_slot_is_get_thread_pool) {
    auto sut = Component_singleton::instance().get_thread_pool_factory();
    Slot const* const table = *reinterpret_cast<Slot const* const*>(sut.get());
    const auto call = reinterpret_cast<Get_thread_pool_slot>(table[get_thread_pool_index]);
    EXPECT_EQ(call(sut.get(), 0), sut->get_thread_pool(0));
}

TEST(Thread_pool_factory, strand_on_the_default_pool_runs_its_tasks_in_order_on_pool_threads) {
    auto factory = Component_singleton::instance().get_thread_pool_factory();
    auto sut = std::make_shared<Strand>(factory->get_thread_pool(0));
    factory.reset();  // the pool is not owned through the factory
    std::vector<int> order;
    std::vector<std::thread::id> threads;
    std::promise<void> last;
    for (int index = 0; index < 20; ++index) {
        sut->internal_post([&order, &threads, index] {
            order.push_back(index);
            threads.push_back(std::this_thread::get_id());
        });
    }
    sut->internal_post([&last] { last.set_value(); });
    ASSERT_EQ(last.get_future().wait_for(strand_bound), std::future_status::ready);
    sut->stop_wait();
    ASSERT_EQ(order.size(), 20u);
    for (int index = 0; index < 20; ++index) {
        EXPECT_EQ(order[static_cast<std::size_t>(index)], index);
        EXPECT_NE(threads[static_cast<std::size_t>(index)], std::this_thread::get_id());
    }
}

}  // namespace

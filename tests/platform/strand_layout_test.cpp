// The strand and the thread pool as code compiled elsewhere reads them: the fields of both in
// their order at their offsets (neither is standard-layout, so the offsets are measured on an
// object and read back through raw memory), and the strand's virtual slots: the destructor
// pair, then running_in_this_thread, called here through the raw virtual table.
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <functional>
#include <mutex>
#include <type_traits>

#include "ruv/com/static_thread_pool.h"
#include "ruv/com/strand.h"
#include "ruv/com/task_dispatcher.h"

namespace {

using ruv::com::static_thread_pool;
using ruv::com::Strand;
using ruv::com::Task_dispatcher;
using Task_queue = std::deque<std::function<void()>>;

static_assert(std::is_same_v<decltype(static_thread_pool::outstanding_work), std::atomic<std::uint32_t>>);
static_assert(std::is_same_v<decltype(static_thread_pool::pool_state), std::atomic<std::uint8_t>>);
static_assert(std::is_same_v<decltype(static_thread_pool::mutex), std::mutex>);
static_assert(std::is_same_v<decltype(static_thread_pool::tasks), Task_queue>);
static_assert(std::is_same_v<decltype(static_thread_pool::wakeup), std::condition_variable>);
static_assert(std::atomic<std::uint32_t>::is_always_lock_free);
static_assert(std::atomic<std::uint8_t>::is_always_lock_free);
static_assert(sizeof(std::atomic<std::uint32_t>) == 4 && sizeof(std::atomic<std::uint8_t>) == 1);
static_assert(static_thread_pool::closed_state == 2);

static_assert(std::is_polymorphic_v<Task_dispatcher>);
static_assert(std::is_abstract_v<Task_dispatcher>);
static_assert(std::has_virtual_destructor_v<Task_dispatcher>);
static_assert(std::is_base_of_v<kel::com::Interface, Task_dispatcher>);
static_assert(std::is_convertible_v<Task_dispatcher*, kel::com::Interface*>, "a public base");
static_assert(std::is_base_of_v<Task_dispatcher, Strand>);
static_assert(!std::is_convertible_v<Strand*, Task_dispatcher*>, "the base is not public");
static_assert(std::is_same_v<decltype(Strand::pool), static_thread_pool*>);
static_assert(std::is_same_v<decltype(Strand::mutex), std::mutex>);
static_assert(std::is_same_v<decltype(Strand::state), std::uint8_t>);
static_assert(std::is_same_v<decltype(Strand::pending), std::uint32_t>);
static_assert(std::is_same_v<decltype(Strand::idle), std::condition_variable>);
static_assert(std::is_same_v<decltype(Strand::running_thread), pthread_t>);
static_assert(std::is_same_v<decltype(Strand::tasks), Task_queue>);
static_assert(std::is_nothrow_destructible_v<Strand>);
static_assert(sizeof(Strand) == 200, "the 64-bit layout: 8 + 8 + 40 + 1 + 3 + 4 + 48 + 8 + 80");

template <class Object, class Field>
std::size_t offset_in(const Object& object, const Field& field) {
    return static_cast<std::size_t>(reinterpret_cast<const unsigned char*>(&field) -
                                    reinterpret_cast<const unsigned char*>(&object));
}

TEST(Static_thread_pool_layout, first_five_fields_in_order_at_their_64_bit_offsets) {
    static_thread_pool sut{0};
    EXPECT_EQ(offset_in(sut, sut.outstanding_work), 0u);
    EXPECT_EQ(offset_in(sut, sut.pool_state), 4u);
    EXPECT_EQ(offset_in(sut, sut.mutex), 8u);
    EXPECT_EQ(offset_in(sut, sut.tasks), 8u + sizeof(std::mutex));
    EXPECT_EQ(offset_in(sut, sut.wakeup), 8u + sizeof(std::mutex) + sizeof(Task_queue));
    EXPECT_EQ(sizeof(std::mutex), 40u);
    EXPECT_EQ(sizeof(Task_queue), 80u);
}

TEST(Static_thread_pool_layout, counters_read_through_raw_memory) {
    static_thread_pool sut{0};
    sut.outstanding_work.store(0x01020304U);
    sut.close();
    const auto* raw = reinterpret_cast<const unsigned char*>(&sut);
    std::uint32_t work = 0;
    std::memcpy(&work, raw, sizeof work);
    EXPECT_EQ(work, 0x01020304U);
    EXPECT_EQ(raw[4], 2);
    sut.outstanding_work.store(0);
}

TEST(Strand_layout, fields_in_order_behind_the_virtual_table_pointer) {
    static_thread_pool pool{0};
    Strand sut{&pool};
    EXPECT_EQ(offset_in(sut, sut.pool), 8u);
    EXPECT_EQ(offset_in(sut, sut.mutex), 16u);
    EXPECT_EQ(offset_in(sut, sut.state), 56u);
    EXPECT_EQ(offset_in(sut, sut.pending), 60u);
    EXPECT_EQ(offset_in(sut, sut.idle), 64u);
    EXPECT_EQ(offset_in(sut, sut.running_thread), 112u);
    EXPECT_EQ(offset_in(sut, sut.tasks), 120u);
}

TEST(Strand_layout, fields_read_through_raw_memory) {
    static_thread_pool pool{0};
    Strand sut{&pool};
    sut.internal_post([] {});
    sut.internal_post([] {});
    const auto* raw = reinterpret_cast<const unsigned char*>(&sut);
    static_thread_pool* read_pool = nullptr;
    std::uint32_t read_pending = 0;
    std::memcpy(&read_pool, raw + 8, sizeof read_pool);
    std::memcpy(&read_pending, raw + 60, sizeof read_pending);
    EXPECT_EQ(read_pool, &pool);
    EXPECT_EQ(raw[56], 0);
    EXPECT_EQ(read_pending, 2u);
    EXPECT_TRUE(pool.run_one());
}

TEST(Strand_layout, new_strand_is_running_empty_and_on_no_thread) {
    static_thread_pool pool{0};
    const Strand sut{&pool};
    EXPECT_EQ(sut.pool, &pool);
    EXPECT_EQ(sut.state, 0);
    EXPECT_EQ(sut.pending, 0u);
    EXPECT_EQ(sut.running_thread, pthread_t{});
    EXPECT_TRUE(sut.tasks.empty());
}

using Slot = void (*)();
using Running_in_this_thread_slot = bool (*)(const void*);
constexpr std::size_t running_in_this_thread_index = 2;

bool call_third_slot(const Strand& strand) {
    // The Task_dispatcher base sits at the strand's address: its table pointer is the first word.
    Slot const* const table = *reinterpret_cast<Slot const* const*>(&strand);
    const auto slot = reinterpret_cast<Running_in_this_thread_slot>(table[running_in_this_thread_index]);
    return slot(&strand);
}

TEST(Strand_slots, third_slot_is_running_in_this_thread) {
    static_thread_pool pool{0};
    Strand sut{&pool};
    bool inside = false;
    pthread_t seen{};
    sut.internal_post([&] {
        inside = call_third_slot(sut);
        seen = sut.running_thread;
    });
    EXPECT_FALSE(call_third_slot(sut));
    EXPECT_TRUE(pool.run_one());
    EXPECT_TRUE(inside);
    EXPECT_NE(pthread_equal(seen, pthread_self()), 0);
    EXPECT_FALSE(call_third_slot(sut));
    EXPECT_EQ(sut.running_thread, pthread_t{});
}

}  // namespace

// The local binding under load, for the thread sanitizer above all: many threads calling at
// once, answers racing with time-outs, and a withdrawal racing with calls; every call ends
// exactly once, by one handler call or, for none of these, by its destruction.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <future>
#include <memory>
#include <thread>
#include <vector>

#include "local_call_support.h"
#include "ruv/com/local/provider_registry.h"
#include "ruv/com/runtime/runtime.h"

namespace {

using namespace std::chrono_literals;
using kel::com::runtime::Serialized_payload;
using ruv::com::local::Provider_registry;
using ruv::com::local::Registry_options;
using ruv::com::local::Reply;
using ruv::com::runtime::Runtime;
using zevo::test::payload_of;
using zevo::test::port_of;
using zevo::test::ready;
using zevo::test::routine_name;

using Bytes = std::vector<std::uint8_t>;

// Counts the ends of many calls: handler calls by return code, and closures destroyed.
class Call_tally {
public:
    explicit Call_tally(int expected) : expected_(expected) {}

    ruv::com::runtime::Service_binding::Response_handler handler(Bytes expected_echo) {
        auto once = std::make_shared<End_of_one>(this);
        return [once, echo = std::move(expected_echo)](unsigned char code, Serialized_payload payload) {
            if (once->calls.fetch_add(1) != 0) {
                once->tally->twice.fetch_add(1);
            }
            if (code == 0 && zevo::test::bytes_of(payload) != echo) {
                once->tally->wrong.fetch_add(1);
            }
            once->tally->by_code[code].fetch_add(1);
        };
    }

    bool all_ended() { return ready(all_gone_); }

    std::atomic<int> by_code[256] = {};
    std::atomic<int> twice{0};
    std::atomic<int> wrong{0};
    std::atomic<int> uncalled{0};

private:
    struct End_of_one {
        explicit End_of_one(Call_tally* owner) : tally(owner) {}
        ~End_of_one() {
            if (calls.load() == 0) {
                tally->uncalled.fetch_add(1);
            }
            if (tally->ended_.fetch_add(1) + 1 == tally->expected_) {
                tally->all_gone.set_value();
            }
        }
        Call_tally* tally;
        std::atomic<int> calls{0};
    };

    const int expected_;
    std::atomic<int> ended_{0};
    std::promise<void> all_gone;
    std::future<void> all_gone_ = all_gone.get_future();
};

void echo(std::uint16_t, Bytes request, Reply reply) { reply.answer(0, std::move(request)); }

Bytes request_of(int thread, int index) {
    return {static_cast<std::uint8_t>(thread), static_cast<std::uint8_t>(index),
            static_cast<std::uint8_t>(index >> 8)};
}

TEST(Local_binding_concurrency, many_threads_calling_at_once_each_get_their_own_answer) {
    constexpr int threads = 8;
    constexpr int per_thread = 250;
    auto runtime = std::make_shared<Runtime>(ruv::com::runtime::Runtime_options{3});
    Provider_registry registry{Registry_options{10s, runtime}};
    auto offer = registry.offer(routine_name, "1", echo);
    auto port = port_of(offer);
    Call_tally tally{threads * per_thread};
    std::vector<std::thread> callers;
    for (int thread = 0; thread < threads; ++thread) {
        callers.emplace_back([&, thread] {
            for (int index = 0; index < per_thread; ++index) {
                port->call_method(1, payload_of(request_of(thread, index)), tally.handler(request_of(thread, index)));
            }
        });
    }
    for (auto& caller : callers) {
        caller.join();
    }
    ASSERT_TRUE(tally.all_ended());
    EXPECT_EQ(tally.by_code[0], threads * per_thread);
    EXPECT_EQ(tally.twice, 0);
    EXPECT_EQ(tally.wrong, 0);
    EXPECT_EQ(tally.uncalled, 0);
    EXPECT_EQ(offer.pending_calls(), 0U);
}

TEST(Local_binding_concurrency, answers_racing_with_timeouts_end_each_call_once) {
    constexpr int calls = 600;
    auto runtime = std::make_shared<Runtime>();
    Provider_registry registry{Registry_options{1ms, runtime}};
    zevo::test::Call_inbox inbox;
    auto offer = registry.offer(routine_name, "1", inbox.handler());
    auto port = port_of(offer);
    Call_tally tally{calls};
    std::thread answerer{[&inbox] {
        for (int index = 0; index < calls; ++index) {
            auto call = inbox.next();
            if (!call) {
                return;
            }
            call->reply.answer(0, std::move(call->request));
        }
    }};
    for (int index = 0; index < calls; ++index) {
        port->call_method(1, payload_of(request_of(0, index)), tally.handler(request_of(0, index)));
    }
    answerer.join();
    ASSERT_TRUE(tally.all_ended());
    EXPECT_EQ(tally.by_code[0] + tally.by_code[0x86], calls);
    EXPECT_EQ(tally.twice, 0);
    EXPECT_EQ(tally.wrong, 0);
    EXPECT_EQ(tally.uncalled, 0);
    EXPECT_EQ(runtime->timer().waiting(), 0U);
}

TEST(Local_binding_concurrency, withdrawal_racing_with_calls_ends_each_call_once) {
    constexpr int threads = 4;
    constexpr int per_thread = 200;
    auto runtime = std::make_shared<Runtime>();
    Provider_registry registry{Registry_options{10s, runtime}};
    zevo::test::Call_inbox inbox;  // answers nothing: withdrawal ends what is still pending
    auto offer = registry.offer(routine_name, "1", inbox.handler());
    auto port = port_of(offer);
    Call_tally tally{threads * per_thread};
    std::promise<void> go;
    std::shared_future<void> start = go.get_future().share();
    std::vector<std::thread> callers;
    for (int thread = 0; thread < threads; ++thread) {
        callers.emplace_back([&, thread] {
            start.wait();
            for (int index = 0; index < per_thread; ++index) {
                port->call_method(1, payload_of(request_of(thread, index)), tally.handler({}));
            }
        });
    }
    go.set_value();
    offer.withdraw();
    for (auto& caller : callers) {
        caller.join();
    }
    ASSERT_TRUE(tally.all_ended());
    EXPECT_EQ(tally.by_code[0xFF], threads * per_thread);
    EXPECT_EQ(tally.twice, 0);
    EXPECT_EQ(tally.uncalled, 0);
    EXPECT_NE(port->service->state.load(), 2);
}

TEST(Local_binding_concurrency, offers_and_withdrawals_from_many_threads_reach_listeners_in_order) {
    constexpr int threads = 4;
    constexpr int rounds = 50;
    auto runtime = std::make_shared<Runtime>(ruv::com::runtime::Runtime_options{3});
    Provider_registry registry{Registry_options{10s, runtime}};
    std::atomic<int> inside{0};
    std::atomic<int> overlaps{0};
    std::mutex mutex;
    std::size_t last_size = 0;
    int notifications = 0;
    auto watch = registry.watch(routine_name, "1", [&](std::vector<kel::com::runtime::Service_handle> services) {
        if (inside.fetch_add(1) != 0) {
            overlaps.fetch_add(1);
        }
        {
            std::lock_guard<std::mutex> lock(mutex);
            last_size = services.size();
            ++notifications;
        }
        inside.fetch_sub(1);
    });
    std::vector<std::thread> providers;
    for (int thread = 0; thread < threads; ++thread) {
        providers.emplace_back([&registry] {
            for (int round = 0; round < rounds; ++round) {
                auto offer = registry.offer(routine_name, "1", echo);
            }  // each offer is withdrawn at once
        });
    }
    for (auto& provider : providers) {
        provider.join();
    }
    auto kept = registry.offer(routine_name, "1", echo);  // the last change: one service left
    std::promise<void> drained;
    auto done = drained.get_future();
    auto witness = registry.watch(routine_name, "1", [&drained](auto) { drained.set_value(); });
    ASSERT_TRUE(ready(done));  // told after every change above
    EXPECT_EQ(overlaps, 0);
    std::lock_guard<std::mutex> lock(mutex);
    EXPECT_EQ(notifications, 1 + 2 * threads * rounds + 1);
    EXPECT_EQ(last_size, 1U);
}

}  // namespace

// The in-process binding seen through a port: a provider receives each call with its method id
// and bytes on a runtime thread and answers through its Reply, now or later, once; the runtime
// answers 0x86 when nobody does in time and 0xFF when the service is withdrawn; a dropped call
// destroys its handler uncalled; and no handler ever runs on the caller's thread.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <future>
#include <initializer_list>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include "kel/com/runtime/method_call.h"
#include "local_call_support.h"
#include "proxy/future.h"
#include "proxy/promise.h"
#include "ruv/com/cpp_binding/proxy/rport.h"
#include "ruv/com/local/provider_registry.h"
#include "ruv/com/runtime/return_code.h"
#include "ruv/com/runtime/runtime.h"

namespace {

using namespace std::chrono_literals;
using kel::com::runtime::Method_call;
using kel::com::runtime::Serialized_payload;
using ruv::com::local::Offer;
using ruv::com::local::Provider_registry;
using ruv::com::local::Registry_options;
using ruv::com::local::Reply;
using ruv::com::runtime::Runtime;
using zevo::test::Call_inbox;
using zevo::test::Handler_probe;
using zevo::test::not_ready_now;
using zevo::test::payload_of;
using zevo::test::port_of;
using zevo::test::ready;
using zevo::test::routine_name;

using Bytes = std::vector<std::uint8_t>;

constexpr auto short_timeout = 50ms;

// A provider that lets every call go: each Reply is dropped at the end of the handler.
void drop_every_call(std::uint16_t, Bytes, Reply) {}

class Local_binding : public testing::Test {
protected:
    // Joins the runtime's threads before the fixture goes: nothing of a test runs after it.
    ~Local_binding() override { runtime->shutdown(); }

    std::shared_ptr<Runtime> runtime = std::make_shared<Runtime>();
    Provider_registry registry{Registry_options{10s, runtime}};
};

TEST_F(Local_binding, provider_gets_method_id_and_request_bytes_on_a_runtime_thread) {
    Call_inbox inbox;
    auto offer = registry.offer(routine_name, "1", inbox.handler());
    auto port = port_of(offer);
    Handler_probe probe;
    port->call_method(3, payload_of({0x00, 0x00, 0x00, 0x00, 0x42}), probe.handler());
    auto call = inbox.next();
    ASSERT_TRUE(call);
    EXPECT_EQ(call->method_id, 3);
    EXPECT_EQ(call->request, (Bytes{0x00, 0x00, 0x00, 0x00, 0x42}));
    EXPECT_NE(call->thread, std::this_thread::get_id());
    EXPECT_TRUE(call->reply.outstanding());
}

TEST_F(Local_binding, answer_reaches_the_handler_on_a_runtime_thread_not_the_callers) {
    std::thread::id provider_thread;
    auto offer = registry.offer(routine_name, "1", [&provider_thread](std::uint16_t, Bytes request, Reply reply) {
        provider_thread = std::this_thread::get_id();
        reply.answer(0, std::move(request));  // answered at once, inside the provider
    });
    auto port = port_of(offer);
    Handler_probe probe;
    port->call_method(1, payload_of({9, 8, 7}), probe.handler());
    ASSERT_TRUE(ready(probe.response));
    const auto response = probe.response.get();
    EXPECT_EQ(response.code, 0);
    EXPECT_EQ(response.bytes, (Bytes{9, 8, 7}));
    EXPECT_EQ(response.header_word, 0U);
    EXPECT_NE(response.thread, std::this_thread::get_id());
    EXPECT_NE(provider_thread, std::this_thread::get_id());
}

TEST_F(Local_binding, late_answer_from_another_thread_reaches_the_handler) {
    Call_inbox inbox;
    auto offer = registry.offer(routine_name, "1", inbox.handler());
    auto port = port_of(offer);
    Handler_probe probe;
    port->call_method(2, payload_of({}), probe.handler());
    auto call = inbox.next();
    ASSERT_TRUE(call);
    EXPECT_TRUE(not_ready_now(probe.response));
    std::thread late{[reply = call->reply]() mutable { EXPECT_TRUE(reply.answer(2, {0x31})); }};
    late.join();
    ASSERT_TRUE(ready(probe.response));
    const auto response = probe.response.get();
    EXPECT_EQ(response.code, 2);
    EXPECT_EQ(response.bytes, (Bytes{0x31}));
    EXPECT_NE(response.thread, std::this_thread::get_id());
}

TEST_F(Local_binding, second_answer_is_ignored) {
    Call_inbox inbox;
    auto offer = registry.offer(routine_name, "1", inbox.handler());
    auto port = port_of(offer);
    Handler_probe probe;
    port->call_method(2, payload_of({}), probe.handler());
    auto call = inbox.next();
    ASSERT_TRUE(call);
    EXPECT_TRUE(call->reply.answer(0, {1}));
    EXPECT_FALSE(call->reply.answer(0x81, {2}));
    EXPECT_FALSE(call->reply.outstanding());
    ASSERT_TRUE(ready(probe.destroyed));  // called once, then destroyed by the runtime
    EXPECT_EQ(*probe.calls, 1);
    const auto response = probe.response.get();
    EXPECT_EQ(response.code, 0);
    EXPECT_EQ(response.bytes, (Bytes{1}));
}

TEST_F(Local_binding, unanswered_call_is_answered_0x86_after_the_request_timeout) {
    registry.set_request_timeout(short_timeout);
    Call_inbox inbox;
    auto offer = registry.offer(routine_name, "1", inbox.handler());
    auto port = port_of(offer);
    Handler_probe probe;
    const auto sent = std::chrono::steady_clock::now();
    port->call_method(1, payload_of({}), probe.handler());
    auto call = inbox.next();
    ASSERT_TRUE(call);
    ASSERT_TRUE(ready(probe.response));
    const auto waited = std::chrono::steady_clock::now() - sent;
    const auto response = probe.response.get();
    EXPECT_EQ(response.code, 0x86);
    EXPECT_TRUE(response.bytes.empty());
    EXPECT_GE(waited, short_timeout);
    EXPECT_FALSE(call->reply.outstanding());
    EXPECT_FALSE(call->reply.answer(0, {1})) << "too late: the runtime has answered";
    ASSERT_TRUE(ready(probe.destroyed));
    EXPECT_EQ(*probe.calls, 1);
    EXPECT_EQ(offer.pending_calls(), 0U);
}

TEST_F(Local_binding, request_timeout_defaults_to_ten_seconds_and_applies_to_later_calls) {
    Provider_registry defaults{Registry_options{}};
    EXPECT_EQ(defaults.request_timeout(), 10s);
    EXPECT_EQ(registry.request_timeout(), 10s);
    Call_inbox inbox;
    auto offer = registry.offer(routine_name, "1", inbox.handler());
    auto port = port_of(offer);
    Handler_probe patient;
    port->call_method(1, payload_of({}), patient.handler());
    registry.set_request_timeout(short_timeout);
    EXPECT_EQ(registry.request_timeout(), short_timeout);
    Handler_probe hasty;
    port->call_method(1, payload_of({}), hasty.handler());
    ASSERT_TRUE(ready(hasty.response));
    EXPECT_EQ(hasty.response.get().code, 0x86);
    EXPECT_TRUE(not_ready_now(patient.response)) << "made before the change, it keeps 10 s";
}

TEST_F(Local_binding, dropped_reply_destroys_the_handler_uncalled_and_cancels_the_timeout) {
    registry.set_request_timeout(short_timeout);
    auto offer = registry.offer(routine_name, "1", drop_every_call);
    auto port = port_of(offer);
    Handler_probe probe;
    auto accepted = port->call_method(1, payload_of({}), probe.handler());
    const std::shared_ptr<Method_call> record = accepted.get();
    ASSERT_TRUE(ready(probe.destroyed));
    EXPECT_EQ(*probe.calls, 0);
    EXPECT_THROW(probe.response.get(), std::future_error) << "never called: its promise is broken";
    EXPECT_FALSE(record->outstanding());
    EXPECT_EQ(runtime->timer().waiting(), 0U) << "no 0x86 can come later";
    EXPECT_EQ(offer.pending_calls(), 0U);
}

TEST_F(Local_binding, dropped_call_breaks_the_callers_promise) {
    // The closure's state: the promise goes first, then the flag tells that it has gone. Waiting
    // for the flag keeps the caller from reading the stored error while the runtime thread still
    // releases its side of it (libstdc++ counts exception references where the thread sanitizer
    // cannot see it).
    struct Closure_state {
        std::promise<void> promise_gone;
        std::shared_ptr<kel::com::Promise<void>> promise = std::make_shared<kel::com::Promise<void>>();
        ~Closure_state() {
            promise.reset();
            promise_gone.set_value();
        }
    };
    auto offer = registry.offer(routine_name, "1", drop_every_call);
    auto port = port_of(offer);
    auto state = std::make_shared<Closure_state>();
    kel::com::Future<void> future = state->promise->get_future();
    auto gone = state->promise_gone.get_future();
    port->call_method(1, payload_of({}), [state](unsigned char, Serialized_payload) { state->promise->set_value(); });
    state.reset();
    ASSERT_TRUE(ready(gone));
    ASSERT_EQ(future.wait_for(std::chrono::seconds{0}), std::future_status::ready);
    try {
        future.get();
        FAIL() << "the promise was kept";
    } catch (const std::future_error& error) {
        EXPECT_EQ(error.code(), std::future_errc::broken_promise);
    }
}

TEST_F(Local_binding, withdrawal_answers_every_pending_call_0xff_and_leaves_state_2) {
    Call_inbox inbox;
    auto offer = registry.offer(routine_name, "1", inbox.handler());
    auto port = port_of(offer);
    Handler_probe probes[3];
    for (auto& probe : probes) {
        port->call_method(1, payload_of({1}), probe.handler());
    }
    std::vector<Reply> replies;
    for (int index = 0; index < 3; ++index) {
        auto call = inbox.next();
        ASSERT_TRUE(call);
        replies.push_back(call->reply);
    }
    EXPECT_EQ(port->service->state.load(), 2);
    offer.withdraw();
    EXPECT_NE(port->service->state.load(std::memory_order_acquire), 2);
    for (auto& probe : probes) {
        ASSERT_TRUE(ready(probe.response));
        const auto response = probe.response.get();
        EXPECT_EQ(response.code, 0xFF);
        EXPECT_NE(response.thread, std::this_thread::get_id());
    }
    for (auto& reply : replies) {
        EXPECT_FALSE(reply.answer(0)) << "answers after withdrawal find the call ended";
    }
    EXPECT_FALSE(offer.offered());
}

TEST_F(Local_binding, call_after_withdrawal_is_answered_0xff_without_reaching_the_provider) {
    std::atomic<int> provider_calls{0};
    auto offer = registry.offer(routine_name, "1", [&provider_calls](std::uint16_t, Bytes, Reply reply) {
        ++provider_calls;
        reply.answer(0);
    });
    auto port = port_of(offer);
    offer.withdraw();
    Handler_probe probe;
    port->call_method(1, payload_of({1}), probe.handler());
    ASSERT_TRUE(ready(probe.response));
    const auto response = probe.response.get();
    EXPECT_EQ(response.code, 0xFF);
    EXPECT_NE(response.thread, std::this_thread::get_id());
    EXPECT_EQ(provider_calls, 0);
}

TEST_F(Local_binding, destroying_the_offer_withdraws) {
    auto offer = std::make_unique<Offer>(registry.offer(routine_name, "1", drop_every_call));
    auto port = port_of(*offer);
    offer.reset();
    EXPECT_NE(port->service->state.load(), 2);
    EXPECT_TRUE(registry.find(routine_name, "1").empty());
}

TEST_F(Local_binding, destroying_the_call_future_before_the_answer_is_harmless) {
    Call_inbox inbox;
    auto offer = registry.offer(routine_name, "1", inbox.handler());
    auto port = port_of(offer);
    Handler_probe probe;
    std::weak_ptr<Method_call> record;
    {
        auto accepted = port->call_method(1, payload_of({5}), probe.handler());
        record = accepted.get();
    }  // the future and the call record are gone
    EXPECT_TRUE(record.expired());
    auto call = inbox.next();
    ASSERT_TRUE(call);
    EXPECT_TRUE(call->reply.answer(0, {6})) << "the call itself goes on";
    ASSERT_TRUE(ready(probe.response));
    EXPECT_EQ(probe.response.get().bytes, (Bytes{6}));
}

TEST_F(Local_binding, call_record_is_outstanding_until_the_answer) {
    Call_inbox inbox;
    auto offer = registry.offer(routine_name, "1", inbox.handler());
    auto port = port_of(offer);
    Handler_probe probe;
    const auto record = port->call_method(1, payload_of({}), probe.handler()).get();
    auto call = inbox.next();
    ASSERT_TRUE(call);
    EXPECT_TRUE(record->outstanding());
    EXPECT_EQ(offer.pending_calls(), 1U);
    call->reply.answer(0);
    EXPECT_FALSE(record->outstanding());
    EXPECT_EQ(offer.pending_calls(), 0U);
}

TEST_F(Local_binding, provider_may_withdraw_its_own_service_from_inside_its_handler) {
    Offer offer;
    std::promise<void> withdrawn;
    auto done = withdrawn.get_future();
    offer = registry.offer(routine_name, "1", [&offer, &withdrawn](std::uint16_t, Bytes, Reply reply) {
        offer.withdraw();
        EXPECT_FALSE(reply.answer(0)) << "the withdrawal answered the call";
        withdrawn.set_value();
    });
    auto port = port_of(offer);
    Handler_probe probe;
    port->call_method(1, payload_of({}), probe.handler());
    ASSERT_TRUE(ready(done));
    ASSERT_TRUE(ready(probe.response));
    EXPECT_EQ(probe.response.get().code, 0xFF);
}

TEST_F(Local_binding, withdrawal_waits_for_a_provider_handler_running_on_another_thread) {
    std::promise<void> entered;
    auto in_handler = entered.get_future();
    std::promise<void> go;
    std::shared_future<void> release = go.get_future().share();
    std::atomic<bool> handler_done{false};
    auto offer = registry.offer(routine_name, "1", [&entered, &handler_done, release](std::uint16_t, Bytes, Reply) {
        entered.set_value();
        release.wait();
        handler_done = true;
    });
    auto port = port_of(offer);
    Handler_probe probe;
    port->call_method(1, payload_of({}), probe.handler());
    ASSERT_TRUE(ready(in_handler));
    std::promise<bool> returned;
    auto withdraw_returned = returned.get_future();
    std::thread withdrawer{[&offer, &returned, &handler_done] {
        offer.withdraw();
        returned.set_value(handler_done.load());
    }};
    ASSERT_TRUE(ready(probe.response));  // the withdrawal has answered the pending call...
    EXPECT_EQ(probe.response.get().code, 0xFF);
    EXPECT_EQ(withdraw_returned.wait_for(50ms), std::future_status::timeout) << "...and waits for the handler";
    go.set_value();
    withdrawer.join();
    EXPECT_TRUE(withdraw_returned.get()) << "returned before the handler did";
}

TEST_F(Local_binding, response_handler_may_call_the_same_port_again) {
    auto offer = registry.offer(routine_name, "1", [](std::uint16_t method_id, Bytes, Reply reply) {
        reply.answer(0, {static_cast<std::uint8_t>(method_id)});
    });
    auto port = port_of(offer);
    Handler_probe second;
    std::promise<unsigned char> first_code;
    auto first = first_code.get_future();
    auto* const raw_port = port.get();
    port->call_method(1, payload_of({}), [raw_port, &first_code, handler = second.handler()](
                                             unsigned char code, Serialized_payload) {
        first_code.set_value(code);
        raw_port->call_method(2, payload_of({}), handler);
    });
    ASSERT_TRUE(ready(first));
    EXPECT_EQ(first.get(), 0);
    ASSERT_TRUE(ready(second.response));
    EXPECT_EQ(second.response.get().bytes, (Bytes{2}));
}

TEST_F(Local_binding, throwing_provider_drops_the_call_and_keeps_serving) {
    auto offer = registry.offer(routine_name, "1", [](std::uint16_t method_id, Bytes, Reply reply) {
        if (method_id == 1) {
            throw std::runtime_error("provider failure");
        }
        reply.answer(0);
    });
    auto port = port_of(offer);
    Handler_probe failing;
    port->call_method(1, payload_of({}), failing.handler());
    ASSERT_TRUE(ready(failing.destroyed));
    EXPECT_EQ(*failing.calls, 0);
    Handler_probe next;
    port->call_method(2, payload_of({}), next.handler());
    ASSERT_TRUE(ready(next.response));
    EXPECT_EQ(next.response.get().code, 0);
}

TEST_F(Local_binding, throwing_response_handler_leaves_the_runtime_serving) {
    auto offer = registry.offer(routine_name, "1", [](std::uint16_t, Bytes, Reply reply) { reply.answer(0); });
    auto port = port_of(offer);
    port->call_method(1, payload_of({}), [](unsigned char, Serialized_payload) { throw 7; });
    port->call_method(1, payload_of({}), [](unsigned char, Serialized_payload) {
        throw std::logic_error("handler failure");
    });
    Handler_probe next;
    port->call_method(1, payload_of({}), next.handler());
    ASSERT_TRUE(ready(next.response));
    EXPECT_EQ(next.response.get().code, 0);
}

TEST_F(Local_binding, any_return_code_the_provider_gives_reaches_the_handler) {
    auto offer = registry.offer(routine_name, "1", [](std::uint16_t method_id, Bytes, Reply reply) {
        reply.answer(static_cast<std::uint8_t>(method_id), {});
    });
    auto port = port_of(offer);
    for (const std::uint16_t code : std::initializer_list<std::uint16_t>{0x01, 0x02, 0x81, 0x82, 0x8A, 0xFE}) {
        Handler_probe probe;
        port->call_method(code, payload_of({}), probe.handler());
        ASSERT_TRUE(ready(probe.response));
        EXPECT_EQ(probe.response.get().code, code);
    }
}

TEST_F(Local_binding, empty_request_payload_reaches_the_provider_as_no_bytes) {
    Call_inbox inbox;
    auto offer = registry.offer(routine_name, "1", inbox.handler());
    auto port = port_of(offer);
    Handler_probe probe;
    port->call_method(1, Serialized_payload{}, probe.handler());
    auto call = inbox.next();
    ASSERT_TRUE(call);
    EXPECT_TRUE(call->request.empty());
}

TEST_F(Local_binding, answer_after_runtime_shutdown_destroys_the_handler_uncalled) {
    Call_inbox inbox;
    auto offer = registry.offer(routine_name, "1", inbox.handler());
    auto port = port_of(offer);
    Handler_probe probe;
    port->call_method(1, payload_of({}), probe.handler());
    auto call = inbox.next();
    ASSERT_TRUE(call);
    runtime->shutdown();
    EXPECT_TRUE(call->reply.answer(0));
    ASSERT_TRUE(ready(probe.destroyed));
    EXPECT_EQ(*probe.calls, 0);
}

TEST_F(Local_binding, call_through_a_stopped_runtime_destroys_the_handler_uncalled) {
    auto offer = registry.offer(routine_name, "1", drop_every_call);
    auto port = port_of(offer);
    runtime->shutdown();
    Handler_probe probe;
    const auto record = port->call_method(1, payload_of({}), probe.handler()).get();
    ASSERT_TRUE(ready(probe.destroyed));
    EXPECT_EQ(*probe.calls, 0);
    EXPECT_FALSE(record->outstanding());
}

TEST_F(Local_binding, offer_refuses_an_empty_handler) {
    try {
        registry.offer(routine_name, "1", nullptr);
        FAIL() << "offered without a handler";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "Provider_registry::offer: empty call handler");
    }
}

}  // namespace

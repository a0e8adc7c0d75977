// The request path of proxy methods end to end against an in-process provider: refusal while
// the service state is not 2, read afresh on every call; a caller that gives up its future;
// calls in flight side by side on one method object, answered in any order, also before the
// call has returned; many threads calling one proxy at once.

#include <gtest/gtest.h>

#include <cstdint>
#include <exception>
#include <future>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "bindings/d_2c56/DataIdentifier_ZevoTrainingCounterProxy.h"
#include "bindings/r_0648/RoutineService_ZevoDebugProxy.h"
#include "call_outcomes.h"
#include "call_support.h"
#include "counted_payload.h"
#include "someip/service_payload.h"

namespace {

using namespace zevo::test::calls;
using kel::com::runtime::Method_call;
using kel::com::runtime::Serialized_payload;
using ruv::com::someip::serialization::deserialize_arguments;
using ruv::com::someip::serialization::response_payload;
using Debug = talm::services::diag::r_0648::RoutineService_ZevoDebug;
using Counter = talm::services::diag::d_2c56::DataIdentifier_ZevoTrainingCounter;
using Debug_proxy = talm::services::diag::r_0648::proxy::RoutineService_ZevoDebugProxy;
using Counter_proxy = talm::services::diag::d_2c56::proxy::DataIdentifier_ZevoTrainingCounterProxy;
using Counter_output = Counter::Read::Output;

/// The meta_info that numbers a call, and the answer that carries the number back.
Meta_info numbered(unsigned number) { return {{"n", std::to_string(number)}}; }

unsigned number_of(const Bytes& read_request) {
    return static_cast<unsigned>(std::stoul(std::get<0>(deserialize_arguments<Counter::Read>(read_request)).at("n")));
}

Counter_output output_for(unsigned number) {
    return Counter_output{static_cast<std::uint8_t>(number % 256), static_cast<std::uint16_t>(number)};
}

/// True when `future` holds the answer to the call numbered `number`.
bool answers(kel::com::Future<Counter_output>& future, unsigned number) {
    if (future.wait_for(wait_bound) != std::future_status::ready) {
        return false;
    }
    return future.get().fields() == output_for(number).fields();
}

/// The service's state is refused the same way for every method: at once, with nothing sent,
/// serialised or traced.
TEST(request_path, every_method_is_refused_at_once_while_the_state_is_not_2) {
    Test_logger logger{debug_level};
    Offered_service service{Debug::name};
    Debug_proxy proxy(new Traced_port(service.offer, logger));
    for (const std::uint8_t state : Bytes{0, 1, 3, 0xFF}) {
        service.set_state(state);
        const std::size_t buffers = payload_buffers_taken();
        const auto refused = [&](auto&& call) {
            try {
                call();
                ADD_FAILURE() << "state " << int{state} << ": the call went out";
            } catch (const ruv::com::Service_not_available_exception& unavailable) {
                EXPECT_STREQ(unavailable.what(), "Service not available exception");
            }
        };
        refused([&] { return (*proxy.Cancel.impl)(host_meta_info()); });
        refused([&] { return (*proxy.RequestResults.impl)(host_meta_info()); });
        refused([&] { return (*proxy.Start.impl)(host_meta_info(), 0x07, {0xAA, 0xBB}); });
        EXPECT_EQ(payload_buffers_taken(), buffers) << "state " << int{state} << ": arguments were serialised";
    }
    EXPECT_EQ(service.offer.pending_calls(), 0U) << "the provider keeps calls: one sent would be pending";
    EXPECT_EQ(logger.backend.level_tests(), 0U);
    EXPECT_TRUE(logger.backend.lines().empty());

    // The count does see a call that goes out: one buffer for it.
    service.set_state(2);
    const std::size_t before = payload_buffers_taken();
    const auto sent = (*proxy.Cancel.impl)(host_meta_info());
    EXPECT_EQ(payload_buffers_taken(), before + 1);
}

TEST(request_path, the_state_is_read_on_every_call_of_the_same_proxy) {
    Test_logger logger{logging_off};
    Offered_service service{Counter::name};
    service.provider.answer_every_call(0, response_payload(output_for(7)));
    Counter_proxy proxy(new Traced_port(service.offer, logger));

    auto first = (*proxy.Read.impl)({});
    EXPECT_TRUE(answers(first, 7));
    service.set_state(1);
    EXPECT_THROW((*proxy.Read.impl)({}), ruv::com::Service_not_available_exception);
    service.set_state(2);
    auto third = (*proxy.Read.impl)({});
    EXPECT_TRUE(answers(third, 7));
    EXPECT_EQ(service.provider.received(), 2U);
}

TEST(request_path, a_caller_that_gives_up_its_future_neither_blocks_nor_crashes_when_the_answer_comes) {
    Test_logger logger{debug_level};
    Offered_service service{Debug::name};
    Debug_proxy proxy(new Traced_port(service.offer, logger));
    { auto abandoned = (*proxy.RequestResults.impl)({}); }
    { auto abandoned = (*proxy.Start.impl)({}, 0x01, {}); }
    for (int count = 0; count < 2; ++count) {
        std::optional<Received_call> call = service.provider.next();
        ASSERT_TRUE(call);
        EXPECT_TRUE(call->reply.answer(0, {0x01, 0x02, 0x00, 0x00, 0x00, 0x00}));
    }
    ASSERT_TRUE(logger.backend.wait_for_lines(4)) << "both handlers ran to their trace";
    EXPECT_EQ(service.offer.pending_calls(), 0U);
}

TEST(request_path, two_calls_in_flight_on_one_method_answered_in_the_other_order_complete_the_right_futures) {
    Test_logger logger{debug_level};
    Offered_service service{Counter::name};
    Counter_proxy proxy(new Traced_port(service.offer, logger));
    auto first = (*proxy.Read.impl)(numbered(1));
    auto second = (*proxy.Read.impl)(numbered(2));
    std::map<unsigned, Received_call> calls;
    for (int count = 0; count < 2; ++count) {
        std::optional<Received_call> call = service.provider.next();
        ASSERT_TRUE(call);
        const unsigned number = number_of(call->request);
        calls.emplace(number, std::move(*call));
    }
    ASSERT_EQ(calls.size(), 2U);

    EXPECT_TRUE(calls.at(2).reply.answer(0, response_payload(output_for(2))));
    EXPECT_TRUE(answers(second, 2));
    EXPECT_NE(first.wait_for(std::chrono::seconds{0}), std::future_status::ready);
    EXPECT_TRUE(calls.at(1).reply.answer(0, response_payload(output_for(1))));
    EXPECT_TRUE(answers(first, 1));
}

/// A port whose call_method returns only once the call's handler has run, so that the answer is
/// complete before Method_impl::operator() ties the call record to the future and returns.
class Answer_first_port : public Traced_port {
public:
    using Traced_port::Traced_port;

    kel::com::Future<std::shared_ptr<Method_call>> call_method(std::uint16_t method_id, Serialized_payload payload,
                                                               Response_handler handler) override {
        auto ran = std::make_shared<std::promise<void>>();
        std::future<void> done = ran->get_future();
        auto call = Traced_port::call_method(method_id, std::move(payload),
                                       [handler, ran](unsigned char code, Serialized_payload response) {
                                           handler(code, std::move(response));
                                           ran->set_value();
                                       });
        if (done.wait_for(wait_bound) == std::future_status::ready) {
            try {
                done.get();
                handler_ran = true;
            } catch (const std::future_error&) {  // the handler was destroyed uncalled
            }
        }
        return call;
    }

    bool handler_ran = false;  ///< test thread only
};

TEST(request_path, an_answer_complete_before_the_call_returns_gives_a_ready_future) {
    Test_logger logger{debug_level};
    Offered_service service{Counter::name};
    service.provider.answer_every_call(0, response_payload(output_for(9)));
    auto* const port = new Answer_first_port(service.offer, logger);
    Counter_proxy proxy(port);

    auto future = (*proxy.Read.impl)({});
    ASSERT_TRUE(port->handler_ran);
    EXPECT_EQ(future.wait_for(std::chrono::seconds{0}), std::future_status::ready);
    EXPECT_TRUE(answers(future, 9));
    const std::vector<Trace_line> lines = logger.backend.lines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[1].text.rfind(R"({"1_incident":{"1_id":"Method_call_response_rx")", 0), 0U);
}

TEST(request_path, many_threads_calling_one_proxy_each_get_their_own_answers) {
    constexpr unsigned threads = 8;
    constexpr unsigned calls_per_thread = 25;
    Test_logger logger{debug_level};
    Offered_service service{Counter::name};
    service.provider.answer_at_once([](std::uint16_t method_id, const Bytes& request) {
        return method_id == 0 ? Answer{0, {}} : Answer{0, response_payload(output_for(number_of(request)))};
    });
    Counter_proxy proxy(new Traced_port(service.offer, logger));

    std::vector<std::thread> callers;
    for (unsigned thread = 0; thread < threads; ++thread) {
        callers.emplace_back([&proxy, thread] {
            std::vector<kel::com::Future<Counter_output>> pending;
            for (unsigned index = 0; index < calls_per_thread; ++index) {
                pending.push_back((*proxy.Read.impl)(numbered(thread * 1000 + index)));
                auto cancelled = (*proxy.Cancel.impl)(numbered(thread));
                EXPECT_EQ(cancelled.wait_for(wait_bound), std::future_status::ready);
            }
            for (unsigned index = 0; index < calls_per_thread; ++index) {
                EXPECT_TRUE(answers(pending[index], thread * 1000 + index)) << thread << "/" << index;
            }
        });
    }
    for (std::thread& caller : callers) {
        caller.join();
    }
    EXPECT_EQ(service.provider.received(), 2U * threads * calls_per_thread);
    EXPECT_EQ(logger.backend.lines().size(), 4U * threads * calls_per_thread) << "request and answer of each call";
}

}  // namespace

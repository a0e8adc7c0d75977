// The response path end to end: a proxy calls an in-process provider, which answers with each
// kind of return code and payload, or leaves the runtime to answer 0x86 by its request timeout
// and 0xFF by withdrawal. Each outcome arrives through the future with its exception, and its
// trace line is written before the future completes.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bindings/d_2c56/DataIdentifier_ZevoTrainingCounterProxy.h"
#include "bindings/r_0648/RoutineService_ZevoDebugProxy.h"
#include "call_outcomes.h"
#include "call_support.h"

namespace {

using namespace zevo::test::calls;
using Debug = talm::services::diag::r_0648::RoutineService_ZevoDebug;
using Counter = talm::services::diag::d_2c56::DataIdentifier_ZevoTrainingCounter;
using Debug_proxy = talm::services::diag::r_0648::proxy::RoutineService_ZevoDebugProxy;
using Counter_proxy = talm::services::diag::d_2c56::proxy::DataIdentifier_ZevoTrainingCounterProxy;

const std::string transport_text = "Exception: Transport exception";
const std::string not_available_text = "Exception: Service not available exception";

/// Waits for the outcome of a call already made; must be a failure.
using Outcome = std::function<std::exception_ptr()>;

template <class R>
Outcome outcome_of(kel::com::Future<R> future) {
    auto kept = std::make_shared<kel::com::Future<R>>(std::move(future));
    return [kept] { return failure_of(*kept); };
}

/// One method of the routine's proxy: its name, identifier, and a way to call it.
struct Routine_method {
    std::string name;
    unsigned method_id;
    std::function<Outcome()> call;
};

class response_codes : public testing::Test {
protected:
    /// Cancel, RequestResults and Start of the routine's proxy.
    std::vector<Routine_method> routine_methods() {
        return {{"Cancel", 0, [this] { return outcome_of((*routine.Cancel.impl)({})); }},
                {"RequestResults", 1, [this] { return outcome_of((*routine.RequestResults.impl)({})); }},
                {"Start", 2, [this] { return outcome_of((*routine.Start.impl)({}, 0x07, {0xAA})); }}};
    }

    /// The outcome's line of the one call made since the last look, or "" (and a failure): the
    /// call wrote its request line, then its outcome's.
    std::string new_line(unsigned char level) {
        const std::vector<Trace_line> lines = logger.backend.lines();
        EXPECT_EQ(lines.size(), seen_ + 2) << "one request line and one outcome line per call";
        if (lines.size() < seen_ + 2) {
            return {};
        }
        EXPECT_TRUE(is_request_line(lines[seen_]));
        EXPECT_EQ(lines.back().level, level);
        seen_ = lines.size();
        return lines.back().text;
    }

    static bool is_request_line(const Trace_line& line) {
        return line.text.rfind(R"({"1_incident":{"1_id":"Method_call_request_tx")", 0) == 0;
    }

    Test_logger logger{debug_level};  ///< outlives the runtime's threads
    Offered_service routine_service{Debug::name};
    Offered_service counter_service{Counter::name};
    Debug_proxy routine{new Traced_port(routine_service.offer, logger)};
    Counter_proxy counter{new Traced_port(counter_service.offer, logger)};

private:
    std::size_t seen_ = 0;
};

TEST_F(response_codes, code_0x86_of_the_runtimes_request_timeout_is_a_transport_failure_traced_as_request_error) {
    routine_service.registry.set_request_timeout(short_request_timeout);
    for (const Routine_method& method : routine_methods()) {
        EXPECT_EQ(transport_code(method.call()()), 0x86) << method.name;
        EXPECT_EQ(new_line(2),
                  response_event("Method_call_request_err", Debug::name, method.method_id, 0x86, transport_text))
            << method.name;
    }
    EXPECT_EQ(routine_service.provider.received(), 3U) << "each call reached the provider, which kept it";
}

TEST_F(response_codes, code_0xff_of_a_withdrawal_is_service_not_available_delivered_through_the_future) {
    std::vector<Outcome> outcomes;
    std::vector<std::string> expected;
    for (const Routine_method& method : routine_methods()) {
        outcomes.push_back(method.call());
        expected.push_back(
            response_event("Method_call_request_err", Debug::name, method.method_id, 0xFF, not_available_text));
    }
    std::vector<Received_call> held;  // the provider keeps each Reply: dropping one would drop its call
    for (std::size_t count = 0; count < outcomes.size(); ++count) {
        std::optional<Received_call> call = routine_service.provider.next();
        ASSERT_TRUE(call) << "every call is pending at the provider";
        held.push_back(std::move(*call));
    }
    routine_service.offer.withdraw();
    for (const Outcome& outcome : outcomes) {
        EXPECT_TRUE(is_service_not_available(outcome()));
    }
    std::vector<std::string> written;
    for (const Trace_line& line : logger.backend.lines()) {
        if (!is_request_line(line)) {
            EXPECT_EQ(line.level, 2);
            written.push_back(line.text);
        }
    }
    std::sort(written.begin(), written.end());  // answered on the runtime's threads, in any order
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(written, expected);
}

TEST_F(response_codes, codes_0x81_0x82_0x86_from_the_provider_are_transport_failures_with_their_code) {
    for (const std::uint8_t code : Bytes{0x81, 0x82, 0x86}) {
        routine_service.provider.answer_every_call(code, {0x22, 0x31});
        for (const Routine_method& method : routine_methods()) {
            EXPECT_EQ(transport_code(method.call()()), code) << method.name;
            EXPECT_EQ(new_line(2),
                      response_event("Method_call_request_err", Debug::name, method.method_id, code, transport_text))
                << method.name << ", code " << int{code};
        }
    }
}

TEST_F(response_codes, code_0xff_from_the_provider_is_service_not_available) {
    routine_service.provider.answer_every_call(0xFF);
    for (const Routine_method& method : routine_methods()) {
        EXPECT_TRUE(is_service_not_available(method.call()())) << method.name;
        EXPECT_EQ(new_line(2), response_event("Method_call_request_err", Debug::name, method.method_id, 0xFF,
                                              not_available_text))
            << method.name;
    }
}

TEST_F(response_codes, codes_that_mean_nothing_here_become_0x8a_with_the_received_code_traced) {
    for (const std::uint8_t code : Bytes{0x80, 0x83, 0x84, 0x85, 0x87, 0x8A, 0xFE, 1, 3, 200}) {
        routine_service.provider.answer_every_call(code, {0x22, 0x31});
        for (const Routine_method& method : routine_methods()) {
            EXPECT_EQ(transport_code(method.call()()), 0x8A) << method.name << ", code " << int{code};
            EXPECT_EQ(new_line(2), response_event("Method_call_response_invalid_code", Debug::name, method.method_id,
                                                  code, transport_text))
                << method.name << ", code " << int{code};
        }
    }
}

TEST_F(response_codes, code_2_is_the_services_error_on_read_request_results_and_start_traced_at_debug_level) {
    counter_service.provider.answer_every_call(2, {0x22, 0x31, 0x7F});
    const auto read_failed = error_as<Counter::UDSServiceFailed>(outcome_of((*counter.Read.impl)({}))());
    ASSERT_TRUE(read_failed);
    EXPECT_EQ(read_failed->response_code, 0x22);
    EXPECT_EQ(new_line(5), response_event("Method_call_response_rx", Counter::name, 1, 2,
                                          "Exception: DataIdentifier_ZevoTrainingCounter::UDSServiceFailed::2"));

    routine_service.provider.answer_every_call(2, {0x22, 0x31, 0x7F});
    for (const Routine_method& method : routine_methods()) {
        const std::exception_ptr error = method.call()();
        if (method.method_id == 0) {
            EXPECT_EQ(transport_code(error), 0x8A) << "Cancel declares no error";
            EXPECT_EQ(new_line(2),
                      response_event("Method_call_response_invalid_code", Debug::name, 0, 2, transport_text));
            continue;
        }
        const auto failed = error_as<Debug::UDSServiceFailed>(error);
        ASSERT_TRUE(failed) << method.name;
        EXPECT_EQ(failed->response_code, 0x22) << method.name;
        EXPECT_EQ(failed->start_response_code, 0x31) << method.name;
        EXPECT_EQ(new_line(5), response_event("Method_call_response_rx", Debug::name, method.method_id, 2,
                                              "Exception: RoutineService_ZevoDebug::UDSServiceFailed::2"))
            << method.name;
    }
}

TEST_F(response_codes, an_empty_payload_with_code_2_reaches_the_error_factory_and_fails_as_malformed) {
    counter_service.provider.answer_every_call(2);
    EXPECT_EQ(transport_code(outcome_of((*counter.Read.impl)({}))()), 0x8A);
    EXPECT_EQ(new_line(2), response_event("Method_call_deserializer_exception", Counter::name, 1, 2,
                                          "Read beyond the end of the data buffer"));
    routine_service.provider.answer_every_call(2);
    for (const Routine_method& method : routine_methods()) {
        if (method.method_id == 0) {
            continue;  // Cancel has no factory: code 2 is an invalid code there
        }
        EXPECT_EQ(transport_code(method.call()()), 0x8A) << method.name;
        EXPECT_EQ(new_line(2), response_event("Method_call_deserializer_exception", Debug::name, method.method_id, 2,
                                              "Read beyond the end of the data buffer"))
            << method.name;
    }
}

TEST_F(response_codes, a_result_one_byte_short_is_a_deserializer_exception_with_error_code_0) {
    counter_service.provider.answer_every_call(0, {0x07, 0x12});
    EXPECT_EQ(transport_code(outcome_of((*counter.Read.impl)({}))()), 0x8A);
    EXPECT_EQ(new_line(2), response_event("Method_call_deserializer_exception", Counter::name, 1, 0,
                                          "Read beyond the end of the data buffer"));
    routine_service.provider.answer_every_call(0, {0x01, 0x02, 0x00, 0x00, 0x00, 0x02, 0xAA});
    EXPECT_EQ(transport_code(outcome_of((*routine.RequestResults.impl)({}))()), 0x8A);
    EXPECT_EQ(new_line(2), response_event("Method_call_deserializer_exception", Debug::name, 1, 0,
                                          "Deserialization calculated invalid end position."))
        << "a vector whose elements are cut short";
}

TEST(response_codes_at_info_level, a_good_answer_writes_nothing_and_each_failure_is_still_traced) {
    Test_logger logger{info_level};
    Offered_service service{Counter::name};
    Counter_proxy counter{new Traced_port(service.offer, logger)};

    service.provider.answer_every_call(0, {0x07, 0x12, 0x34});
    auto good = (*counter.Read.impl)({});
    ASSERT_EQ(good.wait_for(wait_bound), std::future_status::ready);
    EXPECT_EQ(good.get().field_2, 0x1234);
    auto cancelled = (*counter.Cancel.impl)({});
    ASSERT_EQ(cancelled.wait_for(wait_bound), std::future_status::ready);
    EXPECT_TRUE(logger.backend.lines().empty()) << "a good call writes nothing at level 4";

    const std::vector<std::pair<Answer, std::string>> failures{
        {{0x81, {}}, "Method_call_request_err"},
        {{0xFF, {}}, "Method_call_request_err"},
        {{0x42, {}}, "Method_call_response_invalid_code"},
        {{0x00, {0x07}}, "Method_call_deserializer_exception"}};
    for (const auto& failure : failures) {
        service.provider.answer_every_call(failure.first.code, failure.first.payload);
        EXPECT_TRUE(outcome_of((*counter.Read.impl)({}))()) << failure.second;
    }
    const std::vector<Trace_line> lines = logger.backend.lines();
    ASSERT_EQ(lines.size(), failures.size());
    for (std::size_t index = 0; index < lines.size(); ++index) {
        EXPECT_EQ(lines[index].level, 2);
        EXPECT_EQ(lines[index].text.rfind(R"({"1_incident":{"1_id":")" + failures[index].second + R"(")", 0), 0U)
            << lines[index].text;
    }
}

}  // namespace

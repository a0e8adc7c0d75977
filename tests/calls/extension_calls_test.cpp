// The jobs of all ten extensions end to end in one process: the extension's proxy is attached to
// a service offered by an in-process provider, each job runs on a thread of its own, and the
// provider sees the request and answers well, with the service's error, with any other return
// code, malformed, late, never, or not at all. Written once for the ten classes.

#include <gtest/gtest.h>

#include <cstdint>
#include <future>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "call_support.h"
#include "extension_jobs.h"
#include "tests/bindings/bounded_wait.h"

namespace {

using namespace zevo::test::calls;
using zevo::test::Expected;
using zevo::test::Record_sample;
using zevo::test::run_in_background;

/// Bytes a host may already hold in its response buffer: every answer goes behind them.
const Bytes held_bytes{0x62, 0x2C};

Bytes with_held_bytes(const Bytes& record) {
    Bytes all = held_bytes;
    all.insert(all.end(), record.begin(), record.end());
    return all;
}

template <class Class>
class extension_calls : public testing::Test {
protected:
    using Interface = typename Class::Interface;

    extension_calls() { extension.attach_to(service.offer); }

    /// The job on a thread of its own, released through the cancel flag if it hangs.
    auto run(const Job_case<Class>& job, Bytes& response) {
        return run_in_background(
            job.name, [this, &job, &response] { return job(extension, response); },
            [this] { extension.cancel_requested_.store(true); });
    }

    /// The job's result when it has to come at once (the provider answers inside its handler).
    std::uint8_t run_to_end(const Job_case<Class>& job, Bytes& response) { return run(job, response).finish(); }

    Offered_service service{Interface::name};
    Attached<Class> extension;  ///< goes first, with its proxy
};
TYPED_TEST_SUITE(extension_calls, Extension_classes, Extension_label);

TYPED_TEST(extension_calls, each_job_answered_well_sends_its_layout_and_appends_its_record) {
    std::map<std::uint16_t, Bytes> good_payloads;
    for (const auto& job : jobs_of<TypeParam>()) {
        good_payloads[job.method_id] = job.good_payload;
    }
    this->service.provider.answer_at_once([good_payloads](std::uint16_t method_id, const Bytes&) {
        const auto found = good_payloads.find(method_id);
        return found == good_payloads.end() ? Answer{0x8A, {}} : Answer{0, found->second};
    });
    for (const auto& job : jobs_of<TypeParam>()) {
        Bytes response = held_bytes;
        EXPECT_EQ(this->run_to_end(job, response), 0) << job.name;
        EXPECT_EQ(response, with_held_bytes(job.record)) << job.name;

        const std::optional<Received_call> call = this->service.provider.next();
        ASSERT_TRUE(call) << job.name << " never reached the provider";
        EXPECT_EQ(call->method_id, job.method_id) << job.name;
        EXPECT_EQ(call->request, job.wire_request) << job.name;
        EXPECT_TRUE(job.carries_the_arguments(call->request)) << job.name;
    }
    EXPECT_EQ(this->service.provider.received(), jobs_of<TypeParam>().size());
}

TYPED_TEST(extension_calls, each_job_answers_the_code_its_error_selects_for_an_application_error) {
    // The job reads the error the runtime's thread made: a traced port keeps it until the end.
    Test_logger logger{logging_off};
    this->extension.attach_traced(this->service.offer, logger);
    this->service.provider.answer_every_call(2, error_payload());
    for (const auto& job : jobs_of<TypeParam>()) {
        Bytes response = held_bytes;
        EXPECT_EQ(this->run_to_end(job, response), job.error_code) << job.name;
        EXPECT_EQ(response, held_bytes) << job.name;
    }
    this->extension.replace_proxy(nullptr);  // before the logger goes
}

TYPED_TEST(extension_calls, each_job_answers_0x10_for_every_other_return_code) {
    for (const std::uint8_t code : Bytes{0x81, 0x82, 0x86, 0xFF, 0x8A, 1, 3, 200}) {
        this->service.provider.answer_every_call(code, error_payload());
        for (const auto& job : jobs_of<TypeParam>()) {
            Bytes response = held_bytes;
            EXPECT_EQ(this->run_to_end(job, response), 0x10) << job.name << ", code " << int{code};
            EXPECT_EQ(response, held_bytes) << job.name << ", code " << int{code};
        }
    }
}

TYPED_TEST(extension_calls, each_job_answers_0x10_when_the_runtime_times_the_call_out) {
    this->service.registry.set_request_timeout(short_request_timeout);
    for (const auto& job : jobs_of<TypeParam>()) {
        Bytes response = held_bytes;
        auto running = this->run(job, response);
        std::optional<Received_call> call = this->service.provider.next();  // kept, never answered
        ASSERT_TRUE(call) << job.name;
        EXPECT_EQ(running.finish(), 0x10) << job.name;
        EXPECT_EQ(response, held_bytes) << job.name;
        EXPECT_FALSE(call->reply.outstanding()) << job.name << ": the runtime ended the call";
        EXPECT_FALSE(call->reply.answer(0, job.good_payload)) << job.name << ": too late";
    }
}

TYPED_TEST(extension_calls, each_job_answers_0x10_when_the_service_is_withdrawn_with_the_call_pending) {
    for (const auto& job : jobs_of<TypeParam>()) {
        Bytes response = held_bytes;
        auto running = this->run(job, response);
        const std::optional<Received_call> call = this->service.provider.next();
        ASSERT_TRUE(call) << job.name;
        this->service.offer.withdraw();
        EXPECT_EQ(running.finish(), 0x10) << job.name;
        EXPECT_EQ(response, held_bytes) << job.name;
        EXPECT_FALSE(call->reply.outstanding()) << job.name;

        this->service.offer_again();
        this->extension.attach_to(this->service.offer);
    }
}

TYPED_TEST(extension_calls, a_payload_one_byte_short_fails_a_job_with_output_and_start_ignores_its_payload) {
    for (const auto& job : jobs_of<TypeParam>()) {
        Bytes short_payload = job.good_payload;
        if (job.has_output) {
            short_payload.pop_back();
        } else {
            short_payload = {0xFF};  // a Start answer is never read
        }
        this->service.provider.answer_every_call(0, short_payload);
        Bytes response = held_bytes;
        EXPECT_EQ(this->run_to_end(job, response), job.has_output ? 0x10 : 0) << job.name;
        EXPECT_EQ(response, held_bytes) << job.name;
    }
}

TYPED_TEST(extension_calls, bytes_behind_a_good_payload_are_ignored) {
    for (const auto& job : jobs_of<TypeParam>()) {
        Bytes long_payload = job.good_payload;
        long_payload.insert(long_payload.end(), {0xEE, 0xEE, 0xEE});
        this->service.provider.answer_every_call(0, long_payload);
        Bytes response = held_bytes;
        EXPECT_EQ(this->run_to_end(job, response), 0) << job.name;
        EXPECT_EQ(response, with_held_bytes(job.record)) << job.name;
    }
}

TYPED_TEST(extension_calls, each_job_is_refused_at_once_while_the_service_state_is_not_2) {
    Test_logger logger{debug_level};
    this->extension.attach_traced(this->service.offer, logger);
    this->service.provider.answer_every_call(0);
    for (const std::uint8_t state : Bytes{0, 1, 3}) {
        this->service.set_state(state);
        for (const auto& job : jobs_of<TypeParam>()) {
            Bytes response = held_bytes;
            EXPECT_EQ(this->run_to_end(job, response), 0x10) << job.name << ", state " << int{state};
            EXPECT_EQ(response, held_bytes) << job.name;
        }
    }
    EXPECT_EQ(this->service.offer.pending_calls(), 0U) << "a refused call reached the binding";
    EXPECT_EQ(logger.backend.level_tests(), 0U) << "a refused call began a trace record";
    EXPECT_TRUE(logger.backend.lines().empty());

    // The state is read on each call: back at 2, the same proxy reaches the service again.
    this->service.set_state(2);
    const auto job = jobs_of<TypeParam>().back();
    this->service.provider.answer_every_call(0, job.good_payload);
    Bytes response;
    EXPECT_EQ(this->run_to_end(job, response), 0);
    EXPECT_EQ(this->service.provider.received(), 1U) << "only the call made at state 2 arrived";
    this->extension.replace_proxy(nullptr);  // before the logger goes
}

TYPED_TEST(extension_calls, each_job_answers_0x10_when_the_provider_drops_the_call) {
    this->service.provider.drop_calls();
    for (const auto& job : jobs_of<TypeParam>()) {
        Bytes response = held_bytes;
        EXPECT_EQ(this->run_to_end(job, response), 0x10) << job.name;
        EXPECT_EQ(response, held_bytes) << job.name;
    }
    EXPECT_EQ(this->service.provider.received(), jobs_of<TypeParam>().size());
}

TYPED_TEST(extension_calls, cancel_during_each_job_returns_1_releases_it_and_reaches_the_provider_as_Cancel) {
    for (const auto& job : jobs_of<TypeParam>()) {
        Bytes response = held_bytes;
        auto running = this->run(job, response);
        std::optional<Received_call> call = this->service.provider.next();
        ASSERT_TRUE(call) << job.name;
        EXPECT_EQ(call->method_id, job.method_id) << job.name;

        EXPECT_EQ(this->extension.cancel(host_meta_info()), 1) << job.name;
        EXPECT_EQ(running.finish(), 0) << job.name;
        EXPECT_EQ(response, held_bytes) << job.name << ": a cancelled job writes nothing";

        std::optional<Received_call> cancel = this->service.provider.next();
        ASSERT_TRUE(cancel) << job.name << ": the service never heard of the cancel";
        EXPECT_EQ(cancel->method_id, 0) << job.name;
        EXPECT_EQ(cancel->request, host_meta_info_block()) << job.name;
        EXPECT_NE(this->extension.cancel_result_, nullptr) << "the Cancel call's future is kept";

        // Both calls are answered afterwards; the job's answer reaches nobody.
        EXPECT_TRUE(call->reply.answer(0, job.good_payload));
        EXPECT_TRUE(cancel->reply.answer(0));
        EXPECT_EQ(response, held_bytes) << job.name;
    }
}

// write and stop stay the base class's: 0, both vectors as they were, and not a byte to the
// service, although one is attached that records every call. Its runtime has one worker, so calls
// reach the provider in the order they were made: the cancel behind write or stop must be the
// first thing the provider hears, and a call of theirs would carry their own meta_info.
TYPED_TEST(extension_calls, write_and_stop_answer_0_and_the_attached_service_hears_nothing_of_them) {
    ruv::com::runtime::Runtime_options one_worker;
    one_worker.worker_threads = 1;
    Offered_service in_order{TypeParam::Interface::name, std::chrono::seconds{10}, one_worker};
    Attached<TypeParam> attached;
    attached.attach_to(in_order.offer);

    const Meta_info unsent{{"sid", "2E"}};
    const Bytes given{0x01, 0xA5, 0x5A};
    Bytes data = given;
    Bytes response = held_bytes;
    if constexpr (zevo::test::Expected<typename TypeParam::Interface>::routine) {
        EXPECT_EQ(attached.stop(data, unsent, response), 0);
    } else {
        EXPECT_EQ(attached.write(unsent, data), 0);
    }
    EXPECT_EQ(data, given);
    EXPECT_EQ(response, held_bytes);

    EXPECT_EQ(attached.cancel(host_meta_info()), 1);
    std::optional<Received_call> first = in_order.provider.next();
    ASSERT_TRUE(first) << "the service never heard of the cancel";
    EXPECT_EQ(first->method_id, 0) << "the first call the service heard was no Cancel";
    EXPECT_EQ(first->request, host_meta_info_block()) << "the first call the service heard was not cancel's";
    EXPECT_EQ(in_order.provider.received(), 1U);
    EXPECT_TRUE(first->reply.answer(0));
}

/// The method of `proxy` that returns results: Read or RequestResults.
template <class Proxy>
auto& results_method(Proxy& proxy) {
    if constexpr (Expected<typename Proxy::Interface_type>::routine) {
        return *proxy.RequestResults.impl;
    } else {
        return *proxy.Read.impl;
    }
}

TYPED_TEST(extension_calls, a_proxy_destroyed_with_calls_in_flight_leaves_their_futures_to_complete) {
    using Service_interface = typename TypeParam::Interface;
    auto& proxy = *this->extension.proxy_;
    auto cancelled = (*proxy.Cancel.impl)(host_meta_info());
    auto results = results_method(proxy)(host_meta_info());
    std::vector<Received_call> calls;
    for (std::size_t count = 0; count < 2; ++count) {
        std::optional<Received_call> call = this->service.provider.next();
        ASSERT_TRUE(call);
        calls.push_back(std::move(*call));
    }
    this->extension.replace_proxy(nullptr);

    const Bytes good_payload = ruv::com::someip::serialization::response_payload(Record_sample<Service_interface>::output());
    for (Received_call& call : calls) {
        EXPECT_TRUE(call.reply.answer(0, call.method_id == 0 ? Bytes{} : good_payload));
    }
    ASSERT_EQ(cancelled.wait_for(wait_bound), std::future_status::ready);
    ASSERT_EQ(results.wait_for(wait_bound), std::future_status::ready);
    EXPECT_NO_THROW(cancelled.get());
    const auto output = results.get();
    EXPECT_TRUE(output.fields() == Record_sample<Service_interface>::output().fields());
}

// A read of 0x2C60 answered with 01 02 00000003 AA BB CC gives the record 01 02 AA BB CC.
TEST(key_list_read, answered_with_a_vector_of_three_gives_two_bytes_and_the_elements) {
    Offered_service service{diag::d_2c60::DataIdentifier_ZevoKeyList::name};
    Attached<diag::d_2c60::DataIdentifier_ZevoKeyList_extension> extension;
    extension.attach_to(service.offer);
    service.provider.answer_every_call(0, {0x01, 0x02, 0x00, 0x00, 0x00, 0x03, 0xAA, 0xBB, 0xCC});
    Bytes response;
    const auto result = run_in_background(
                            "read", [&] { return extension.read(host_meta_info(), response); },
                            [&] { extension.cancel_requested_.store(true); })
                            .finish();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(response, (Bytes{0x01, 0x02, 0xAA, 0xBB, 0xCC}));
}

}  // namespace

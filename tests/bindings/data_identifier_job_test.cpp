// read of the four data identifiers on fake proxies: the record appended, failures folded into
// response codes, answers and cancels that come from another thread than read's, and cancel
// while read is blocked. Every read runs on a thread of its own and is waited for with a bound
// (bounded_wait.h); threads are ordered by the fake's call signal, never by sleeping.

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <exception>
#include <initializer_list>
#include <stdexcept>
#include <utility>
#include <vector>

#include "bindings/data_identifier_job.h"
#include "job_test_support.h"

namespace {

using namespace talm::services::diag;
using namespace zevo::test;

const Meta_info meta_info{{"service_id", "0x22"}, {"tester_address", "0x0E80"}};
const Meta_info cancel_meta_info{{"service_id", "0x22"}, {"cancel", "1"}};
const Bytes untouched{0xDE, 0xAD};

template <class Interface>
class read_job : public testing::Test {
protected:
    using Output = typename Interface::Read::Output;
    using Failure = typename Interface::UDSServiceFailed;
    using Read_promise = kel::com::Promise<Output>;

    /// read on a thread of its own, over `attached`; a hung read is released by release().
    Background_job<UDSResponseCodeType> read_in_background(Bytes& response) {
        return run_in_background(
            "read",
            [this, &response] {
                return job_flow::read<Interface>(attached, members.cancel_requested, meta_info, response);
            },
            [this] { release(); });
    }
    UDSResponseCodeType read(Bytes& response) { return read_in_background(response).finish(); }
    /// read on another thread, with `meet` run on this one once the Read call is there.
    template <class Meet>
    UDSResponseCodeType read_meeting_its_call(Bytes& response, Meet&& meet) {
        const std::size_t index = proxy.Read.impl->calls().size();
        auto job = read_in_background(response);
        return finish_after_call(job, *proxy.Read.impl, index, "Read", std::forward<Meet>(meet));
    }
    /// Cancels from this thread once read, on another one, has made its call; read's answer.
    UDSResponseCodeType cancel_while_reading(Bytes& response) {
        return read_meeting_its_call(response, [this](Read_promise&) { EXPECT_EQ(cancel(cancel_meta_info), 1); });
    }
    UDSResponseCodeType cancel(const Meta_info& info) {
        return job_flow::cancel(&proxy, members.cancel_requested, members.cancel_result, info);
    }
    /// Makes a hung read return: the flag it polls, and a broken future for the call it waits on.
    void release() {
        members.cancel_requested.store(true);
        proxy.Read.impl->drop_promises();
    }
    void answer_with(const Output& output) {
        proxy.Read.impl->set_hook([output](Read_promise& promise) { promise.set_value(Output(output)); });
    }
    void fail_with(std::exception_ptr error) {
        proxy.Read.impl->set_hook([error](Read_promise& promise) { promise.set_exception(error); });
    }
    static Bytes untouched_then_sample() {
        Bytes expected = untouched;
        const Bytes record = Record_sample<Interface>::bytes();
        expected.insert(expected.end(), record.begin(), record.end());
        return expected;
    }

    Job_members members;
    Fake_data_identifier_proxy<Interface> proxy;
    Fake_data_identifier_proxy<Interface>* attached = &proxy;  ///< what read is given
};

using Data_identifiers =
    testing::Types<d_2c55::DataIdentifier_ZevoZevovin, d_2c56::DataIdentifier_ZevoTrainingCounter,
                   d_2c57::DataIdentifier_ZevoMissingKeyHistory, d_2c60::DataIdentifier_ZevoKeyList>;
TYPED_TEST_SUITE(read_job, Data_identifiers, Identifier_label);

TYPED_TEST(read_job, without_proxy_returns_0x10_after_clearing_a_stale_cancel) {
    this->attached = nullptr;
    this->members.cancel_requested.store(true);
    Bytes response = untouched;
    EXPECT_EQ(this->read(response), 0x10);
    EXPECT_EQ(response, untouched);
    EXPECT_FALSE(this->members.cancel_requested.load());
}

TYPED_TEST(read_job, appends_the_record_behind_the_bytes_already_there) {
    this->answer_with(Record_sample<TypeParam>::output());
    Bytes response = untouched;
    EXPECT_EQ(this->read(response), 0);
    EXPECT_EQ(response, this->untouched_then_sample());
    EXPECT_TRUE(this->proxy.Cancel.impl->calls().empty());
}

TYPED_TEST(read_job, appends_a_record_completed_on_another_thread) {
    Bytes response = untouched;
    EXPECT_EQ(this->read_meeting_its_call(response,
                                          [](auto& promise) { promise.set_value(Record_sample<TypeParam>::output()); }),
              0);
    EXPECT_EQ(response, this->untouched_then_sample());
}

TYPED_TEST(read_job, hands_the_callers_meta_info_itself_to_Read) {
    this->answer_with(Record_sample<TypeParam>::output());
    Bytes response;
    EXPECT_EQ(this->read(response), 0);
    ASSERT_EQ(this->proxy.Read.impl->calls().size(), 1U);
    EXPECT_EQ(std::get<0>(this->proxy.Read.impl->calls()[0]), meta_info);
    EXPECT_EQ(this->proxy.Read.impl->meta_info_addresses()[0], &meta_info) << "passed by reference, not copied";
}

TYPED_TEST(read_job, returns_the_services_own_code_unchanged_and_writes_nothing) {
    for (const UDSResponseCodeType code : std::initializer_list<UDSResponseCodeType>{0x22, 0x31, 0x78, 0xFE}) {
        this->fail_with(std::make_exception_ptr(typename TestFixture::Failure(code)));
        Bytes response = untouched;
        EXPECT_EQ(this->read(response), code);
        EXPECT_EQ(response, untouched);
    }
}

TYPED_TEST(read_job, a_service_code_of_0_answers_0_with_no_bytes_written) {
    this->fail_with(std::make_exception_ptr(typename TestFixture::Failure(0x00)));
    Bytes response = untouched;
    EXPECT_EQ(this->read(response), 0);
    EXPECT_EQ(response, untouched);
}

TYPED_TEST(read_job, a_transport_failure_answers_0x10) {
    this->fail_with(std::make_exception_ptr(ruv::com::Transport_exception(0x81)));
    Bytes response = untouched;
    EXPECT_EQ(this->read(response), 0x10);
    EXPECT_EQ(response, untouched);
}

TYPED_TEST(read_job, an_out_of_range_answer_gives_0x10_and_never_0x13) {
    this->fail_with(std::make_exception_ptr(std::out_of_range("short")));
    Bytes response = untouched;
    EXPECT_EQ(this->read(response), 0x10);
}

// The exceptions are held here until every read is over: the thread that caught one never
// drops the last reference while another thread still looks at it.
TYPED_TEST(read_job, failures_completed_on_another_thread_fold_as_they_do_on_reads_own) {
    const std::pair<std::exception_ptr, UDSResponseCodeType> failures[] = {
        {std::make_exception_ptr(typename TestFixture::Failure(0x31)), 0x31},
        {std::make_exception_ptr(typename TestFixture::Failure(0x00)), 0x00},
        {std::make_exception_ptr(ruv::com::Transport_exception(0x81)), 0x10},
        {std::make_exception_ptr(std::out_of_range("short")), 0x10},
        {std::make_exception_ptr(std::runtime_error("other")), 0x10},
    };
    for (const auto& failure : failures) {
        SCOPED_TRACE(testing::Message() << "expected code " << int{failure.second});
        Bytes response = untouched;
        const std::exception_ptr& error = failure.first;
        EXPECT_EQ(this->read_meeting_its_call(response, [&error](auto& promise) { promise.set_exception(error); }),
                  failure.second);
        EXPECT_EQ(response, untouched);
    }
}

TYPED_TEST(read_job, a_call_refused_as_service_not_available_answers_0x10) {
    this->proxy.Read.impl->set_hook([](auto&) { throw ruv::com::Service_not_available_exception(); });
    Bytes response = untouched;
    EXPECT_EQ(this->read(response), 0x10);
    EXPECT_EQ(response, untouched);
}

TYPED_TEST(read_job, a_promise_broken_on_another_thread_answers_0x10) {
    Bytes response = untouched;
    auto job = this->read_in_background(response);
    ASSERT_TRUE(this->proxy.Read.impl->wait_for_calls(1)) << "Read was never called";
    this->proxy.Read.impl->drop_promises();
    EXPECT_EQ(job.finish(), 0x10);
    EXPECT_EQ(response, untouched);
}

TYPED_TEST(read_job, a_cancel_before_read_has_no_effect_on_it) {
    EXPECT_EQ(this->cancel(cancel_meta_info), 1);
    Bytes response = untouched;
    EXPECT_EQ(this->read_meeting_its_call(response,
                                          [this](auto& promise) {
                                              EXPECT_FALSE(this->members.cancel_requested.load())
                                                  << "cleared before the call";
                                              promise.set_value(Record_sample<TypeParam>::output());
                                          }),
              0);
    EXPECT_EQ(response, this->untouched_then_sample());
    EXPECT_FALSE(this->members.cancel_requested.load());
}

TYPED_TEST(read_job, a_cancel_during_read_ends_it_with_0_and_the_response_untouched) {
    Bytes response = untouched;
    EXPECT_EQ(this->cancel_while_reading(response), 0);
    EXPECT_EQ(response, untouched);
    ASSERT_EQ(this->proxy.Cancel.impl->calls().size(), 1U);
    EXPECT_EQ(std::get<0>(this->proxy.Cancel.impl->calls()[0]), cancel_meta_info);

    this->proxy.Read.impl->promise(0)->set_value(Record_sample<TypeParam>::output());  // too late: read by nobody
    EXPECT_EQ(response, untouched);
}

// A cancel releases a blocked read within one polling slice of about 1 ms; 50 ms holds on a loaded
// machine and under the sanitizers, while slices of 50 ms or more fail. The cancel comes once the
// job's thread sleeps in its wait, so the flag is seen only when a slice ends.
TYPED_TEST(read_job, a_cancel_during_read_releases_it_within_50_ms) {
    for (std::size_t round = 0; round < cancel_latency_rounds; ++round) {
        Bytes response = untouched;
        std::chrono::steady_clock::time_point returned;
        std::atomic<pid_t> job_thread{0};
        auto job = run_in_background(
            "read",
            [this, &response, &returned, &job_thread] {
                job_thread.store(kernel_thread_id());
                const UDSResponseCodeType answer =
                    job_flow::read<TypeParam>(this->attached, this->members.cancel_requested, meta_info, response);
                returned = std::chrono::steady_clock::now();
                return answer;
            },
            [this] { this->release(); });
        ASSERT_TRUE(this->proxy.Read.impl->wait_for_calls(round + 1)) << "Read was never called";
        ASSERT_TRUE(sleeping_within_bound(job_thread.load())) << "the job never slept in its wait";
        const auto cancelled = std::chrono::steady_clock::now();
        EXPECT_EQ(this->cancel(cancel_meta_info), 1);
        EXPECT_EQ(job.finish(), 0);
        EXPECT_LT(microseconds_between(cancelled, returned), cancel_latency_bound.count()) << " microseconds, round " << round;
        EXPECT_EQ(response, untouched);
    }
}

TYPED_TEST(read_job, a_blocked_read_still_ends_with_0_when_the_Cancel_call_throws) {
    this->proxy.Cancel.impl->set_hook([](kel::com::Promise<void>&) { throw ruv::com::Transport_exception(0x86); });
    Bytes response = untouched;
    EXPECT_EQ(this->cancel_while_reading(response), 0);
    EXPECT_EQ(response, untouched);
    EXPECT_EQ(this->proxy.Cancel.impl->calls().size(), 1U);
}

TYPED_TEST(read_job, a_cancel_after_read_leaves_its_answer_and_the_next_read_forgets_it) {
    Bytes response = untouched;
    EXPECT_EQ(this->read_meeting_its_call(response,
                                          [](auto& promise) { promise.set_value(Record_sample<TypeParam>::output()); }),
              0);
    EXPECT_EQ(this->cancel(cancel_meta_info), 1);
    EXPECT_EQ(response, this->untouched_then_sample());
    EXPECT_TRUE(this->members.cancel_requested.load()) << "the flag stays set until the next job";

    Bytes next = untouched;
    EXPECT_EQ(this->read_meeting_its_call(next,
                                          [](auto& promise) { promise.set_value(Record_sample<TypeParam>::output()); }),
              0);
    EXPECT_EQ(next, this->untouched_then_sample());
}

TYPED_TEST(read_job, an_answer_that_arrives_with_a_cancel_is_taken) {
    this->proxy.Read.impl->set_hook([this](typename TestFixture::Read_promise& promise) {
        promise.set_value(Record_sample<TypeParam>::output());
        EXPECT_EQ(this->cancel(cancel_meta_info), 1);
    });
    Bytes response = untouched;
    EXPECT_EQ(this->read(response), 0);
    EXPECT_EQ(response, this->untouched_then_sample()) << "the readiness test comes before the flag";
    EXPECT_TRUE(this->members.cancel_requested.load()) << "the flag stays set until the next job";
}

// The answer and the cancel both come from a third thread, and both are in before read's
// first look: the Read call does not return to read until that thread is done.
TYPED_TEST(read_job, an_answer_from_another_thread_that_arrives_with_a_cancel_is_taken) {
    this->proxy.Read.impl->set_hook([this](typename TestFixture::Read_promise& promise) {
        on_another_thread("the answer and the cancel", [this, &promise] {
            promise.set_value(Record_sample<TypeParam>::output());
            EXPECT_EQ(this->cancel(cancel_meta_info), 1);
        });
    });
    Bytes response = untouched;
    EXPECT_EQ(this->read(response), 0);
    EXPECT_EQ(response, this->untouched_then_sample()) << "the readiness test comes before the flag";
    EXPECT_TRUE(this->members.cancel_requested.load());
}

using read_job_0x2C55 = read_job<d_2c55::DataIdentifier_ZevoZevovin>;
TEST_F(read_job_0x2C55, the_error_of_another_interface_is_no_service_error_here_and_answers_0x10) {
    using Foreign_error = d_2c56::DataIdentifier_ZevoTrainingCounter::UDSServiceFailed;
    fail_with(std::make_exception_ptr(Foreign_error(0x31)));
    Bytes response;
    EXPECT_EQ(read(response), 0x10);
}

using read_job_0x2C56 = read_job<d_2c56::DataIdentifier_ZevoTrainingCounter>;
TEST_F(read_job_0x2C56, counter_0x1234_gives_0x12_0x34_behind_its_byte) {
    answer_with({0x00, 0x1234});
    Bytes response;
    EXPECT_EQ(read(response), 0);
    EXPECT_EQ(response, (Bytes{0x00, 0x12, 0x34}));
}

using read_job_0x2C60 = read_job<d_2c60::DataIdentifier_ZevoKeyList>;
TEST_F(read_job_0x2C60, an_empty_key_list_gives_exactly_two_bytes) {
    answer_with({0x01, 0x02, {}});
    Bytes response;
    EXPECT_EQ(read(response), 0);
    EXPECT_EQ(response, (Bytes{0x01, 0x02}));
}

}  // namespace

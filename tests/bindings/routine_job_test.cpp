// start and request_results of the six routines on fake proxies: request bytes cut into Start's
// arguments, short requests refused before any call, the results record appended, failures
// folded into response codes, answers and cancels that come from another thread than the job's,
// and cancel while a job is blocked. Every job runs on a thread of its own and is waited for with
// a bound (bounded_wait.h); threads are ordered by the fake's call signal, never by sleeping.

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <stdexcept>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "bindings/routine_job.h"
#include "job_test_support.h"

namespace {

using namespace talm::services::diag;
using namespace zevo::test;

const Meta_info meta_info{{"service_id", "0x31"}, {"tester_address", "0x0E80"}};
const Meta_info cancel_meta_info{{"service_id", "0x31"}, {"cancel", "1"}};
const Bytes untouched{0xDE, 0xAD};

/// 0x40, 0x41, ... : a request whose every byte tells its place.
Bytes counting_request(std::size_t size) {
    Bytes request(size);
    for (std::size_t index = 0; index < size; ++index) {
        request[index] = static_cast<std::uint8_t>(0x40 + index);
    }
    return request;
}

template <class Interface>
class routine_job : public testing::Test {
protected:
    using Output = typename Interface::RequestResults::Output;
    using Failure = typename Interface::UDSServiceFailed;
    using Start_promise = kel::com::Promise<void>;
    using Results_promise = kel::com::Promise<Output>;

    /// The jobs on a thread of their own, over `attached`; a hung job is released by release().
    Background_job<UDSResponseCodeType> start_in_background(Bytes request) {
        return run_in_background(
            "start",
            [this, request] {
                return job_flow::start<Interface>(attached, members.cancel_requested, request, meta_info);
            },
            [this] { release(); });
    }
    Background_job<UDSResponseCodeType> request_results_in_background(Bytes request, Bytes& response) {
        return run_in_background("request_results",
                                 [this, request, &response] {
                                     return job_flow::request_results<Interface>(attached, members.cancel_requested,
                                                                                 request, meta_info, response);
                                 },
                                 [this] { release(); });
    }
    UDSResponseCodeType start(const Bytes& request) { return start_in_background(request).finish(); }
    UDSResponseCodeType request_results(const Bytes& request, Bytes& response) {
        return request_results_in_background(request, response).finish();
    }
    /// The jobs on another thread, with `meet` run on this one once their call is there.
    template <class Meet>
    UDSResponseCodeType start_meeting_its_call(Meet&& meet) {
        const std::size_t index = proxy.Start.impl->calls().size();
        auto job = start_in_background(valid_request);
        return finish_after_call(job, *proxy.Start.impl, index, "Start", std::forward<Meet>(meet));
    }
    template <class Meet>
    UDSResponseCodeType request_results_meeting_its_call(Bytes& response, Meet&& meet) {
        const std::size_t index = proxy.RequestResults.impl->calls().size();
        auto job = request_results_in_background(valid_request, response);
        return finish_after_call(job, *proxy.RequestResults.impl, index, "RequestResults", std::forward<Meet>(meet));
    }
    UDSResponseCodeType cancel() {
        return job_flow::cancel(&proxy, members.cancel_requested, members.cancel_result, cancel_meta_info);
    }
    /// Makes a hung job return: the flag it polls, and broken futures for the calls it waits on.
    void release() {
        members.cancel_requested.store(true);
        proxy.Start.impl->drop_promises();
        proxy.RequestResults.impl->drop_promises();
    }
    /// Completes every call of both methods at once with `error`.
    void fail_with(std::exception_ptr error) {
        proxy.Start.impl->set_hook([error](Start_promise& promise) { promise.set_exception(error); });
        proxy.RequestResults.impl->set_hook([error](Results_promise& promise) { promise.set_exception(error); });
    }
    void refuse_calls() {
        proxy.Start.impl->set_hook([](auto&) { throw ruv::com::Service_not_available_exception(); });
        proxy.RequestResults.impl->set_hook([](auto&) { throw ruv::com::Service_not_available_exception(); });
    }
    void answer_calls() {
        proxy.Start.impl->set_hook([](Start_promise& promise) { promise.set_value(); });
        proxy.RequestResults.impl->set_hook(
            [](Results_promise& promise) { promise.set_value(Record_sample<Interface>::output()); });
    }
    static void answer(Start_promise& promise) { promise.set_value(); }
    static void answer(Results_promise& promise) { promise.set_value(Record_sample<Interface>::output()); }
    static Bytes untouched_then_sample() {
        Bytes expected = untouched;
        const Bytes record = Record_sample<Interface>::bytes();
        expected.insert(expected.end(), record.begin(), record.end());
        return expected;
    }

    // Long enough for every routine: one byte, then sixteen.
    const Bytes valid_request = counting_request(17);
    Job_members members;
    Fake_routine_proxy<Interface> proxy;
    Fake_routine_proxy<Interface>* attached = &proxy;  ///< what the jobs are given
};

using Routines =
    testing::Types<r_0648::RoutineService_ZevoDebug, r_c00a::RoutineService_ZevoHandleDownloadcontainer,
                   r_c00b::RoutineService_ZevoCheckVerificationHash, r_c00c::RoutineService_ZevoGetIdentityHash,
                   r_c00d::RoutineService_ZevoGetPssHash, r_c00f::RoutineService_ZevoGetState>;
TYPED_TEST_SUITE(routine_job, Routines, Identifier_label);

TYPED_TEST(routine_job, without_proxy_start_returns_0x10_before_looking_at_the_request) {
    this->attached = nullptr;
    this->members.cancel_requested.store(true);
    EXPECT_EQ(this->start(Bytes{}), 0x10) << "0x10 and not 0x13 for an empty request";
    EXPECT_FALSE(this->members.cancel_requested.load()) << "a stale cancel is forgotten first";
}

TYPED_TEST(routine_job, without_proxy_request_results_returns_0x10_and_writes_nothing) {
    this->attached = nullptr;
    Bytes response = untouched;
    EXPECT_EQ(this->request_results(this->valid_request, response), 0x10);
    EXPECT_EQ(response, untouched);
}

TYPED_TEST(routine_job, start_with_an_empty_request_returns_0x13_and_calls_nothing) {
    this->answer_calls();
    EXPECT_EQ(this->start(Bytes{}), 0x13);
    EXPECT_TRUE(this->proxy.Start.impl->calls().empty());
    EXPECT_TRUE(this->proxy.Cancel.impl->calls().empty());
}

// Start has no output, and the start flow is given no response vector: a routine start answers
// with an empty positive response on all six.
TYPED_TEST(routine_job, start_answers_0_once_Start_is_answered_and_leaves_the_request) {
    this->answer_calls();
    const Bytes request = this->valid_request;
    EXPECT_EQ(this->start(request), 0);
    EXPECT_EQ(request, this->valid_request);
    ASSERT_EQ(this->proxy.Start.impl->calls().size(), 1U);
    EXPECT_EQ(std::get<0>(this->proxy.Start.impl->calls()[0]), meta_info);
    EXPECT_NE(this->proxy.Start.impl->meta_info_addresses()[0], &meta_info) << "Start gets a copy of meta_info";
}

TYPED_TEST(routine_job, request_results_passes_any_request_on_and_appends_the_record) {
    this->answer_calls();
    std::size_t calls = 0;
    for (const Bytes& request : {Bytes{}, Bytes{0x01}, this->valid_request, counting_request(300)}) {
        Bytes response = untouched;
        EXPECT_EQ(this->request_results(request, response), 0) << request.size() << " request bytes";
        EXPECT_EQ(response, this->untouched_then_sample());
        ASSERT_EQ(this->proxy.RequestResults.impl->calls().size(), ++calls);
        EXPECT_EQ(std::get<0>(this->proxy.RequestResults.impl->calls().back()), meta_info);
    }
    EXPECT_NE(this->proxy.RequestResults.impl->meta_info_addresses()[0], &meta_info) << "a copy of meta_info";
}

TYPED_TEST(routine_job, answers_completed_on_another_thread_end_both_jobs) {
    const auto answer = [](auto& promise) { TestFixture::answer(promise); };
    EXPECT_EQ(this->start_meeting_its_call(answer), 0);
    Bytes response = untouched;
    EXPECT_EQ(this->request_results_meeting_its_call(response, answer), 0);
    EXPECT_EQ(response, this->untouched_then_sample());
}

TYPED_TEST(routine_job, a_service_error_gives_start_its_second_code_and_request_results_its_first) {
    this->fail_with(std::make_exception_ptr(typename TestFixture::Failure(0x22, 0x31)));
    EXPECT_EQ(this->start(this->valid_request), 0x31);
    Bytes response = untouched;
    EXPECT_EQ(this->request_results(this->valid_request, response), 0x22);
    EXPECT_EQ(response, untouched);
}

TYPED_TEST(routine_job, service_codes_of_0_answer_0_with_no_bytes_written) {
    this->fail_with(std::make_exception_ptr(typename TestFixture::Failure(0x00, 0x00)));
    EXPECT_EQ(this->start(this->valid_request), 0);
    Bytes response = untouched;
    EXPECT_EQ(this->request_results(this->valid_request, response), 0);
    EXPECT_EQ(response, untouched);
}

TYPED_TEST(routine_job, a_transport_failure_answers_0x10) {
    this->fail_with(std::make_exception_ptr(ruv::com::Transport_exception(0x8A)));
    EXPECT_EQ(this->start(this->valid_request), 0x10);
    Bytes response = untouched;
    EXPECT_EQ(this->request_results(this->valid_request, response), 0x10);
    EXPECT_EQ(response, untouched);
}

TYPED_TEST(routine_job, an_out_of_range_answer_is_folded_into_0x13_like_a_short_request) {
    this->fail_with(std::make_exception_ptr(std::out_of_range("short")));
    EXPECT_EQ(this->start(this->valid_request), 0x13);
    Bytes response = untouched;
    EXPECT_EQ(this->request_results(this->valid_request, response), 0x13);
}

// The exceptions are held here until every job is over: the thread that caught one never drops
// the last reference while another thread still looks at it.
TYPED_TEST(routine_job, failures_completed_on_another_thread_fold_as_they_do_on_the_jobs_own) {
    struct Case {
        std::exception_ptr error;
        UDSResponseCodeType start_code;
        UDSResponseCodeType request_results_code;
    };
    const Case failures[] = {
        {std::make_exception_ptr(typename TestFixture::Failure(0x22, 0x31)), 0x31, 0x22},
        {std::make_exception_ptr(typename TestFixture::Failure(0x00, 0x00)), 0x00, 0x00},
        {std::make_exception_ptr(ruv::com::Transport_exception(0x8A)), 0x10, 0x10},
        {std::make_exception_ptr(std::out_of_range("short")), 0x13, 0x13},
        {std::make_exception_ptr(std::runtime_error("other")), 0x10, 0x10},
    };
    for (const Case& failure : failures) {
        SCOPED_TRACE(testing::Message() << "expected codes " << int{failure.start_code} << ", "
                                        << int{failure.request_results_code});
        const auto fail = [&failure](auto& promise) { promise.set_exception(failure.error); };
        EXPECT_EQ(this->start_meeting_its_call(fail), failure.start_code);
        Bytes response = untouched;
        EXPECT_EQ(this->request_results_meeting_its_call(response, fail), failure.request_results_code);
        EXPECT_EQ(response, untouched);
    }
}

TYPED_TEST(routine_job, calls_refused_as_service_not_available_answer_0x10) {
    this->refuse_calls();
    EXPECT_EQ(this->start(this->valid_request), 0x10);
    Bytes response = untouched;
    EXPECT_EQ(this->request_results(this->valid_request, response), 0x10);
    EXPECT_EQ(response, untouched);
}

TYPED_TEST(routine_job, promises_broken_on_another_thread_answer_0x10) {
    auto started = this->start_in_background(this->valid_request);
    ASSERT_TRUE(this->proxy.Start.impl->wait_for_calls(1)) << "Start was never called";
    this->proxy.Start.impl->drop_promises();
    EXPECT_EQ(started.finish(), 0x10);

    Bytes response = untouched;
    auto results = this->request_results_in_background(this->valid_request, response);
    ASSERT_TRUE(this->proxy.RequestResults.impl->wait_for_calls(1)) << "RequestResults was never called";
    this->proxy.RequestResults.impl->drop_promises();
    EXPECT_EQ(results.finish(), 0x10);
    EXPECT_EQ(response, untouched);
}

TYPED_TEST(routine_job, a_cancel_during_start_ends_it_with_0_after_Start_then_Cancel) {
    EXPECT_EQ(this->start_meeting_its_call([this](auto&) { EXPECT_EQ(this->cancel(), 1); }), 0);
    EXPECT_EQ(this->proxy.Start.impl->calls().size(), 1U);
    ASSERT_EQ(this->proxy.Cancel.impl->calls().size(), 1U);
    EXPECT_EQ(std::get<0>(this->proxy.Cancel.impl->calls()[0]), cancel_meta_info);
}

TYPED_TEST(routine_job, a_cancel_during_request_results_ends_it_with_0_and_the_response_untouched) {
    Bytes response = untouched;
    EXPECT_EQ(this->request_results_meeting_its_call(response, [this](auto&) { EXPECT_EQ(this->cancel(), 1); }), 0);
    EXPECT_EQ(response, untouched);
    this->proxy.RequestResults.impl->promise(0)->set_value(Record_sample<TypeParam>::output());  // read by nobody
    EXPECT_EQ(response, untouched);
}

TYPED_TEST(routine_job, blocked_jobs_still_end_with_0_when_the_Cancel_call_throws) {
    this->proxy.Cancel.impl->set_hook([](kel::com::Promise<void>&) { throw ruv::com::Transport_exception(0x86); });
    const auto cancel = [this](auto&) { EXPECT_EQ(this->cancel(), 1); };
    EXPECT_EQ(this->start_meeting_its_call(cancel), 0);
    Bytes response = untouched;
    EXPECT_EQ(this->request_results_meeting_its_call(response, cancel), 0);
    EXPECT_EQ(response, untouched);
    EXPECT_EQ(this->proxy.Cancel.impl->calls().size(), 2U);
}

// A cancel that lands after the flag was cleared and before the polling loop: the Start call is
// made all the same, and the loop's first pass ends the job.
TYPED_TEST(routine_job, a_cancel_before_the_polling_loop_does_not_stop_the_Start_call) {
    this->proxy.Start.impl->set_hook([this](typename TestFixture::Start_promise&) { EXPECT_EQ(this->cancel(), 1); });
    EXPECT_EQ(this->start(this->valid_request), 0);
    EXPECT_EQ(this->proxy.Start.impl->calls().size(), 1U);
    EXPECT_EQ(this->proxy.Cancel.impl->calls().size(), 1U);
    EXPECT_TRUE(this->members.cancel_requested.load());
}

// The cancel lands after step 1 has forgotten the stale flag and before anything else: the test
// holds the proxy guard, so the job waits at its proxy test, right behind step 1. What cancel
// leaves behind, the set flag, is stored there; the Start call is made all the same, and only the
// polling loop ends the job. A job that looked at the flag before calling Start fails here.
TYPED_TEST(routine_job, a_cancel_between_forgetting_the_flag_and_the_Start_call_does_not_stop_the_call) {
    using Proxy = Fake_routine_proxy<TypeParam>;
    std::optional<Background_job<UDSResponseCodeType>> job;  // goes after the guard is let go
    std::unique_lock<std::shared_mutex> held(ruv::dm::foundation::extension::proxy_guard<Proxy>());
    this->members.cancel_requested.store(true);  // stale: forgotten by step 1
    const Bytes request = this->valid_request;
    job.emplace(
        "start",
        [this, request] {
            return job_flow::start<TypeParam>(this->attached, this->members.cancel_requested, request, meta_info);
        },
        [this] { this->release(); });
    const auto deadline = std::chrono::steady_clock::now() + hang_bound;
    while (this->members.cancel_requested.load() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::yield();
    }
    ASSERT_FALSE(this->members.cancel_requested.load()) << "the job never forgot the stale cancel";
    EXPECT_TRUE(this->proxy.Start.impl->calls().empty()) << "the guard did not hold the job";
    this->members.cancel_requested.store(true);  // the cancel
    held.unlock();

    EXPECT_EQ(job->finish(), 0);
    EXPECT_EQ(this->proxy.Start.impl->calls().size(), 1U) << "the cancel stopped the Start call";
    EXPECT_TRUE(this->members.cancel_requested.load());
}

// As for read: both routine jobs let go within 50 ms of a cancel that comes while they sleep in
// their wait.
TYPED_TEST(routine_job, a_cancel_during_either_job_releases_it_within_50_ms) {
    for (std::size_t round = 0; round < cancel_latency_rounds; ++round) {
        for (const bool results : {false, true}) {
            Bytes response = untouched;
            std::chrono::steady_clock::time_point returned;
            std::atomic<pid_t> job_thread{0};
            const Bytes request = this->valid_request;
            auto job = run_in_background(
                results ? "request_results" : "start",
                [this, results, request, &response, &returned, &job_thread] {
                    job_thread.store(kernel_thread_id());
                    const UDSResponseCodeType answer =
                        results ? job_flow::request_results<TypeParam>(this->attached, this->members.cancel_requested,
                                                                       request, meta_info, response)
                                : job_flow::start<TypeParam>(this->attached, this->members.cancel_requested, request,
                                                             meta_info);
                    returned = std::chrono::steady_clock::now();
                    return answer;
                },
                [this] { this->release(); });
            const bool called = results ? this->proxy.RequestResults.impl->wait_for_calls(round + 1)
                                        : this->proxy.Start.impl->wait_for_calls(round + 1);
            ASSERT_TRUE(called) << (results ? "RequestResults" : "Start") << " was never called";
            ASSERT_TRUE(sleeping_within_bound(job_thread.load())) << "the job never slept in its wait";
            const auto cancelled = std::chrono::steady_clock::now();
            EXPECT_EQ(this->cancel(), 1);
            EXPECT_EQ(job.finish(), 0);
            EXPECT_LT(microseconds_between(cancelled, returned), cancel_latency_bound.count())
                << " microseconds, " << (results ? "request_results" : "start") << ", round " << round;
            EXPECT_EQ(response, untouched);
        }
    }
}

TYPED_TEST(routine_job, a_cancel_before_a_job_has_no_effect_on_it) {
    const auto answer_after_a_cleared_flag = [this](auto& promise) {
        EXPECT_FALSE(this->members.cancel_requested.load()) << "cleared before the call";
        TestFixture::answer(promise);
    };
    EXPECT_EQ(this->cancel(), 1);
    EXPECT_EQ(this->start_meeting_its_call(answer_after_a_cleared_flag), 0);

    EXPECT_EQ(this->cancel(), 1);
    Bytes response = untouched;
    EXPECT_EQ(this->request_results_meeting_its_call(response, answer_after_a_cleared_flag), 0);
    EXPECT_EQ(response, this->untouched_then_sample());
}

TYPED_TEST(routine_job, a_cancel_after_a_job_leaves_its_answer_and_the_next_job_forgets_it) {
    const auto answer = [](auto& promise) { TestFixture::answer(promise); };
    EXPECT_EQ(this->start_meeting_its_call(answer), 0);
    EXPECT_EQ(this->cancel(), 1);
    EXPECT_TRUE(this->members.cancel_requested.load()) << "the flag stays set until the next job";

    Bytes response = untouched;
    EXPECT_EQ(this->request_results_meeting_its_call(response, answer), 0);
    EXPECT_EQ(response, this->untouched_then_sample());
    EXPECT_EQ(this->cancel(), 1);
    EXPECT_EQ(response, this->untouched_then_sample());

    EXPECT_EQ(this->start_meeting_its_call(answer), 0);
    EXPECT_FALSE(this->members.cancel_requested.load());
}

// The answer and the cancel both come from a third thread, and both are in before the job's
// first look: the call does not return to the job until that thread is done.
TYPED_TEST(routine_job, answers_from_another_thread_that_arrive_with_a_cancel_are_taken) {
    const auto answer_and_cancel = [this](auto& promise) {
        on_another_thread("the answer and the cancel", [this, &promise] {
            TestFixture::answer(promise);
            EXPECT_EQ(this->cancel(), 1);
        });
    };
    this->proxy.Start.impl->set_hook(answer_and_cancel);
    this->proxy.RequestResults.impl->set_hook(answer_and_cancel);
    EXPECT_EQ(this->start(this->valid_request), 0);
    EXPECT_TRUE(this->members.cancel_requested.load());
    Bytes response = untouched;
    EXPECT_EQ(this->request_results(this->valid_request, response), 0);
    EXPECT_EQ(response, this->untouched_then_sample()) << "the readiness test comes before the flag";
    EXPECT_TRUE(this->members.cancel_requested.load());
}

// Decoding by kind. Variable: one byte, then every remaining byte as a vector.
template <class Interface>
class variable_routine_start : public routine_job<Interface> {};
using Variable_routines =
    testing::Types<r_0648::RoutineService_ZevoDebug, r_c00a::RoutineService_ZevoHandleDownloadcontainer>;
TYPED_TEST_SUITE(variable_routine_start, Variable_routines, Identifier_label);

TYPED_TEST(variable_routine_start, one_byte_is_passed_with_an_empty_vector) {
    this->answer_calls();
    EXPECT_EQ(this->start(Bytes{0x05}), 0);
    ASSERT_EQ(this->proxy.Start.impl->calls().size(), 1U);
    EXPECT_EQ(this->proxy.Start.impl->calls()[0], std::make_tuple(meta_info, std::uint8_t{0x05}, Bytes{}));
}

TYPED_TEST(variable_routine_start, the_bytes_behind_the_first_become_the_vector_in_order) {
    this->answer_calls();
    EXPECT_EQ(this->start(Bytes{0x05, 0x01, 0x02, 0x03}), 0);
    ASSERT_EQ(this->proxy.Start.impl->calls().size(), 1U);
    EXPECT_EQ(this->proxy.Start.impl->calls()[0],
              std::make_tuple(meta_info, std::uint8_t{0x05}, Bytes{0x01, 0x02, 0x03}));
}

// Fixed: one byte into a 1-element array, then exactly sixteen into a 16-element array.
template <class Interface>
class fixed_routine_start : public routine_job<Interface> {
protected:
    using Arguments = std::tuple<Meta_info, std::array<std::uint8_t, 1>, std::array<std::uint8_t, 16>>;
    static Arguments counting_arguments() {
        Arguments arguments{meta_info, {0x40}, {}};
        for (std::size_t index = 0; index < 16; ++index) {
            std::get<2>(arguments)[index] = static_cast<std::uint8_t>(0x41 + index);
        }
        return arguments;
    }
};
using Fixed_routines =
    testing::Types<r_c00b::RoutineService_ZevoCheckVerificationHash, r_c00c::RoutineService_ZevoGetIdentityHash>;
TYPED_TEST_SUITE(fixed_routine_start, Fixed_routines, Identifier_label);

TYPED_TEST(fixed_routine_start, sixteen_bytes_answer_0x13_and_call_nothing) {
    this->answer_calls();
    EXPECT_EQ(this->start(counting_request(16)), 0x13);
    EXPECT_TRUE(this->proxy.Start.impl->calls().empty());
}

TYPED_TEST(fixed_routine_start, seventeen_bytes_are_passed_on) {
    this->answer_calls();
    EXPECT_EQ(this->start(counting_request(17)), 0);
    ASSERT_EQ(this->proxy.Start.impl->calls().size(), 1U);
    EXPECT_EQ(this->proxy.Start.impl->calls()[0], TestFixture::counting_arguments());
}

TYPED_TEST(fixed_routine_start, an_eighteenth_byte_is_dropped) {
    this->answer_calls();
    EXPECT_EQ(this->start(counting_request(18)), 0);
    ASSERT_EQ(this->proxy.Start.impl->calls().size(), 1U);
    EXPECT_EQ(this->proxy.Start.impl->calls()[0], TestFixture::counting_arguments());
}

// Single: one byte; whatever follows is not read.
template <class Interface>
class single_byte_routine_start : public routine_job<Interface> {};
using Single_byte_routines = testing::Types<r_c00d::RoutineService_ZevoGetPssHash, r_c00f::RoutineService_ZevoGetState>;
TYPED_TEST_SUITE(single_byte_routine_start, Single_byte_routines, Identifier_label);

TYPED_TEST(single_byte_routine_start, five_bytes_pass_the_first_alone) {
    this->answer_calls();
    EXPECT_EQ(this->start(Bytes{0x09, 0x01, 0x02, 0x03, 0x04}), 0);
    ASSERT_EQ(this->proxy.Start.impl->calls().size(), 1U);
    EXPECT_EQ(this->proxy.Start.impl->calls()[0], std::make_tuple(meta_info, std::uint8_t{0x09}));
}

TYPED_TEST(single_byte_routine_start, three_bytes_pass_the_first_alone) {
    this->answer_calls();
    EXPECT_EQ(this->start(Bytes{0x0C, 0x0D, 0x0E}), 0);
    ASSERT_EQ(this->proxy.Start.impl->calls().size(), 1U);
    EXPECT_EQ(this->proxy.Start.impl->calls()[0], std::make_tuple(meta_info, std::uint8_t{0x0C}));
}

using routine_job_0xC00F = routine_job<r_c00f::RoutineService_ZevoGetState>;
TEST_F(routine_job_0xC00F, the_error_of_another_interface_is_no_service_error_here_and_answers_0x10) {
    using Foreign_error = r_c00d::RoutineService_ZevoGetPssHash::UDSServiceFailed;
    fail_with(std::make_exception_ptr(Foreign_error(0x22, 0x31)));
    EXPECT_EQ(start(Bytes{0x01}), 0x10);
}

using routine_job_0x0648 = routine_job<r_0648::RoutineService_ZevoDebug>;
TEST_F(routine_job_0x0648, an_empty_debug_vector_gives_exactly_two_bytes) {
    proxy.RequestResults.impl->set_hook([](auto& promise) { promise.set_value({0x01, 0x02, {}}); });
    Bytes response;
    EXPECT_EQ(request_results(Bytes{}, response), 0);
    EXPECT_EQ(response, (Bytes{0x01, 0x02}));
}

}  // namespace

// start and request_results of the six routines on fake proxies: request bytes cut into Start's
// arguments, short requests refused before any call, the results record appended, failures
// folded into response codes, and cancel from a second thread while a job is blocked.

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <future>
#include <stdexcept>
#include <tuple>
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

    UDSResponseCodeType start(const Bytes& request) {
        return job_flow::start<Interface>(&proxy, members.cancel_requested, request, meta_info);
    }
    UDSResponseCodeType request_results(const Bytes& request, Bytes& response) {
        return job_flow::request_results<Interface>(&proxy, members.cancel_requested, request, meta_info, response);
    }
    UDSResponseCodeType cancel() {
        return job_flow::cancel(&proxy, members.cancel_requested, members.cancel_result, cancel_meta_info);
    }
    /// Completes every call of both methods at once with `error`.
    void fail_with(std::exception_ptr error) {
        proxy.Start.impl->set_hook([error](kel::com::Promise<void>& promise) { promise.set_exception(error); });
        proxy.RequestResults.impl->set_hook(
            [error](kel::com::Promise<Output>& promise) { promise.set_exception(error); });
    }
    void refuse_calls() {
        proxy.Start.impl->set_hook([](auto&) { throw ruv::com::Service_not_available_exception(); });
        proxy.RequestResults.impl->set_hook([](auto&) { throw ruv::com::Service_not_available_exception(); });
    }
    void answer_calls() {
        proxy.Start.impl->set_hook([](kel::com::Promise<void>& promise) { promise.set_value(); });
        proxy.RequestResults.impl->set_hook(
            [](kel::com::Promise<Output>& promise) { promise.set_value(Record_sample<Interface>::output()); });
    }
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
};

using Routines =
    testing::Types<r_0648::RoutineService_ZevoDebug, r_c00a::RoutineService_ZevoHandleDownloadcontainer,
                   r_c00b::RoutineService_ZevoCheckVerificationHash, r_c00c::RoutineService_ZevoGetIdentityHash,
                   r_c00d::RoutineService_ZevoGetPssHash, r_c00f::RoutineService_ZevoGetState>;
TYPED_TEST_SUITE(routine_job, Routines, Identifier_label);

TYPED_TEST(routine_job, without_proxy_start_returns_0x10_before_looking_at_the_request) {
    Fake_routine_proxy<TypeParam>* const no_proxy = nullptr;
    this->members.cancel_requested.store(true);
    EXPECT_EQ(job_flow::start<TypeParam>(no_proxy, this->members.cancel_requested, Bytes{}, meta_info), 0x10)
        << "0x10 and not 0x13 for an empty request";
    EXPECT_FALSE(this->members.cancel_requested.load()) << "a stale cancel is forgotten first";
}

TYPED_TEST(routine_job, without_proxy_request_results_returns_0x10_and_writes_nothing) {
    Fake_routine_proxy<TypeParam>* const no_proxy = nullptr;
    Bytes response = untouched;
    EXPECT_EQ(job_flow::request_results<TypeParam>(no_proxy, this->members.cancel_requested, this->valid_request,
                                                   meta_info, response),
              0x10);
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

TYPED_TEST(routine_job, calls_refused_as_service_not_available_answer_0x10) {
    this->refuse_calls();
    EXPECT_EQ(this->start(this->valid_request), 0x10);
    Bytes response = untouched;
    EXPECT_EQ(this->request_results(this->valid_request, response), 0x10);
    EXPECT_EQ(response, untouched);
}

TYPED_TEST(routine_job, broken_promises_answer_0x10) {
    auto started = std::async(std::launch::async, [this] { return this->start(this->valid_request); });
    this->proxy.Start.impl->wait_for_calls(1);
    this->proxy.Start.impl->drop_promises();
    EXPECT_EQ(started.get(), 0x10);

    Bytes response = untouched;
    auto results = std::async(std::launch::async,
                              [this, &response] { return this->request_results(this->valid_request, response); });
    this->proxy.RequestResults.impl->wait_for_calls(1);
    this->proxy.RequestResults.impl->drop_promises();
    EXPECT_EQ(results.get(), 0x10);
    EXPECT_EQ(response, untouched);
}

TYPED_TEST(routine_job, a_cancel_during_start_ends_it_with_0_after_Start_then_Cancel) {
    auto job = std::async(std::launch::async, [this] { return this->start(this->valid_request); });
    this->proxy.Start.impl->wait_for_calls(1);
    EXPECT_EQ(this->cancel(), 1);
    EXPECT_EQ(job.get(), 0);
    EXPECT_EQ(this->proxy.Start.impl->calls().size(), 1U);
    ASSERT_EQ(this->proxy.Cancel.impl->calls().size(), 1U);
    EXPECT_EQ(std::get<0>(this->proxy.Cancel.impl->calls()[0]), cancel_meta_info);
}

TYPED_TEST(routine_job, a_cancel_during_request_results_ends_it_with_0_and_the_response_untouched) {
    Bytes response = untouched;
    auto job = std::async(std::launch::async,
                          [this, &response] { return this->request_results(this->valid_request, response); });
    this->proxy.RequestResults.impl->wait_for_calls(1);
    EXPECT_EQ(this->cancel(), 1);
    EXPECT_EQ(job.get(), 0);
    EXPECT_EQ(response, untouched);
    this->proxy.RequestResults.impl->promise(0)->set_value(Record_sample<TypeParam>::output());  // read by nobody
}

// A cancel that lands after the flag was cleared and before the polling loop: the Start call is
// made all the same, and the loop's first pass ends the job.
TYPED_TEST(routine_job, a_cancel_before_the_polling_loop_does_not_stop_the_Start_call) {
    this->proxy.Start.impl->set_hook([this](kel::com::Promise<void>&) { EXPECT_EQ(this->cancel(), 1); });
    EXPECT_EQ(this->start(this->valid_request), 0);
    EXPECT_EQ(this->proxy.Start.impl->calls().size(), 1U);
    EXPECT_EQ(this->proxy.Cancel.impl->calls().size(), 1U);
    EXPECT_TRUE(this->members.cancel_requested.load());
}

TYPED_TEST(routine_job, a_cancel_before_a_job_has_no_effect_on_it) {
    EXPECT_EQ(this->cancel(), 1);
    this->proxy.Start.impl->set_hook([this](kel::com::Promise<void>& promise) {
        EXPECT_FALSE(this->members.cancel_requested.load()) << "cleared before the call";
        promise.set_value();
    });
    EXPECT_EQ(this->start(this->valid_request), 0);

    EXPECT_EQ(this->cancel(), 1);
    Bytes response = untouched;
    auto job = std::async(std::launch::async,
                          [this, &response] { return this->request_results(this->valid_request, response); });
    this->proxy.RequestResults.impl->wait_for_calls(1);
    this->proxy.RequestResults.impl->promise(0)->set_value(Record_sample<TypeParam>::output());
    EXPECT_EQ(job.get(), 0);
    EXPECT_EQ(response, this->untouched_then_sample());
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

TEST(routine_job_0xC00F, the_error_of_another_interface_is_no_service_error_here_and_answers_0x10) {
    using Interface = r_c00f::RoutineService_ZevoGetState;
    Job_members members;
    Fake_routine_proxy<Interface> proxy;
    using Foreign_error = r_c00d::RoutineService_ZevoGetPssHash::UDSServiceFailed;
    proxy.Start.impl->set_hook([](kel::com::Promise<void>& promise) {
        promise.set_exception(std::make_exception_ptr(Foreign_error(0x22, 0x31)));
    });
    EXPECT_EQ(job_flow::start<Interface>(&proxy, members.cancel_requested, Bytes{0x01}, meta_info), 0x10);
}

TEST(routine_job_0x0648, an_empty_debug_vector_gives_exactly_two_bytes) {
    using Interface = r_0648::RoutineService_ZevoDebug;
    Job_members members;
    Fake_routine_proxy<Interface> proxy;
    proxy.RequestResults.impl->set_hook([](auto& promise) { promise.set_value({0x01, 0x02, {}}); });
    Bytes response;
    EXPECT_EQ(job_flow::request_results<Interface>(&proxy, members.cancel_requested, Bytes{}, meta_info, response), 0);
    EXPECT_EQ(response, (Bytes{0x01, 0x02}));
}

}  // namespace

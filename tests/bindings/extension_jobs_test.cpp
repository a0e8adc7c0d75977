// The ten extension classes with a proxy attached: their jobs run the shared flows on their own
// generated proxy, whose calls are refused as those of an unavailable service, so every call
// answers 0x10 while decoding still answers 0x13 first, and cancel still releases. Every job
// runs on a thread of its own and is waited for with a bound (bounded_wait.h).

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include "bounded_wait.h"
#include "extension/served_extensions.h"
#include "tests/support/unavailable_port.h"

namespace {

using namespace talm::services::diag;
using ruv::dm::foundation::extension::Meta_info;
using Bytes = std::vector<std::uint8_t>;
using zevo::test::run_in_background;

const Meta_info meta_info{{"service_id", "0x22"}, {"tester_address", "0x0E80"}};
const Bytes untouched{0xDE, 0xAD, 0xBE, 0xEF};

// Reaches the members of an extension class from a derived class and attaches a real proxy on a
// port whose service is not available: its methods refuse every call with
// Service_not_available_exception.
template <class Class>
struct Attached : Class {
    using Class::cancel_requested_;
    using Class::cancel_result_;
    using Class::proxy_;

    // Deleted with the object by the Extension_service_callback base.
    Attached() { this->proxy_ = new std::remove_pointer_t<decltype(this->proxy_)>(zevo::test::make_unavailable_port()); }
};

/// `job` of `extension` on a thread of its own; a hung job is released through the extension's
/// cancel flag, the only thing it could be waiting for with a proxy that refuses every call.
template <class Class, class Job>
auto within_bound(const char* what, Attached<Class>& extension, Job job) {
    return run_in_background(what, job, [&extension] { extension.cancel_requested_.store(true); }).finish();
}

template <class Class>
class attached_data_identifier : public testing::Test {};
template <class Class>
class attached_routine : public testing::Test {};

using Data_identifier_classes =
    testing::Types<d_2c55::DataIdentifier_ZevoZevovin_extension,
                   d_2c56::DataIdentifier_ZevoTrainingCounter_extension,
                   d_2c57::DataIdentifier_ZevoMissingKeyHistory_extension,
                   d_2c60::DataIdentifier_ZevoKeyList_extension>;
using Routine_classes =
    testing::Types<r_0648::RoutineService_ZevoDebug_extension,
                   r_c00a::RoutineService_ZevoHandleDownloadcontainer_extension,
                   r_c00b::RoutineService_ZevoCheckVerificationHash_extension,
                   r_c00c::RoutineService_ZevoGetIdentityHash_extension,
                   r_c00d::RoutineService_ZevoGetPssHash_extension,
                   r_c00f::RoutineService_ZevoGetState_extension>;
struct Interface_name {
    template <class Class>
    static std::string GetName(int) {
        return Class::interface_name;
    }
};
TYPED_TEST_SUITE(attached_data_identifier, Data_identifier_classes, Interface_name);
TYPED_TEST_SUITE(attached_routine, Routine_classes, Interface_name);

TYPED_TEST(attached_data_identifier, read_answers_0x10_when_the_proxy_refuses_the_call) {
    Attached<TypeParam> extension;
    Bytes response = untouched;
    EXPECT_EQ(within_bound("read", extension, [&] { return extension.read(meta_info, response); }), 0x10);
    EXPECT_EQ(response, untouched);
}

TYPED_TEST(attached_data_identifier, cancel_answers_1_and_releases_even_when_Cancel_is_refused) {
    Attached<TypeParam> extension;
    EXPECT_EQ(extension.cancel(meta_info), 1);
    EXPECT_TRUE(extension.cancel_requested_.load());
    EXPECT_EQ(extension.cancel_result_, nullptr) << "a refused call leaves no future to keep";

    Bytes response;
    EXPECT_EQ(within_bound("read", extension, [&] { return extension.read(meta_info, response); }), 0x10);
    EXPECT_FALSE(extension.cancel_requested_.load()) << "the next job forgets the stale cancel";
}

TYPED_TEST(attached_routine, start_and_request_results_answer_0x10_when_the_proxy_refuses_the_calls) {
    Attached<TypeParam> extension;
    Bytes request(17, 0x01);
    Bytes response = untouched;
    EXPECT_EQ(within_bound("start", extension, [&] { return extension.start(request, meta_info, response); }), 0x10);
    EXPECT_EQ(within_bound("request_results", extension,
                           [&] { return extension.request_results(request, meta_info, response); }),
              0x10);
    EXPECT_EQ(request, Bytes(17, 0x01));
    EXPECT_EQ(response, untouched);
}

TYPED_TEST(attached_routine, start_answers_0x13_for_an_empty_request_before_any_call) {
    Attached<TypeParam> extension;
    Bytes request;
    Bytes response = untouched;
    EXPECT_EQ(within_bound("start", extension, [&] { return extension.start(request, meta_info, response); }), 0x13);
    EXPECT_EQ(response, untouched);
}

TYPED_TEST(attached_routine, request_results_never_answers_0x13_for_an_empty_request) {
    Attached<TypeParam> extension;
    Bytes request;
    Bytes response;
    EXPECT_EQ(within_bound("request_results", extension,
                           [&] { return extension.request_results(request, meta_info, response); }),
              0x10);
    EXPECT_TRUE(response.empty());
}

TYPED_TEST(attached_routine, cancel_answers_1_and_releases_even_when_Cancel_is_refused) {
    Attached<TypeParam> extension;
    EXPECT_EQ(extension.cancel(meta_info), 1);
    EXPECT_TRUE(extension.cancel_requested_.load());
    EXPECT_EQ(extension.cancel_result_, nullptr);
}

}  // namespace

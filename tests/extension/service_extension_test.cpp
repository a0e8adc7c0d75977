// The ten extension classes as the host sees them before any service is found: their shape, the
// answers of every job, and what construction and destruction touch.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <future>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "allocation_log.h"
#include "extension/entry_points.h"
#include "extension/served_extensions.h"
#include "proxy/promise.h"

namespace {

using namespace talm::services::diag;
using ruv::dm::foundation::extension::Extension;
using ruv::dm::foundation::extension::Extension_data_identifier;
using ruv::dm::foundation::extension::Extension_routine_control;
using ruv::dm::foundation::extension::Meta_info;

const Meta_info meta_info{{"service_id", "0x22"}, {"tester_address", "0x0E80"}};
const std::vector<std::uint8_t> untouched{0xDE, 0xAD, 0xBE, 0xEF};

// Looks at the members of an extension class from a derived class, which may reach them.
template <class Class>
struct Probe : Class {
    using Class::cancel_requested_;
    using Class::cancel_result_;
    using Class::find_service_handle_;
    using Class::proxy_;

    std::ptrdiff_t offset_of(const void* member) const {
        return static_cast<const char*>(member) -
               reinterpret_cast<const char*>(static_cast<const Extension*>(this));
    }
};

template <class Class>
class data_identifier_extension : public testing::Test {};
template <class Class>
class routine_extension : public testing::Test {};

using Data_identifier_classes =
    testing::Types<d_2c55::DataIdentifier_ZevoZevovin_extension, d_2c56::DataIdentifier_ZevoTrainingCounter_extension,
                   d_2c57::DataIdentifier_ZevoMissingKeyHistory_extension, d_2c60::DataIdentifier_ZevoKeyList_extension>;
using Routine_classes =
    testing::Types<r_0648::RoutineService_ZevoDebug_extension, r_c00a::RoutineService_ZevoHandleDownloadcontainer_extension,
                   r_c00b::RoutineService_ZevoCheckVerificationHash_extension,
                   r_c00c::RoutineService_ZevoGetIdentityHash_extension, r_c00d::RoutineService_ZevoGetPssHash_extension,
                   r_c00f::RoutineService_ZevoGetState_extension>;
// Names each typed test after the interface of its class.
struct Interface_name {
    template <class Class>
    static std::string GetName(int) {
        return Class::interface_name;
    }
};
TYPED_TEST_SUITE(data_identifier_extension, Data_identifier_classes, Interface_name);
TYPED_TEST_SUITE(routine_extension, Routine_classes, Interface_name);

template <class Class, class Face>
void expect_layout() {
    using Callback = ruv::dm::foundation::extension::Extension_service_callback<
        std::remove_pointer_t<decltype(Probe<Class>::proxy_)>>;
    static_assert(std::is_base_of_v<Face, Class> && std::is_base_of_v<Callback, Class>);
    static_assert(std::is_polymorphic_v<Class> && !std::is_polymorphic_v<Callback>);
    static_assert(sizeof(Class) == 5 * sizeof(void*), "vtable pointer and four members");

    Probe<Class> probe;
    const Class& object = probe;
    EXPECT_EQ(static_cast<const void*>(static_cast<const Face*>(&object)), static_cast<const void*>(&object))
        << "the host's face is the first base";
    EXPECT_EQ(reinterpret_cast<const char*>(static_cast<const Callback*>(&object)) -
                  reinterpret_cast<const char*>(&object),
              8)
        << "the service connection is the second base, right behind the vtable pointer";
    EXPECT_EQ(probe.offset_of(&probe.proxy_), 8);
    EXPECT_EQ(probe.offset_of(&probe.find_service_handle_), 16);
    EXPECT_EQ(probe.offset_of(&probe.cancel_requested_), 24);
    EXPECT_EQ(probe.offset_of(&probe.cancel_result_), 32);
}

template <class Class>
void expect_zeroed_state() {
    Probe<Class> probe;
    EXPECT_EQ(probe.proxy_, nullptr);
    EXPECT_EQ(probe.find_service_handle_, nullptr);
    EXPECT_FALSE(probe.cancel_requested_.load());
    EXPECT_EQ(probe.cancel_result_, nullptr);
}

TYPED_TEST(data_identifier_extension, bases_and_members_stand_in_declared_order) {
    expect_layout<TypeParam, Extension_data_identifier>();
}

TYPED_TEST(routine_extension, bases_and_members_stand_in_declared_order) {
    expect_layout<TypeParam, Extension_routine_control>();
}

TYPED_TEST(data_identifier_extension, construction_only_zeroes_the_state) { expect_zeroed_state<TypeParam>(); }

TYPED_TEST(routine_extension, construction_only_zeroes_the_state) { expect_zeroed_state<TypeParam>(); }

TYPED_TEST(data_identifier_extension, read_returns_0x10_without_proxy_and_leaves_response) {
    TypeParam extension;
    std::vector<std::uint8_t> response = untouched;
    EXPECT_EQ(extension.read(meta_info, response), 0x10);
    EXPECT_EQ(response, untouched);
}

TYPED_TEST(data_identifier_extension, cancel_returns_0_without_proxy_and_leaves_the_flag) {
    Probe<TypeParam> extension;
    EXPECT_EQ(extension.cancel(meta_info), 0);
    EXPECT_FALSE(extension.cancel_requested_.load());
    extension.cancel_requested_.store(true);
    EXPECT_EQ(extension.cancel(meta_info), 0);
    EXPECT_TRUE(extension.cancel_requested_.load()) << "a cancel without proxy does not touch the flag";
    EXPECT_EQ(extension.cancel_result_, nullptr);
}

TYPED_TEST(data_identifier_extension, write_stays_the_base_default_and_changes_nothing) {
    TypeParam extension;
    Extension_data_identifier& face = extension;
    std::vector<std::uint8_t> data = untouched;
    EXPECT_EQ(face.write(meta_info, data), 0);
    EXPECT_EQ(data, untouched);
}

TYPED_TEST(data_identifier_extension, read_clears_a_stale_cancel) {
    Probe<TypeParam> extension;
    extension.cancel_requested_.store(true);
    std::vector<std::uint8_t> response;
    EXPECT_EQ(extension.read(meta_info, response), 0x10);
    EXPECT_FALSE(extension.cancel_requested_.load()) << "a job is never born cancelled";
}

TYPED_TEST(routine_extension, start_and_request_results_return_0x10_without_proxy) {
    TypeParam extension;
    for (auto job : {&Extension_routine_control::start, &Extension_routine_control::request_results}) {
        std::vector<std::uint8_t> request{0x01, 0x02};
        std::vector<std::uint8_t> response = untouched;
        EXPECT_EQ((extension.*job)(request, meta_info, response), 0x10);
        EXPECT_EQ(request, (std::vector<std::uint8_t>{0x01, 0x02}));
        EXPECT_EQ(response, untouched);
    }
}

TYPED_TEST(routine_extension, start_without_proxy_answers_0x10_even_for_an_empty_request) {
    TypeParam extension;
    std::vector<std::uint8_t> request;
    std::vector<std::uint8_t> response;
    EXPECT_EQ(extension.start(request, meta_info, response), 0x10);
}

TYPED_TEST(routine_extension, cancel_returns_0_without_proxy_and_leaves_the_flag) {
    Probe<TypeParam> extension;
    extension.cancel_requested_.store(true);
    EXPECT_EQ(extension.cancel(meta_info), 0);
    EXPECT_TRUE(extension.cancel_requested_.load());
}

TYPED_TEST(routine_extension, stop_stays_the_base_default_and_changes_nothing) {
    TypeParam extension;
    Extension_routine_control& face = extension;
    std::vector<std::uint8_t> request = untouched;
    std::vector<std::uint8_t> response = untouched;
    EXPECT_EQ(face.stop(request, meta_info, response), 0);
    EXPECT_EQ(request, untouched);
    EXPECT_EQ(response, untouched);
}

TYPED_TEST(routine_extension, attach_and_detach_with_no_service_offered_leave_no_proxy) {
    Probe<TypeParam> extension;
    extension.attach("1");
    extension.detach();
    EXPECT_EQ(extension.proxy_, nullptr);
    EXPECT_NE(extension.find_service_handle_, nullptr) << "detach keeps the search's handle";
    std::vector<std::uint8_t> request{0x01};
    std::vector<std::uint8_t> response;
    EXPECT_EQ(extension.request_results(request, meta_info, response), 0x10);
}

// Destroying a never-attached object releases the object's memory and nothing else.
TEST(service_extension, destroying_a_never_attached_object_touches_only_its_memory) {
    zevo::test::Allocation_scope scope;
    Extension* did = construct_extension_did(0x2C56);
    Extension* rid = construct_extension_rid(0x0648);
    EXPECT_EQ(scope.log().allocations, 2U);
    destroy_extension_did(did);
    destroy_extension_rid(rid);
    EXPECT_EQ(scope.log().allocations, 2U);
    EXPECT_EQ(scope.log().deallocations, 2U);
}

TEST(service_extension, destroy_functions_accept_null_and_release_nothing) {
    zevo::test::Allocation_scope scope;
    destroy_extension_did(nullptr);
    destroy_extension_rid(nullptr);
    EXPECT_EQ(scope.log().deallocations, 0U);
}

// The destructor's order of work: the stored Cancel future, then the search (strand before
// subscription), then the proxy. Each piece records its end.
struct Recording_proxy : r_c00c::proxy::RoutineService_ZevoGetIdentityHashProxy {
    explicit Recording_proxy(std::vector<std::string>& log) : RoutineService_ZevoGetIdentityHashProxy(nullptr), log_(log) {}
    ~Recording_proxy() override { log_.push_back("proxy"); }
    std::vector<std::string>& log_;
};

TEST(service_extension, destructor_releases_cancel_future_then_search_then_proxy) {
    std::vector<std::string> log;
    auto* extension = new Probe<r_c00c::RoutineService_ZevoGetIdentityHash_extension>();

    auto promise = std::make_shared<kel::com::Promise<void>>();
    extension->cancel_result_ = new kel::com::Future<void>(promise->get_future());
    promise->state()->cleanup = [&log] { log.push_back("cancel future"); };
    extension->find_service_handle_ = new ruv::com::cpp_binding::proxy::Find_service_handle{
        7,
        std::shared_ptr<kel::com::runtime::Service_finder::Subscription_handle>(
            nullptr, [&log](std::nullptr_t) { log.push_back("subscription"); }),
        std::shared_ptr<ruv::com::Strand>(nullptr, [&log](std::nullptr_t) { log.push_back("strand"); })};
    extension->proxy_ = new Recording_proxy(log);

    destroy_extension_rid(extension);
    EXPECT_EQ(log, (std::vector<std::string>{"cancel future", "strand", "subscription", "proxy"}));
}

// The future of the last Cancel call is destroyed with the object, without waiting for the
// service's answer: its promise is never completed here.
TEST(service_extension, destroying_right_after_cancel_drops_the_stored_future_without_waiting) {
    auto* extension = new Probe<d_2c60::DataIdentifier_ZevoKeyList_extension>();
    auto pending = std::make_shared<kel::com::Promise<void>>();
    extension->cancel_result_ = new kel::com::Future<void>(pending->get_future());
    extension->cancel_requested_.store(true);
    std::weak_ptr<kel::com::future_detail::State> state = pending->state();

    destroy_extension_did(extension);

    EXPECT_EQ(state.use_count(), 1) << "only the unanswered promise still holds the state";
    pending->set_value();  // the late answer goes nowhere and raises nothing
}

}  // namespace

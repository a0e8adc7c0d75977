// Attaching and detaching an extension through the running search, with the trace lines the
// platform's logger writes to the console: attach and detach trace the same handle id, detach
// of a never-attached object does nothing at all, attach twice drops the first search without
// a stop wait, and a proxy construction that throws on the strand does not end the search.

#include <gtest/gtest.h>

#include <cstdlib>
#include <future>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ara/com/logger.h"
#include "tests/bindings/bounded_wait.h"
#include "tests/discovery/console_capture.h"
#include "tests/discovery/discovery_sync.h"
#include "tests/discovery/extension_settling.h"
#include "tests/discovery/running_search.h"
#include "tests/discovery/sample_services.h"
#include "tests/trace/trace_samples.h"

namespace {

using ruv::com::Strand;
using ruv::com::cpp_binding::proxy::Proxy_handle;
using ruv::com::local::Offer;
using zevo::test::Console_capture;
using zevo::test::discovery_bound;
using zevo::test::expect_refused;
using zevo::test::expect_served;
using zevo::test::Extension_probe;
using zevo::test::Gate;
using zevo::test::Marker;
using zevo::test::offer_sample;
using zevo::test::pass_marker;
using zevo::test::Registry_watch;
using zevo::test::settled;
using zevo::test::strand_state;

using Data_class = talm::services::diag::d_2c56::DataIdentifier_ZevoTrainingCounter_extension;
using Routine_class = talm::services::diag::r_c00f::RoutineService_ZevoGetState_extension;

// The traces looked at here are of level 4 (info), the platform's default; asked for before the
// first logger of the process is made, in case the environment says otherwise.
class Info_level : public testing::Environment {
public:
    void SetUp() override { setenv("ZEVO_LOG_LEVEL", "4", 1); }
};
[[maybe_unused]] testing::Environment* const info_level = testing::AddGlobalTestEnvironment(new Info_level);

std::string start_line(const std::string& service, std::uint32_t id) {
    return R"({"1_incident":{"1_id":"Find_service_start","2_service_id":{"1_id":"Service_id","2_char const*":")" +
           service + R"("},"3_instance_id":{"1_id":"Instance_id","2_string":"1"}},"2_data":{"1_string":")" +
           std::to_string(id) + R"("}})";
}

std::string stop_line(const std::string& service, std::uint32_t id) {
    return R"({"1_incident":{"1_id":"Find_service_stop","2_service_id":{"1_id":"Service_id","2_char const*":")" +
           service + R"("}},"2_data":{"1_string":")" + std::to_string(id) + R"("}})";
}

template <class Class>
class service_attachment : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(ara::com::logger().backend->is_log_enabled(4)) << "level 4 is needed for these traces";
    }
    void TearDown() override {
        subject->detach();
        subject.reset();
    }

    std::unique_ptr<Extension_probe<Class>> subject = std::make_unique<Extension_probe<Class>>();
};

using Attached_classes = testing::Types<Data_class, Routine_class>;
TYPED_TEST_SUITE(service_attachment, Attached_classes, zevo::test::Extension_label);

TYPED_TEST(service_attachment, attach_traces_the_start_and_each_detach_the_stop_with_the_same_id) {
    using Interface = zevo::test::Interface_of<TypeParam>;
    Extension_probe<TypeParam>& extension = *this->subject;
    Console_capture capture;
    extension.attach("1");
    ASSERT_NE(extension.find_service_handle_, nullptr);
    const std::uint32_t id = extension.find_service_handle_->id;
    ASSERT_TRUE(capture.mark("attached"));
    EXPECT_EQ(capture.count(start_line(Interface::name, id)), 1u) << capture.text();

    extension.detach();
    ASSERT_TRUE(capture.mark("detached"));
    EXPECT_EQ(capture.count(stop_line(Interface::name, id)), 1u) << capture.text();
    EXPECT_NE(extension.find_service_handle_, nullptr) << "the handle stays until destruction";

    extension.detach();
    ASSERT_TRUE(capture.mark("detached again"));
    EXPECT_EQ(capture.count(stop_line(Interface::name, id)), 2u) << "a second detach runs through the same steps";
    EXPECT_EQ(strand_state(extension.strand()), Strand::stopped_state);
}

TYPED_TEST(service_attachment, detach_of_a_never_attached_object_does_nothing_and_writes_no_trace) {
    Extension_probe<TypeParam>& extension = *this->subject;
    Console_capture capture;
    extension.detach();
    ASSERT_TRUE(capture.mark("detached"));
    EXPECT_EQ(extension.find_service_handle_, nullptr);
    EXPECT_EQ(extension.proxy_, nullptr);
    EXPECT_EQ(capture.count("Find_service_stop"), 0u) << capture.text();
    expect_refused(extension, "never attached, detached");
}

TYPED_TEST(service_attachment, attach_twice_replaces_the_handle_without_a_stop_wait) {
    using Interface = zevo::test::Interface_of<TypeParam>;
    Extension_probe<TypeParam>& extension = *this->subject;
    extension.attach("1");
    ASSERT_NE(extension.find_service_handle_, nullptr);
    const std::uint32_t first_id = extension.find_service_handle_->id;
    // Kept here as well, so that the first strand outlives its search and can be looked at.
    std::shared_ptr<Strand> first_strand = extension.find_service_handle_->strand;
    const std::weak_ptr<kel::com::runtime::Service_finder::Subscription_handle> first_subscription =
        extension.find_service_handle_->subscription;

    // A task that holds the first strand busy: a stop wait would wait for it.
    auto held = std::make_shared<Gate>();
    std::promise<void> entered;
    first_strand->internal_post([held, &entered] {
        entered.set_value();
        EXPECT_TRUE(held->pass());
    });
    ASSERT_EQ(entered.get_future().wait_for(discovery_bound), std::future_status::ready);

    Console_capture capture;
    zevo::test::Background_job<bool> attaching(
        "a second attach beside a busy first search",
        [&extension] {
            extension.attach("1");
            return true;
        },
        [held] { held->open(); });
    EXPECT_TRUE(attaching.finish()) << "attach waited for the first search";
    EXPECT_EQ(strand_state(*first_strand), Strand::running_state) << "no stop wait touched the first strand";
    ASSERT_TRUE(capture.mark("attached again"));
    EXPECT_EQ(capture.count("Find_service_stop"), 0u) << capture.text();
    EXPECT_EQ(capture.count(start_line(Interface::name, first_id + 1)), 1u) << capture.text();
    ASSERT_NE(extension.find_service_handle_, nullptr);
    EXPECT_EQ(extension.find_service_handle_->id, first_id + 1);
    EXPECT_NE(extension.find_service_handle_->strand, first_strand);
    EXPECT_TRUE(first_subscription.expired()) << "the first search's references are gone";

    held->open();
    first_strand.reset();  // waits for the held task, on this thread

    Registry_watch watch(Interface::name, "1");
    ASSERT_TRUE(settled(extension, watch, 0));
    Offer offer = offer_sample<Interface>();
    ASSERT_TRUE(settled(extension, watch, 1));
    expect_served(extension, "through the second search");
}

TYPED_TEST(service_attachment, a_proxy_construction_that_throws_on_the_strand_does_not_end_the_search) {
    using Interface = zevo::test::Interface_of<TypeParam>;
    Extension_probe<TypeParam>& extension = *this->subject;
    extension.attach("1");
    Registry_watch watch(Interface::name, "1");
    ASSERT_TRUE(settled(extension, watch, 0));
    Offer first = offer_sample<Interface>();
    ASSERT_TRUE(settled(extension, watch, 1));
    ASSERT_NE(extension.proxy_, nullptr);

    // A result the runtime could not have made, handled where results are handled.
    extension.strand().internal_post([&extension] {
        extension.on_services_found({Proxy_handle(zevo::test::found_service(Interface::name, "1"))});
    });
    ASSERT_EQ(pass_marker(extension.strand()), Marker::ran);
    EXPECT_EQ(extension.proxy_, nullptr);
    expect_refused(extension, "after the failed construction");

    Offer second = offer_sample<Interface>();
    ASSERT_TRUE(settled(extension, watch, 2));
    ASSERT_NE(extension.proxy_, nullptr) << "the next list attaches";
    EXPECT_EQ(extension.proxy_->port->service.get(), first.record().get()) << "from the first of the two";
    expect_served(extension, "after the next list");
}

TYPED_TEST(service_attachment, a_found_list_of_two_attaches_the_first_and_its_withdrawal_the_second) {
    using Interface = zevo::test::Interface_of<TypeParam>;
    Extension_probe<TypeParam>& extension = *this->subject;
    Offer first = offer_sample<Interface>();
    Offer second = offer_sample<Interface>();
    extension.attach("1");
    Registry_watch watch(Interface::name, "1");
    ASSERT_TRUE(settled(extension, watch, 2));
    ASSERT_NE(extension.proxy_, nullptr);
    EXPECT_EQ(extension.proxy_->port->service.get(), first.record().get());
    first.withdraw();
    ASSERT_TRUE(settled(extension, watch, 1));
    ASSERT_NE(extension.proxy_, nullptr);
    EXPECT_EQ(extension.proxy_->port->service.get(), second.record().get());
    expect_served(extension, "on the second service");
}

// The trace shows the rule: a found service writes one "Service_proxy_constructed", and the empty
// list of its withdrawal writes none, although it deletes the proxy; offered again, it writes the
// second.
TYPED_TEST(service_attachment, an_empty_list_writes_no_Service_proxy_constructed) {
    using Interface = zevo::test::Interface_of<TypeParam>;
    Extension_probe<TypeParam>& extension = *this->subject;
    const std::string constructed = R"({"1_incident":{"1_id":"Service_proxy_constructed","2_service_id":)"
                                    R"({"1_id":"Service_id","string":")" +
                                    std::string{Interface::name} + R"("})";
    Console_capture capture;
    Offer offer = offer_sample<Interface>();
    extension.attach("1");
    Registry_watch watch(Interface::name, "1");
    ASSERT_TRUE(settled(extension, watch, 1));
    ASSERT_NE(extension.proxy_, nullptr);
    ASSERT_TRUE(capture.mark("attached"));
    ASSERT_EQ(capture.count(constructed), 1u) << capture.text();

    offer.withdraw();
    ASSERT_TRUE(settled(extension, watch, 0));
    EXPECT_EQ(extension.proxy_, nullptr);
    ASSERT_TRUE(capture.mark("withdrawn"));
    EXPECT_EQ(capture.count(constructed), 1u) << "the empty list traced a construction:\n" << capture.text();

    offer = offer_sample<Interface>();
    ASSERT_TRUE(settled(extension, watch, 1));
    ASSERT_TRUE(capture.mark("offered again"));
    EXPECT_EQ(capture.count(constructed), 2u) << capture.text();
}

}  // namespace

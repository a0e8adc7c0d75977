// The life of each of the ten extensions against a service offered in the process registry:
// attach, the service comes, goes and comes back, detach, destruction; attach twice; detach from
// the search's own strand and from inside the service's provider. Written once over the classes.

#include <gtest/gtest.h>

#include <cstdint>
#include <future>
#include <memory>
#include <utility>
#include <vector>

#include "tests/bindings/bounded_wait.h"
#include "tests/discovery/discovery_sync.h"
#include "tests/discovery/extension_settling.h"
#include "tests/discovery/sample_services.h"

namespace {

using ruv::com::Strand;
using ruv::com::local::Offer;
using zevo::test::discovery_bound;
using zevo::test::eventually;
using zevo::test::expect_refused;
using zevo::test::expect_served;
using zevo::test::Extension_probe;
using zevo::test::offer_sample;
using zevo::test::Registry_watch;
using zevo::test::results_job;
using zevo::test::sample_record;
using zevo::test::settled;
using zevo::test::strand_state;

template <class Class>
class extension_lifecycle : public testing::Test {
protected:
    // The host's order holds also when a test stops early: detach before destruction.
    void TearDown() override {
        subject->detach();
        subject.reset();
    }

    std::unique_ptr<Extension_probe<Class>> subject = std::make_unique<Extension_probe<Class>>();
};

TYPED_TEST_SUITE(extension_lifecycle, zevo::test::Extension_classes, zevo::test::Extension_label);

TYPED_TEST(extension_lifecycle, follows_its_service_until_detach_and_keeps_the_proxy_afterwards) {
    using Interface = zevo::test::Interface_of<TypeParam>;
    Extension_probe<TypeParam>& extension = *this->subject;
    extension.attach("1");
    ASSERT_NE(extension.find_service_handle_, nullptr);
    Registry_watch watch(Interface::name, "1");
    ASSERT_TRUE(settled(extension, watch, 0));
    EXPECT_EQ(extension.proxy_, nullptr);
    expect_refused(extension, "before the service is offered");

    Offer offer = offer_sample<Interface>();
    ASSERT_TRUE(settled(extension, watch, 1));
    ASSERT_NE(extension.proxy_, nullptr);
    EXPECT_EQ(extension.proxy_->port->service.get(), offer.record().get());
    expect_served(extension, "while the service is offered");

    offer.withdraw();
    ASSERT_TRUE(settled(extension, watch, 0));
    EXPECT_EQ(extension.proxy_, nullptr);
    expect_refused(extension, "once the service is withdrawn");

    Offer again = offer_sample<Interface>();
    ASSERT_TRUE(settled(extension, watch, 1));
    ASSERT_NE(extension.proxy_, nullptr);
    EXPECT_EQ(extension.proxy_->port->service.get(), again.record().get()) << "a new proxy on the new service";
    expect_served(extension, "once the service is offered again");

    extension.detach();
    EXPECT_EQ(strand_state(extension.strand()), Strand::stopped_state);
    auto* const kept = extension.proxy_;
    expect_served(extension, "after detach");

    Offer other = offer_sample<Interface>();
    ASSERT_TRUE(settled(extension, watch, 2));
    EXPECT_EQ(extension.proxy_, kept) << "a stopped search delivers nothing";
    again.withdraw();
    ASSERT_TRUE(settled(extension, watch, 1));
    EXPECT_EQ(extension.proxy_, kept) << "a withdrawal after detach no longer clears the proxy";
    std::vector<std::uint8_t> response;
    EXPECT_EQ(results_job(extension, response), 0x10) << "the kept proxy's service is gone";
    EXPECT_TRUE(response.empty());
}

TYPED_TEST(extension_lifecycle, attach_twice_drops_the_first_search_and_the_second_serves) {
    using Interface = zevo::test::Interface_of<TypeParam>;
    Extension_probe<TypeParam>& extension = *this->subject;
    extension.attach("1");
    ASSERT_NE(extension.find_service_handle_, nullptr);
    const std::uint32_t first_id = extension.find_service_handle_->id;
    const std::weak_ptr<kel::com::runtime::Service_finder::Subscription_handle> first_subscription =
        extension.find_service_handle_->subscription;

    extension.attach("1");
    ASSERT_NE(extension.find_service_handle_, nullptr);
    EXPECT_EQ(extension.find_service_handle_->id, first_id + 1);
    EXPECT_TRUE(first_subscription.expired()) << "the first search has no owner left";

    Registry_watch watch(Interface::name, "1");
    ASSERT_TRUE(settled(extension, watch, 0));
    Offer offer = offer_sample<Interface>();
    ASSERT_TRUE(settled(extension, watch, 1));
    expect_served(extension, "through the second search");
    offer.withdraw();
    ASSERT_TRUE(settled(extension, watch, 0));
    expect_refused(extension, "once the service is withdrawn");
}

TYPED_TEST(extension_lifecycle, detach_inside_a_task_of_its_own_strand_returns_at_once) {
    using Interface = zevo::test::Interface_of<TypeParam>;
    Extension_probe<TypeParam>& extension = *this->subject;
    extension.attach("1");
    Registry_watch watch(Interface::name, "1");
    ASSERT_TRUE(settled(extension, watch, 0));
    Offer offer = offer_sample<Interface>();
    ASSERT_TRUE(settled(extension, watch, 1));
    auto* const kept = extension.proxy_;

    auto detached = std::make_shared<std::promise<void>>();
    std::future<void> returned = detached->get_future();
    extension.strand().internal_post([&extension, detached] {
        extension.detach();
        detached->set_value();
    });
    ASSERT_EQ(returned.wait_for(discovery_bound), std::future_status::ready)
        << "detach on the strand's own thread waits for itself";
    ASSERT_TRUE(eventually([&] { return strand_state(extension.strand()) == Strand::stopped_state; }))
        << "the strand closes once the detaching task is done";

    offer.withdraw();
    ASSERT_TRUE(settled(extension, watch, 0));
    EXPECT_EQ(extension.proxy_, kept) << "nothing is delivered after the stop";
}

TYPED_TEST(extension_lifecycle, detach_inside_the_providers_handler_returns_and_the_job_gets_its_answer) {
    using Interface = zevo::test::Interface_of<TypeParam>;
    Extension_probe<TypeParam>& extension = *this->subject;
    extension.attach("1");
    Registry_watch watch(Interface::name, "1");
    ASSERT_TRUE(settled(extension, watch, 0));
    // Every call detaches first, on the runtime's thread, while the calling job waits.
    Offer offer = offer_sample<Interface>([&extension] { extension.detach(); });
    ASSERT_TRUE(settled(extension, watch, 1));
    auto* const kept = extension.proxy_;

    zevo::test::Background_job<std::vector<std::uint8_t>> job(
        "a job whose provider detaches",
        [&extension] {
            std::vector<std::uint8_t> response;
            EXPECT_EQ(results_job(extension, response), 0);
            return response;
        },
        [&extension] { zevo::test::cancel_job(extension); });
    EXPECT_EQ(job.finish(), sample_record<TypeParam>());
    EXPECT_EQ(strand_state(extension.strand()), Strand::stopped_state);

    offer.withdraw();
    ASSERT_TRUE(settled(extension, watch, 0));
    EXPECT_EQ(extension.proxy_, kept) << "nothing is delivered after the stop";
}

}  // namespace

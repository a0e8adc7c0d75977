// The discovery callback of each of the ten extensions, called directly on the test's thread with
// lists made of services offered in the process registry: every call deletes the present proxy
// first, an empty list leaves none, the first handle alone makes the new one, and a construction
// that throws leaves none until the next list. The extensions are never attached here.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <stdexcept>
#include <type_traits>
#include <vector>

#include "allocation_log.h"
#include "tests/discovery/extension_settling.h"
#include "tests/discovery/sample_services.h"
#include "tests/trace/trace_samples.h"

namespace {

using ruv::com::cpp_binding::proxy::Proxy_handle;
using ruv::com::local::Offer;
using zevo::test::Allocation_log;
using zevo::test::Allocation_scope;
using zevo::test::expect_refused;
using zevo::test::expect_served;
using zevo::test::Extension_probe;
using zevo::test::offer_sample;

template <class Class>
class service_callback : public testing::Test {
protected:
    /// A handle whose record is not the runtime's: a port cannot be attached to it.
    static Proxy_handle foreign_handle() {
        return Proxy_handle(zevo::test::found_service(zevo::test::Interface_of<Class>::name, "1"));
    }

    /// Calls the callback with `handles` and returns what this thread allocated and released in it.
    Allocation_log call_with(std::vector<Proxy_handle> handles) {
        const Allocation_scope scope;
        extension.on_services_found(std::move(handles));
        return scope.log();
    }

    Extension_probe<Class> extension;
};

TYPED_TEST_SUITE(service_callback, zevo::test::Extension_classes, zevo::test::Extension_label);

bool released(const Allocation_log& log, const void* address) {
    const auto end = log.released.begin() + static_cast<std::ptrdiff_t>(std::min(log.deallocations, log.capacity));
    return std::find(log.released.begin(), end, address) != end;
}

TYPED_TEST(service_callback, an_empty_list_deletes_the_proxy_and_jobs_answer_0x10) {
    using Interface = zevo::test::Interface_of<TypeParam>;
    Offer offer = offer_sample<Interface>();
    this->call_with({Proxy_handle(offer.handle())});
    ASSERT_NE(this->extension.proxy_, nullptr);
    expect_served(this->extension, "with a proxy");
    const void* const deleted = this->extension.proxy_;

    const Allocation_log log = this->call_with({});
    EXPECT_EQ(this->extension.proxy_, nullptr);
    EXPECT_TRUE(released(log, deleted)) << "the proxy was deleted";
    EXPECT_EQ(log.allocations, 0u) << "nothing is built for an empty list";
    expect_refused(this->extension, "after an empty list");
}

TYPED_TEST(service_callback, two_handles_make_the_proxy_from_the_first_alone) {
    using Interface = zevo::test::Interface_of<TypeParam>;
    std::atomic<int> first_calls{0};
    std::atomic<int> second_calls{0};
    Offer first = offer_sample<Interface>([&first_calls] { ++first_calls; });
    Offer second = offer_sample<Interface>([&second_calls] { ++second_calls; });
    this->call_with({Proxy_handle(first.handle()), Proxy_handle(second.handle())});
    ASSERT_NE(this->extension.proxy_, nullptr);
    EXPECT_EQ(this->extension.proxy_->port->service.get(), first.record().get());
    std::vector<std::uint8_t> response;
    EXPECT_EQ(zevo::test::results_job(this->extension, response), 0);
    EXPECT_EQ(first_calls.load(), 1);
    EXPECT_EQ(second_calls.load(), 0);
}

TYPED_TEST(service_callback, the_same_handle_twice_deletes_the_first_proxy_and_builds_a_second) {
    using Interface = zevo::test::Interface_of<TypeParam>;
    Offer offer = offer_sample<Interface>();
    this->call_with({Proxy_handle(offer.handle())});
    ASSERT_NE(this->extension.proxy_, nullptr);
    const void* const first = this->extension.proxy_;

    const Allocation_log log = this->call_with({Proxy_handle(offer.handle())});
    ASSERT_NE(this->extension.proxy_, nullptr);
    EXPECT_TRUE(released(log, first)) << "the first proxy was deleted";
    EXPECT_GE(log.allocations, 2u) << "a new proxy and its port were built";
    EXPECT_EQ(this->extension.proxy_->port->service.get(), offer.record().get());
    expect_served(this->extension, "with the second proxy");
}

TYPED_TEST(service_callback, a_throwing_construction_leaves_no_proxy_and_the_next_list_attaches) {
    using Interface = zevo::test::Interface_of<TypeParam>;
    using Proxy = std::remove_pointer_t<decltype(Extension_probe<TypeParam>::proxy_)>;
    try {
        Proxy unusable(TestFixture::foreign_handle());
        FAIL() << "a proxy was built on a foreign handle";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "Rport: the service handle does not come from this runtime");
    }

    Offer offer = offer_sample<Interface>();
    this->call_with({Proxy_handle(offer.handle())});
    ASSERT_NE(this->extension.proxy_, nullptr);
    const void* const deleted = this->extension.proxy_;

    const Allocation_log log = this->call_with({TestFixture::foreign_handle()});
    EXPECT_EQ(this->extension.proxy_, nullptr);
    EXPECT_TRUE(released(log, deleted)) << "the present proxy goes before the list is looked at";
    expect_refused(this->extension, "after the failed construction");

    this->call_with({Proxy_handle(offer.handle())});
    ASSERT_NE(this->extension.proxy_, nullptr);
    expect_served(this->extension, "after the next list");
}

TYPED_TEST(service_callback, only_the_first_handle_counts_whatever_stands_behind_it) {
    using Interface = zevo::test::Interface_of<TypeParam>;
    Offer offer = offer_sample<Interface>();
    this->call_with({Proxy_handle(offer.handle()), TestFixture::foreign_handle()});
    ASSERT_NE(this->extension.proxy_, nullptr);
    EXPECT_EQ(this->extension.proxy_->port->service.get(), offer.record().get());

    this->call_with({TestFixture::foreign_handle(), Proxy_handle(offer.handle())});
    EXPECT_EQ(this->extension.proxy_, nullptr) << "no choosing among the handles";
}

}  // namespace

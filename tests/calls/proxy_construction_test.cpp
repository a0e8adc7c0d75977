// The ten proxies built from an offered service's handle, as discovery builds them: the
// description each hands to its port, the construction trace, one member per method reaching its
// identifier, and destruction with calls in flight, which frees the method objects and the port
// and leaves the calls' futures to complete. The port's constructor is the recording one of
// recording_rport.cpp; the releases are seen through the program's allocation log.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "allocation_log.h"
#include "call_support.h"
#include "proxy/proxy_handle.h"
#include "recording_rport.h"
#include "someip/service_payload.h"
#include "tests/bindings/record_samples.h"
#include "tests/catalogue/service_catalogue.h"
#include "tests/someip/argument_samples.h"

namespace {

using namespace zevo::test::calls;
using zevo::test::Expected;
using zevo::test::Record_sample;
using zevo::test::Results_method_of;

/// Waits for a call's future and tells whether it completed without an exception.
using Completion = std::function<bool()>;

template <class Future>
Completion completion_of(Future future) {
    auto kept = std::make_shared<Future>(std::move(future));
    return [kept] {
        if (kept->wait_for(wait_bound) != std::future_status::ready) {
            return false;
        }
        try {
            kept->get();
            return true;
        } catch (...) {
            return false;
        }
    };
}

/// A member of a proxy: the method identifier it stands for, and a call of it.
struct Member_call {
    std::uint16_t method_id;
    std::function<Completion()> call;
};

/// The members of `proxy` in member order: Cancel, then Read, or RequestResults and Start.
template <class Proxy>
std::vector<Member_call> members_of(Proxy& proxy) {
    using Interface = typename Proxy::Interface_type;
    std::vector<Member_call> members{{0, [&proxy] { return completion_of((*proxy.Cancel.impl)(host_meta_info())); }}};
    if constexpr (Expected<Interface>::routine) {
        members.push_back({1, [&proxy] { return completion_of((*proxy.RequestResults.impl)(host_meta_info())); }});
        members.push_back({2, [&proxy] {
                               return completion_of(std::apply(
                                   [&proxy](const auto&... argument) { return (*proxy.Start.impl)(argument...); },
                                   zevo::test::methods::Request_sample<typename Interface::Start>::arguments(
                                       host_meta_info())));
                           }});
    } else {
        members.push_back({1, [&proxy] { return completion_of((*proxy.Read.impl)(host_meta_info())); }});
    }
    return members;
}

/// Calls every member of `proxy` once, in member order, without waiting.
template <class Proxy>
std::vector<Completion> call_every_member(Proxy& proxy) {
    std::vector<Completion> calls;
    for (const Member_call& member : members_of(proxy)) {
        calls.push_back(member.call());
    }
    return calls;
}

std::ptrdiff_t position_of(const zevo::test::Allocation_log& log, const void* address) {
    const auto last = log.released.begin() + static_cast<std::ptrdiff_t>(std::min(log.deallocations, log.released.size()));
    const auto found = std::find(log.released.begin(), last, address);
    return found == last ? -1 : found - log.released.begin();
}

template <class Interface>
class proxy_construction : public testing::Test {
protected:
    using Proxy = typename Expected<Interface>::Proxy;
    static constexpr std::uint8_t method_count = Expected<Interface>::routine ? 3 : 2;

    proxy_construction() {
        recorded_descriptions().clear();
        port_logger() = &logger.logger;
        service.provider.answer_at_once([](std::uint16_t method_id, const Bytes&) {
            return Answer{0, method_id == 1 ? good_results() : Bytes{}};
        });
    }
    ~proxy_construction() override { port_logger() = nullptr; }

    static Bytes good_results() {
        return ruv::com::someip::serialization::response_payload(Record_sample<Interface>::output());
    }

    /// As discovery builds it: from the first handle of a search's result.
    std::unique_ptr<Proxy> build() {
        return std::make_unique<Proxy>(ruv::com::cpp_binding::proxy::Proxy_handle(service.offer.handle()));
    }

    Test_logger logger{debug_level};  ///< outlives the runtime's threads
    Offered_service service{std::string(Expected<Interface>::name)};
};
TYPED_TEST_SUITE(proxy_construction, zevo::test::All_interfaces, zevo::test::Interface_label);

TYPED_TEST(proxy_construction, attaches_its_port_with_the_description_of_its_interface) {
    const auto proxy = this->build();
    ASSERT_EQ(recorded_descriptions().size(), 1U);
    const auto description = recorded_descriptions().front();
    EXPECT_EQ(description.reserved_0, 0);
    EXPECT_EQ(description.reserved_1, 0);
    EXPECT_EQ(description.method_count, TestFixture::method_count);
    EXPECT_EQ(description.reserved_3, 0);
    std::uint32_t word = 0;
    static_assert(sizeof description == sizeof word);
    std::memcpy(&word, &description, sizeof word);  // this machine is little-endian
    EXPECT_EQ(word, Expected<TypeParam>::routine ? 0x00030000U : 0x00020000U);
}

TYPED_TEST(proxy_construction, traces_its_construction_once_at_info_level_with_both_flags_1) {
    const auto proxy = this->build();
    const std::vector<Trace_line> lines = this->logger.backend.lines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].level, 4);
    EXPECT_EQ(lines[0].text,
              R"({"1_incident":{"1_id":"Service_proxy_constructed","2_service_id":{"1_id":"Service_id","string":")" +
                  std::string(Expected<TypeParam>::name) +
                  R"("},"3_instance_id":{"1_id":"Instance_id","2_string":"1"},"4_struct4bytes":"1","5_utf8simple":"1"}})");
}

TYPED_TEST(proxy_construction, with_info_level_off_is_built_without_a_trace_and_calls_the_same) {
    Test_logger quiet{3};
    port_logger() = &quiet.logger;
    {
        const auto proxy = this->build();
        for (const Completion& completed : call_every_member(*proxy)) {
            EXPECT_TRUE(completed());
        }
    }
    EXPECT_TRUE(quiet.backend.lines().empty());
    EXPECT_EQ(this->service.provider.received(), TestFixture::method_count);
}

TYPED_TEST(proxy_construction, has_one_member_per_method_each_reaching_its_identifier) {
    const auto proxy = this->build();
    const std::vector<Member_call> members = members_of(*proxy);
    // Nothing but the methods stands behind the base: one member object per method.
    EXPECT_EQ(sizeof(typename TestFixture::Proxy),
              sizeof(ara::com::internal::proxy::Proxy<TypeParam>) +
                  TestFixture::method_count * sizeof(ara::com::internal::proxy::Method_of<typename TypeParam::Cancel>));
    for (const Member_call& member : members) {
        EXPECT_TRUE(member.call()());
        const std::optional<Received_call> call = this->service.provider.next();
        ASSERT_TRUE(call);
        EXPECT_EQ(call->method_id, member.method_id);
    }
    EXPECT_EQ(this->service.provider.received(), TestFixture::method_count);
}

TYPED_TEST(proxy_construction, destroyed_with_calls_in_flight_frees_methods_then_port_and_the_calls_complete) {
    this->service.provider.keep_calls();
    auto proxy = this->build();
    const std::vector<Completion> completions = call_every_member(*proxy);
    std::vector<Received_call> calls;
    for (std::uint8_t count = 0; count < TestFixture::method_count; ++count) {
        std::optional<Received_call> call = this->service.provider.next();
        ASSERT_TRUE(call);
        calls.push_back(std::move(*call));
    }

    // Reverse member order: Start, RequestResults, Cancel or Read, Cancel; then the port, whose
    // service text goes before the port itself; the proxy last.
    std::vector<const void*> expected_order;
    if constexpr (Expected<TypeParam>::routine) {
        expected_order = {proxy->Start.impl, proxy->RequestResults.impl, proxy->Cancel.impl};
    } else {
        expected_order = {proxy->Read.impl, proxy->Cancel.impl};
    }
    expected_order.insert(expected_order.end(), {proxy->port->info.service.data(), proxy->port, proxy.get()});
    zevo::test::Allocation_log log;
    {
        zevo::test::Allocation_scope scope;
        proxy.reset();
        log = scope.log();
    }
    std::ptrdiff_t previous = -1;
    for (const void* address : expected_order) {
        const std::ptrdiff_t position = position_of(log, address);
        EXPECT_GT(position, previous) << "released out of order, or not at all";
        previous = position;
    }

    for (Received_call& call : calls) {
        EXPECT_TRUE(call.reply.answer(0, call.method_id == 1 ? TestFixture::good_results() : Bytes{}));
    }
    for (const Completion& completed : completions) {
        EXPECT_TRUE(completed()) << "a call of a destroyed proxy still completes";
    }
}

}  // namespace

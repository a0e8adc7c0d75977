// What reaches the provider for each of the 26 methods, byte for byte, when the call goes
// through its member of a real proxy, the port and the in-process binding: meta_info with
// entries or empty, then the arguments; the same bytes with debug tracing on and off. And the
// answer, written out by hand, comes back as the method's Output.

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <future>
#include <optional>
#include <string>
#include <tuple>
#include <type_traits>

#include "call_support.h"
#include "tests/catalogue/service_catalogue.h"
#include "tests/someip/argument_samples.h"
#include "tests/someip/response_samples.h"
#include "tests/someip/service_methods.h"

namespace {

using namespace zevo::test::calls;
using zevo::test::methods::Meta_info_sample;
using zevo::test::methods::Request_sample;
using zevo::test::methods::Response_sample;

struct Method_label {
    template <class Case>
    static std::string GetName(int) {
        return Case::name();
    }
};

/// The member of `proxy` that stands for the method of `Case`.
template <class Case, class Proxy>
auto& member_of(Proxy& proxy) {
    if constexpr (Case::is_cancel) {
        return *proxy.Cancel.impl;
    } else if constexpr (!Case::is_results) {
        return *proxy.Start.impl;
    } else if constexpr (Case::is_routine) {
        return *proxy.RequestResults.impl;
    } else {
        return *proxy.Read.impl;
    }
}

template <class Case>
class request_layout : public testing::Test {
protected:
    using Interface = typename Case::Interface;
    using Method = typename Case::Method;
    using Proxy = typename zevo::test::Expected<Interface>::Proxy;

    request_layout() {
        service.provider.answer_at_once([](std::uint16_t, const Bytes&) { return Answer{0, good_answer()}; });
    }

    /// A result method's shortest whole answer, written out by hand; nothing for the others.
    static Bytes good_answer() {
        if constexpr (Case::is_results) {
            return Response_sample<Interface>::minimal_bytes();
        } else {
            return {};
        }
    }

    /// One call with the sample arguments behind `meta_info`, through a proxy on a port that
    /// traces to `logger`; the request as the provider got it.
    std::optional<Bytes> call_with(const Meta_info& meta_info, Test_logger& logger) {
        Proxy proxy(new Traced_port(service.offer, logger));
        auto future = std::apply([&proxy](const auto&... argument) { return member_of<Case>(proxy)(argument...); },
                                 Request_sample<Method>::arguments(meta_info));
        if (future.wait_for(wait_bound) != std::future_status::ready) {
            ADD_FAILURE() << "no answer";
            return std::nullopt;
        }
        if constexpr (Case::is_results) {
            const auto output = future.get();
            EXPECT_TRUE(output.fields() == Response_sample<Interface>::minimal_output().fields());
        } else {
            EXPECT_NO_THROW(future.get());
        }
        std::optional<Received_call> call = service.provider.next();
        if (!call) {
            return std::nullopt;
        }
        EXPECT_EQ(call->method_id, Method::method_id);
        return call->request;
    }

    Test_logger debug_on{debug_level};  ///< loggers outlive the runtime's threads
    Test_logger debug_off{logging_off};
    Offered_service service{Interface::name};
};
using All_methods = zevo::test::methods::Rebind_t<testing::Types, zevo::test::methods::All_methods>;
TYPED_TEST_SUITE(request_layout, All_methods, Method_label);

TYPED_TEST(request_layout, meta_info_with_entries_then_the_arguments_with_debug_on_and_off) {
    using Sample = Request_sample<typename TestFixture::Method>;
    const Bytes expected = Sample::bytes(host_meta_info_block());
    EXPECT_EQ(this->call_with(host_meta_info(), this->debug_on), expected);
    EXPECT_EQ(this->call_with(host_meta_info(), this->debug_off), expected);
    EXPECT_EQ(this->debug_on.backend.lines().size(), 2U) << "request and response traced";
    EXPECT_TRUE(this->debug_off.backend.lines().empty());
}

TYPED_TEST(request_layout, empty_meta_info_is_a_zero_length_field_and_the_arguments_follow_directly) {
    using Sample = Request_sample<typename TestFixture::Method>;
    const Meta_info_sample empty = zevo::test::methods::empty_meta_info();
    EXPECT_EQ(this->call_with(empty.value, this->debug_on), Sample::bytes({0x00, 0x00, 0x00, 0x00}));
    EXPECT_EQ(this->call_with(empty.value, this->debug_off), Sample::bytes({0x00, 0x00, 0x00, 0x00}));
    if constexpr (TypeParam::is_cancel || TypeParam::is_results) {
        EXPECT_EQ(this->call_with(empty.value, this->debug_on), (Bytes{0x00, 0x00, 0x00, 0x00}))
            << "Read, RequestResults and Cancel send the meta_info block alone";
    }
}

// --- three Starts written out whole ---

/// The request that one Start call with `arguments` makes reach the provider.
template <class Interface, class... Arguments>
std::optional<Bytes> start_request(const Arguments&... arguments) {
    Test_logger logger{debug_level};
    Offered_service service{Interface::name};
    service.provider.answer_every_call(0);
    typename zevo::test::Expected<Interface>::Proxy proxy(new Traced_port(service.offer, logger));
    auto future = (*proxy.Start.impl)(arguments...);
    if (future.wait_for(wait_bound) != std::future_status::ready) {
        ADD_FAILURE() << "no answer";
        return std::nullopt;
    }
    std::optional<Received_call> call = service.provider.next();
    return call ? std::optional<Bytes>(call->request) : std::nullopt;
}

TEST(start_request, debug_with_one_entry_a_byte_and_two_elements_sends_21_bytes) {
    EXPECT_EQ(start_request<talm::services::diag::r_0648::RoutineService_ZevoDebug>(
                  Meta_info{{"a", "b"}}, std::uint8_t{0x07}, Bytes{0xAA, 0xBB}),
              (Bytes{0x00, 0x00, 0x00, 0x0A, 0x00, 0x00, 0x00, 0x01, 0x61, 0x00, 0x00, 0x00, 0x01, 0x62, 0x07, 0x00,
                     0x00, 0x00, 0x02, 0xAA, 0xBB}));
}

TEST(start_request, identity_hash_with_empty_meta_info_sends_29_bytes) {
    const std::array<std::uint8_t, 16> hash{0xF0, 0xF1, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7,
                                            0xF8, 0xF9, 0xFA, 0xFB, 0xFC, 0xFD, 0xFE, 0xFF};
    EXPECT_EQ(start_request<talm::services::diag::r_c00c::RoutineService_ZevoGetIdentityHash>(
                  Meta_info{}, std::array<std::uint8_t, 1>{0x5A}, hash),
              (Bytes{0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0x5A, 0x00, 0x00, 0x00, 0x10, 0xF0, 0xF1,
                     0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7, 0xF8, 0xF9, 0xFA, 0xFB, 0xFC, 0xFD, 0xFE, 0xFF}));
}

TEST(start_request, get_state_with_empty_meta_info_sends_5_bytes) {
    EXPECT_EQ(start_request<talm::services::diag::r_c00f::RoutineService_ZevoGetState>(Meta_info{},
                                                                                        std::uint8_t{0x01}),
              (Bytes{0x00, 0x00, 0x00, 0x00, 0x01}));
}

}  // namespace

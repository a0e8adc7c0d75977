// The ten generated proxies as the jobs hold them: the port and one Method member per method in
// the order of their identifiers, each Method owning a Method_impl that keeps the proxy's port;
// what building and destroying a proxy allocates and frees; and the refusal of every call while
// the request path is not there.

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <future>
#include <map>
#include <string>
#include <tuple>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include <gtest/gtest.h>

#include "allocation_log.h"
#include "error_checks.h"
#include "proxy/method_request.h"
#include "proxy/promise.h"
#include "raw_object.h"
#include "tests/support/unavailable_port.h"
#include "ruv/com/infrastructure_exception.h"
#include "service_catalogue.h"

namespace {

using namespace zevo::test;
using ara::com::internal::proxy::Method;
using ara::com::internal::proxy::Proxy;
using ruv::com::cpp_binding::proxy::Method_impl;
using ruv::com::cpp_binding::proxy::Rport;

using Meta = const std::map<std::string, std::string>&;

constexpr std::size_t word = sizeof(void*);

const Meta_info meta_info{{"service_id", "0x22"}, {"tester_address", "0x0E80"}};

/// The object behind a method of interface method class `Tag`, with the signature it declares.
template <class Tag>
using Impl_of = Method_impl<Tag, false, typename Tag::Signature>;

// Room of a port's size that holds no port: its address is handed to proxies and methods that
// must keep it and never use it. A proxy built on it is given no port back before it is deleted.
alignas(Rport) unsigned char port_storage[sizeof(Rport)];
Rport* const unused_port = static_cast<Rport*>(static_cast<void*>(port_storage));

/// The port pointer a Method_impl keeps: its one field, right behind the vtable pointer.
const void* port_kept_by(const void* method_impl) { return raw::word(method_impl, 1); }

/// Calls each Method member of `proxy` in member order with its interface method class.
template <class Interface, class Visit>
void for_each_method(typename Expected<Interface>::Proxy& proxy, Visit&& visit) {
    visit(proxy.Cancel, Type_tag<typename Interface::Cancel>{});
    if constexpr (Expected<Interface>::routine) {
        visit(proxy.RequestResults, Type_tag<typename Interface::RequestResults>{});
        visit(proxy.Start, Type_tag<typename Interface::Start>{});
    } else {
        visit(proxy.Read, Type_tag<typename Interface::Read>{});
    }
}

/// The methods' class tags of an interface, in member order, without a proxy.
template <class Interface, class Visit>
void for_each_method_tag(Visit&& visit) {
    visit(Type_tag<typename Interface::Cancel>{});
    visit(Type_tag<Results_method_of<Interface>>{});
    if constexpr (Expected<Interface>::routine) {
        visit(Type_tag<typename Interface::Start>{});
    }
}

/// Calls a method object with meta_info and a default value of each further argument.
template <class Signature>
struct Default_call;
template <class R, class... Arguments>
struct Default_call<R(Meta, Arguments...)> {
    template <class Impl>
    static auto on(const Impl& impl) {
        static_assert(std::is_same_v<decltype(impl(meta_info, std::decay_t<Arguments>{}...)), kel::com::Future<R>>,
                      "a call hands back the future of its result");
        return impl(meta_info, std::decay_t<Arguments>{}...);
    }
};

template <class Interface>
constexpr std::size_t method_count = Expected<Interface>::routine ? 3 : 2;

template <class Interface>
class proxy_face : public testing::Test {};
template <class Interface>
class data_identifier_proxy_face : public testing::Test {};
template <class Interface>
class routine_proxy_face : public testing::Test {};

TYPED_TEST_SUITE(proxy_face, All_interfaces, Interface_label);
TYPED_TEST_SUITE(data_identifier_proxy_face, Data_identifiers, Interface_label);
TYPED_TEST_SUITE(routine_proxy_face, Routines, Interface_label);

// --- the shape of the three classes beneath every proxy ---

TYPED_TEST(proxy_face, proxy_base_holds_the_vtable_pointer_then_the_owned_port) {
    using Base = Proxy<TypeParam>;
    static_assert(std::is_same_v<decltype(Base::port), Rport*>);
    static_assert(std::has_virtual_destructor_v<Base>);
    static_assert(sizeof(Base) == 2 * word, "vtable pointer, port");
    static_assert(!std::is_copy_constructible_v<Base> && !std::is_copy_assignable_v<Base>);

    Base base(unused_port);
    EXPECT_EQ(raw::dynamic_type(&base), typeid(Base)) << "word 0 is the vtable pointer";
    EXPECT_EQ(raw::offset_of(&base, &base.port), static_cast<std::ptrdiff_t>(word));
    EXPECT_EQ(raw::word(&base, 1), static_cast<const void*>(unused_port));
    base.port = nullptr;  // it owns no port
}

TYPED_TEST(proxy_face, method_holds_the_vtable_pointer_then_the_owned_impl) {
    for_each_method_tag<TypeParam>([](auto tag) {
        using Tag = typename decltype(tag)::type;
        using Member = Method<Tag, typename Tag::Signature>;
        static_assert(std::is_same_v<decltype(Member::impl), Impl_of<Tag>*>);
        static_assert(std::has_virtual_destructor_v<Member>);
        static_assert(sizeof(Member) == 2 * word, "vtable pointer, impl");
        static_assert(!std::is_copy_constructible_v<Member> && !std::is_copy_assignable_v<Member>);

        Member member(new Impl_of<Tag>(unused_port));
        EXPECT_EQ(raw::dynamic_type(&member), typeid(Member)) << "word 0 is the vtable pointer";
        EXPECT_EQ(raw::offset_of(&member, &member.impl), static_cast<std::ptrdiff_t>(word));
        EXPECT_EQ(raw::word(&member, 1), static_cast<const void*>(member.impl));
    });
}

TYPED_TEST(proxy_face, method_impl_holds_the_vtable_pointer_then_the_port_it_was_given) {
    for_each_method_tag<TypeParam>([](auto tag) {
        using Impl = Impl_of<typename decltype(tag)::type>;
        static_assert(std::has_virtual_destructor_v<Impl>);
        static_assert(sizeof(Impl) == 2 * word, "vtable pointer, port");
        static_assert(!std::is_copy_constructible_v<Impl> && !std::is_copy_assignable_v<Impl>);

        const Impl with_port(unused_port);
        EXPECT_EQ(raw::dynamic_type(&with_port), typeid(Impl)) << "word 0 is the vtable pointer";
        EXPECT_EQ(port_kept_by(&with_port), static_cast<const void*>(unused_port));
        const Impl without_port(nullptr);
        EXPECT_EQ(port_kept_by(&without_port), nullptr);
    });
}

TYPED_TEST(proxy_face, method_impl_destructor_releases_nothing_but_the_object) {
    for_each_method_tag<TypeParam>([](auto tag) {
        using Impl = Impl_of<typename decltype(tag)::type>;
        static_assert(std::is_nothrow_destructible_v<Impl>);
        Impl* impl = new Impl(unused_port);
        let_escape(impl);

        Allocation_scope scope;
        delete impl;  // the port is not its to free: freeing it here would fail on this storage
        const Allocation_log log = scope.log();
        EXPECT_EQ(log.allocations, 0U);
        ASSERT_EQ(log.deallocations, 1U);
        EXPECT_EQ(log.released[0], static_cast<const void*>(impl));
    });
}

// --- the members of each proxy ---

TYPED_TEST(data_identifier_proxy_face, holds_cancel_then_read_behind_the_vtable_pointer_and_port) {
    using Interface = TypeParam;
    using Face = typename Expected<Interface>::Proxy;
    static_assert(std::is_base_of_v<Proxy<Interface>, Face>);
    static_assert(std::is_same_v<decltype(Face::Cancel), Method<typename Interface::Cancel, void(Meta)>>);
    static_assert(std::is_same_v<decltype(Face::Read),
                                 Method<typename Interface::Read, typename Interface::Read::Output(Meta)>>);
    static_assert(sizeof(Face) == 6 * word, "vtable pointer, port, two methods");

    Face proxy(nullptr);
    const Proxy<Interface>& base = proxy;
    EXPECT_EQ(raw::offset_of(&proxy, &base), 0);
    EXPECT_EQ(raw::dynamic_type(&proxy), typeid(Face));
    EXPECT_EQ(raw::offset_of(&proxy, &proxy.port), static_cast<std::ptrdiff_t>(word));
    EXPECT_EQ(raw::offset_of(&proxy, &proxy.Cancel), static_cast<std::ptrdiff_t>(2 * word));
    EXPECT_EQ(raw::offset_of(&proxy, &proxy.Read), static_cast<std::ptrdiff_t>(4 * word));
}

TYPED_TEST(routine_proxy_face, holds_cancel_request_results_start_behind_the_vtable_pointer_and_port) {
    using Interface = TypeParam;
    using Face = typename Expected<Interface>::Proxy;
    static_assert(std::is_base_of_v<Proxy<Interface>, Face>);
    static_assert(std::is_same_v<decltype(Face::Cancel), Method<typename Interface::Cancel, void(Meta)>>);
    static_assert(std::is_same_v<decltype(Face::RequestResults),
                                 Method<typename Interface::RequestResults,
                                        typename Interface::RequestResults::Output(Meta)>>);
    static_assert(std::is_same_v<decltype(Face::Start),
                                 Method<typename Interface::Start, typename Interface::Start::Signature>>);
    static_assert(sizeof(Face) == 8 * word, "vtable pointer, port, three methods");

    Face proxy(nullptr);
    const Proxy<Interface>& base = proxy;
    EXPECT_EQ(raw::offset_of(&proxy, &base), 0);
    EXPECT_EQ(raw::dynamic_type(&proxy), typeid(Face));
    EXPECT_EQ(raw::offset_of(&proxy, &proxy.port), static_cast<std::ptrdiff_t>(word));
    EXPECT_EQ(raw::offset_of(&proxy, &proxy.Cancel), static_cast<std::ptrdiff_t>(2 * word));
    EXPECT_EQ(raw::offset_of(&proxy, &proxy.RequestResults), static_cast<std::ptrdiff_t>(4 * word));
    EXPECT_EQ(raw::offset_of(&proxy, &proxy.Start), static_cast<std::ptrdiff_t>(6 * word));
}

TYPED_TEST(proxy_face, each_method_is_a_method_impl_of_its_own_that_keeps_the_proxys_port) {
    using Face = typename Expected<TypeParam>::Proxy;
    Face proxy(unused_port);
    EXPECT_EQ(proxy.port, unused_port);
    std::vector<const void*> impls;
    for_each_method<TypeParam>(proxy, [&](auto& member, auto tag) {
        using Tag = typename decltype(tag)::type;
        ASSERT_NE(member.impl, nullptr);
        EXPECT_EQ(raw::dynamic_type(member.impl), typeid(Impl_of<Tag>)) << type_name(raw::dynamic_type(member.impl));
        EXPECT_EQ(port_kept_by(member.impl), static_cast<const void*>(unused_port));
        impls.push_back(member.impl);
    });
    ASSERT_EQ(impls.size(), method_count<TypeParam>);
    for (std::size_t index = 1; index < impls.size(); ++index) {
        EXPECT_NE(impls[index], impls[index - 1]) << "every method object is a heap object of its own";
    }
    proxy.port = nullptr;  // the storage behind unused_port is no port to delete
}

TYPED_TEST(proxy_face, a_proxy_built_without_port_hands_null_to_its_methods) {
    using Face = typename Expected<TypeParam>::Proxy;
    Face proxy(nullptr);
    EXPECT_EQ(proxy.port, nullptr);
    for_each_method<TypeParam>(proxy, [](auto& member, auto) { EXPECT_EQ(port_kept_by(member.impl), nullptr); });
}

// --- building and destroying ---

TYPED_TEST(proxy_face, building_allocates_the_proxy_and_one_object_per_method) {
    using Face = typename Expected<TypeParam>::Proxy;
    Face* proxy = nullptr;
    {
        Allocation_scope scope;
        proxy = new Face(nullptr);
        let_escape(proxy);
        const Allocation_log log = scope.log();
        EXPECT_EQ(log.allocations, 1 + method_count<TypeParam>);
        EXPECT_EQ(log.deallocations, 0U);
    }
    delete proxy;
}

TYPED_TEST(proxy_face, destroying_frees_the_methods_in_reverse_member_order_then_the_proxy) {
    using Face = typename Expected<TypeParam>::Proxy;
    Face* proxy = new Face(nullptr);
    let_escape(proxy);
    std::vector<const void*> expected;
    for_each_method<TypeParam>(*proxy, [&](auto& member, auto) { expected.insert(expected.begin(), member.impl); });
    expected.push_back(proxy);

    Proxy<TypeParam>* base = proxy;
    Allocation_scope scope;
    delete base;  // through the virtual destructor, as a discovery callback deletes it
    const Allocation_log log = scope.log();
    EXPECT_EQ(log.allocations, 0U);
    ASSERT_EQ(log.deallocations, expected.size());
    for (std::size_t index = 0; index < expected.size(); ++index) {
        EXPECT_EQ(log.released[index], expected[index]) << "release " << index + 1;
    }
}

/// Gives every member of an Output a value other than its default.
void fill(std::uint8_t& member) { member = 0x5A; }
void fill(std::uint16_t& member) { member = 0x1234; }
template <std::size_t size>
void fill(std::array<std::uint8_t, size>& member) {
    member.fill(0xA5);
}
void fill(std::vector<std::uint8_t>& member) { member = {0x01, 0x02, 0x03}; }

TYPED_TEST(proxy_face, futures_of_its_promises_stay_valid_after_the_proxy_is_destroyed) {
    using Face = typename Expected<TypeParam>::Proxy;
    using Output = typename Results_method_of<TypeParam>::Output;
    auto* proxy = new Face(nullptr);
    kel::com::Promise<Output> results;
    kel::com::Future<Output> results_future = results.get_future();
    kel::com::Promise<void> cancelled;
    kel::com::Future<void> cancel_future = cancelled.get_future();

    delete proxy;

    ASSERT_TRUE(results_future.valid());
    ASSERT_TRUE(cancel_future.valid());
    Output sent{};
    std::apply([](auto&... member) { (fill(member), ...); }, sent.fields());
    Output copy = sent;
    results.set_value(std::move(copy));
    cancelled.set_value();
    ASSERT_EQ(results_future.wait_for(std::chrono::seconds(0)), std::future_status::ready);
    ASSERT_EQ(cancel_future.wait_for(std::chrono::seconds(0)), std::future_status::ready);
    const Output received = results_future.get();
    EXPECT_TRUE(received.fields() == sent.fields());
    EXPECT_NO_THROW(cancel_future.get());
}

// --- calls ---

TYPED_TEST(proxy_face, every_method_refuses_the_call_with_service_not_available) {
    using Face = typename Expected<TypeParam>::Proxy;
    Face proxy(make_unavailable_port(TypeParam::name));
    for_each_method<TypeParam>(proxy, [](auto& member, auto tag) {
        using Tag = typename decltype(tag)::type;
        try {
            Default_call<typename Tag::Signature>::on(*member.impl);
            ADD_FAILURE() << "method " << Tag::method_id << " made a call";
        } catch (const ruv::com::Service_not_available_exception& error) {
            EXPECT_EQ(typeid(error), typeid(ruv::com::Service_not_available_exception));
            EXPECT_EQ(std::string(error.what()), "Service not available exception");
        }
    });
}

TYPED_TEST(proxy_face, a_refused_method_can_be_called_again) {
    using Face = typename Expected<TypeParam>::Proxy;
    Face proxy(make_unavailable_port(TypeParam::name));
    for (int attempt = 0; attempt < 3; ++attempt) {
        EXPECT_THROW(Default_call<typename TypeParam::Cancel::Signature>::on(*proxy.Cancel.impl),
                     ruv::com::Service_not_available_exception);
    }
}

}  // namespace

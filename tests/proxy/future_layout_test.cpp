// Layout of kel::com::Future and kel::com::Promise: the standard object first, the shared state
// second, nothing else. The platform fills Future<std::shared_ptr<Method_call>> objects itself,
// so this order is a binary contract and not a detail of the wrappers.

#include <cstdint>
#include <cstring>
#include <future>
#include <memory>
#include <type_traits>
#include <utility>

#include <gtest/gtest.h>

#include "proxy/future.h"
#include "proxy/promise.h"
#include "ruv/com/cpp_binding/proxy/rport.h"
#include "tests/proxy/future_test_support.h"

namespace {

using kel::com::Future;
using kel::com::Promise;
using kel::com::future_detail::State;
using zevo::proxy_test::Read_output;
using Method_call_pointer = std::shared_ptr<kel::com::runtime::Method_call>;

template <class T>
constexpr bool future_is_standard_object_and_state = sizeof(Future<T>) ==
                                                         sizeof(std::future<T>) +
                                                             sizeof(std::shared_ptr<State>) &&
                                                     alignof(Future<T>) == alignof(std::future<T>);

template <class T>
constexpr bool promise_is_standard_object_and_state =
    sizeof(Promise<T>) == sizeof(std::promise<T>) + sizeof(std::shared_ptr<State>) &&
    alignof(Promise<T>) == alignof(std::promise<T>);

static_assert(future_is_standard_object_and_state<void>);
static_assert(future_is_standard_object_and_state<Read_output>);
static_assert(future_is_standard_object_and_state<Method_call_pointer>);
static_assert(promise_is_standard_object_and_state<void>);
static_assert(promise_is_standard_object_and_state<Read_output>);
static_assert(promise_is_standard_object_and_state<Method_call_pointer>);

// Plain classes, no virtual table in front of the standard object.
static_assert(!std::is_polymorphic_v<Future<Method_call_pointer>>);
static_assert(!std::is_polymorphic_v<Promise<Method_call_pointer>>);

// Move-only futures; destructors that let nothing escape.
static_assert(!std::is_copy_constructible_v<Future<void>>);
static_assert(!std::is_copy_assignable_v<Future<void>>);
static_assert(std::is_nothrow_move_constructible_v<Future<Read_output>>);
static_assert(std::is_nothrow_destructible_v<Future<Read_output>>);
static_assert(std::is_nothrow_destructible_v<Promise<Read_output>>);
static_assert(std::is_nothrow_destructible_v<Future<void>>);
static_assert(std::is_nothrow_destructible_v<Promise<void>>);

template <class Object>
std::uintptr_t address_of(const Object& object) {
    return reinterpret_cast<std::uintptr_t>(&object);
}

// The bytes of `object`, read as its object representation.
template <class Object>
void copy_bytes(const Object& object, unsigned char* bytes) {
    std::memcpy(bytes, static_cast<const void*>(&object), sizeof(Object));
}

// A Future put together from a known standard future and a known state, as the platform does,
// holds the standard future's bytes first and the state's bytes right after them.
template <class T>
void expect_future_layout() {
    std::promise<T> standard_promise;
    std::future<T> standard_future = standard_promise.get_future();
    unsigned char standard_bytes[sizeof(std::future<T>)];
    copy_bytes(standard_future, standard_bytes);

    const auto state = std::make_shared<State>();
    unsigned char state_bytes[sizeof(std::shared_ptr<State>)];
    copy_bytes(state, state_bytes);

    const Future<T> future(std::move(standard_future), state);
    unsigned char future_bytes[sizeof(Future<T>)];
    copy_bytes(future, future_bytes);

    EXPECT_EQ(0, std::memcmp(future_bytes, standard_bytes, sizeof standard_bytes));
    EXPECT_EQ(0,
              std::memcmp(future_bytes + sizeof(std::future<T>), state_bytes, sizeof state_bytes));
    EXPECT_EQ(address_of(future.state()) - address_of(future), sizeof(std::future<T>));
    EXPECT_EQ(future.state(), state);
}

// The promise's state sits right behind its standard promise; with the sizes above, the
// standard promise fills everything in front of it.
template <class T>
void expect_promise_layout() {
    const Promise<T> promise;
    const std::shared_ptr<State> state = promise.state();
    ASSERT_NE(state, nullptr);
    unsigned char state_bytes[sizeof(std::shared_ptr<State>)];
    copy_bytes(state, state_bytes);

    unsigned char promise_bytes[sizeof(Promise<T>)];
    copy_bytes(promise, promise_bytes);

    EXPECT_EQ(
        0, std::memcmp(promise_bytes + sizeof(std::promise<T>), state_bytes, sizeof state_bytes));
    EXPECT_EQ(address_of(promise.state()) - address_of(promise), sizeof(std::promise<T>));
}

TEST(Future_layout, void_future_holds_standard_future_then_state) {
    expect_future_layout<void>();
}

TEST(Future_layout, output_future_holds_standard_future_then_state) {
    expect_future_layout<Read_output>();
}

TEST(Future_layout, method_call_future_holds_standard_future_then_state) {
    expect_future_layout<Method_call_pointer>();
}

TEST(Future_layout, void_promise_holds_standard_promise_then_state) {
    expect_promise_layout<void>();
}

TEST(Future_layout, output_promise_holds_standard_promise_then_state) {
    expect_promise_layout<Read_output>();
}

TEST(Future_layout, method_call_promise_holds_standard_promise_then_state) {
    expect_promise_layout<Method_call_pointer>();
}

TEST(Future_layout, future_from_promise_shares_the_promise_state) {
    Promise<Read_output> promise;
    const Future<Read_output> future = promise.get_future();
    EXPECT_EQ(future.state(), promise.state());
    EXPECT_TRUE(future.valid());
}

}  // namespace

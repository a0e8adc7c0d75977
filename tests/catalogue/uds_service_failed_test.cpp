// UDSServiceFailed, the application error of all ten service interfaces: where it stands in the
// class tree, its texts and code, the slots a platform built elsewhere calls, the members behind
// the vtable pointer, and the two ways of building it.

#include <cxxabi.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <initializer_list>
#include <new>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "allocation_log.h"
#include "error_checks.h"
#include "raw_object.h"
#include "service_catalogue.h"

namespace {

using namespace zevo::test;
using ruv::com::cpp_binding::Application_error_exception;
using ruv::com::cpp_binding::Error_payload_writer;
using ruv::dm::types::UDSResponseCodeType;

using Codes = std::initializer_list<UDSResponseCodeType>;

constexpr std::size_t word = sizeof(void*);
constexpr char out_of_range_message[] = "Read beyond the end of the data buffer";

template <class Interface>
class uds_service_failed : public testing::Test {};
template <class Interface>
class data_identifier_service_failed : public testing::Test {};
template <class Interface>
class routine_service_failed : public testing::Test {};

TYPED_TEST_SUITE(uds_service_failed, All_interfaces, Interface_label);
TYPED_TEST_SUITE(data_identifier_service_failed, Data_identifiers, Interface_label);
TYPED_TEST_SUITE(routine_service_failed, Routines, Interface_label);

/// An error of either form from codes; the data identifier form takes the first code only.
template <class Interface>
typename Interface::UDSServiceFailed make_error(UDSResponseCodeType results_code, UDSResponseCodeType start_code) {
    using Error = typename Interface::UDSServiceFailed;
    if constexpr (Expected<Interface>::routine) {
        return Error(results_code, start_code);
    } else {
        static_cast<void>(start_code);
        return Error(results_code);
    }
}

/// The single public non-virtual base that `type`'s type_info names, or null if it names none.
const std::type_info* only_base_of(const std::type_info& type) {
    const auto* single = dynamic_cast<const abi::__si_class_type_info*>(&type);
    return single != nullptr ? single->__base_type : nullptr;
}

// The base of all application errors is what the platform declares: abstract, no data.
static_assert(std::is_abstract_v<Application_error_exception>);
static_assert(std::is_base_of_v<std::exception, Application_error_exception>);
static_assert(sizeof(Application_error_exception) == sizeof(void*), "a vtable pointer and no data");

TEST(application_error_exception, type_information_names_std_exception_as_its_direct_base) {
    const std::type_info* base = only_base_of(typeid(Application_error_exception));
    ASSERT_NE(base, nullptr);
    EXPECT_EQ(*base, typeid(std::exception)) << type_name(*base);
}

TYPED_TEST(uds_service_failed, is_an_application_error_exception_and_a_std_exception) {
    using Error = typename TypeParam::UDSServiceFailed;
    static_assert(std::is_base_of_v<Application_error_exception, Error>);
    static_assert(std::is_base_of_v<std::exception, Error>);
    static_assert(std::is_convertible_v<Error*, Application_error_exception*>, "a public base");
    static_assert(!std::is_abstract_v<Error>);

    const Error error = make_error<TypeParam>(0x31, 0x22);
    const Application_error_exception& as_application_error = error;
    const std::exception& as_exception = error;
    EXPECT_EQ(static_cast<const void*>(&as_application_error), static_cast<const void*>(&error))
        << "the base sub-object starts the object";
    EXPECT_EQ(static_cast<const void*>(&as_exception), static_cast<const void*>(&error));
    EXPECT_EQ(dynamic_cast<const Error*>(&as_exception), &error);
}

// A platform built elsewhere walks the type_info chain: UDSServiceFailed, then
// Application_error_exception, then std::exception, with nothing in between.
TYPED_TEST(uds_service_failed, type_information_names_application_error_exception_as_its_direct_base) {
    using Error = typename TypeParam::UDSServiceFailed;
    const std::type_info* base = only_base_of(typeid(Error));
    ASSERT_NE(base, nullptr) << "one public non-virtual base expected";
    EXPECT_EQ(*base, typeid(Application_error_exception)) << "the direct base is " << type_name(*base);
}

TYPED_TEST(uds_service_failed, what_names_the_interface_and_error_code_2) {
    const auto error = make_error<TypeParam>(0x31, 0x22);
    const std::exception& as_exception = error;
    const Application_error_exception& as_application_error = error;
    const std::string expected(Expected<TypeParam>::what);
    EXPECT_EQ(std::string(error.what()), expected);
    EXPECT_EQ(std::string(as_exception.what()), expected);
    EXPECT_EQ(std::string(as_application_error.what()), expected);
}

TYPED_TEST(uds_service_failed, what_does_not_depend_on_the_codes) {
    EXPECT_EQ(std::string(make_error<TypeParam>(0x00, 0x00).what()), Expected<TypeParam>::what);
    EXPECT_EQ(std::string(make_error<TypeParam>(0xFF, 0x7F).what()), Expected<TypeParam>::what);
}

TYPED_TEST(uds_service_failed, error_code_is_2) {
    const auto error = make_error<TypeParam>(0x31, 0x22);
    const Application_error_exception& as_application_error = error;
    EXPECT_EQ(error.error_code(), 2);
    EXPECT_EQ(as_application_error.error_code(), 2);
    static_assert(std::is_same_v<decltype(error.error_code()), std::uint8_t>);
    static_assert(noexcept(error.error_code()) && noexcept(error.what()));
}

// Slot 4 is called before slot 3: should the two be swapped, slot 4 would be error_code, which
// ignores the writer, and the test stops at a plain failure before calling write_payload without one.
TYPED_TEST(uds_service_failed, slots_behind_the_destructor_pair_are_what_error_code_write_payload) {
    const auto error = make_error<TypeParam>(0x31, 0x22);
    ASSERT_EQ(raw::dynamic_type(&error), typeid(error));
    EXPECT_EQ(raw::offset_to_top(&error), 0);

    EXPECT_EQ(std::string(raw::what(&error)), Expected<TypeParam>::what) << "slot 2";

    Bytes bytes{0xAA};
    Error_payload_writer writer(bytes);
    raw::write_payload(&error, writer);
    const Bytes expected = Expected<TypeParam>::routine ? Bytes{0xAA, 0x31, 0x22} : Bytes{0xAA, 0x31};
    ASSERT_EQ(bytes, expected) << "slot 4";

    EXPECT_EQ(raw::error_code(&error), 2) << "slot 3";
}

TYPED_TEST(uds_service_failed, deleting_destructor_slot_releases_the_object_and_the_complete_one_does_not) {
    using Error = typename TypeParam::UDSServiceFailed;
    auto* on_heap = new Error(make_error<TypeParam>(0x31, 0x22));
    let_escape(on_heap);
    alignas(Error) unsigned char storage[sizeof(Error)];
    auto* in_place = new (storage) Error(make_error<TypeParam>(0x31, 0x22));

    Allocation_scope scope;
    raw::complete_destructor(in_place);
    EXPECT_EQ(scope.log().deallocations, 0U) << "slot 0 destroys and leaves the memory";
    raw::deleting_destructor(on_heap);
    ASSERT_EQ(scope.log().deallocations, 1U) << "slot 1 destroys and releases the memory";
    EXPECT_EQ(scope.log().released[0], static_cast<const void*>(on_heap));
    EXPECT_EQ(scope.log().allocations, 0U);
}

TYPED_TEST(uds_service_failed, is_built_from_codes_or_from_bytes_and_nothing_else) {
    using Error = typename TypeParam::UDSServiceFailed;
    static_assert(std::is_constructible_v<Error, const Bytes&>);
    static_assert(!std::is_default_constructible_v<Error>);
    static_assert(std::is_nothrow_destructible_v<Error>);
    if constexpr (Expected<TypeParam>::routine) {
        static_assert(std::is_constructible_v<Error, UDSResponseCodeType, UDSResponseCodeType>);
        static_assert(!std::is_constructible_v<Error, UDSResponseCodeType>);
    } else {
        static_assert(std::is_constructible_v<Error, UDSResponseCodeType>);
        static_assert(!std::is_constructible_v<Error, UDSResponseCodeType, UDSResponseCodeType>);
    }
}

TYPED_TEST(uds_service_failed, empty_payload_throws_out_of_range) {
    using Error = typename TypeParam::UDSServiceFailed;
    const Bytes empty;
    EXPECT_EQ(out_of_range_text([&] { Error error(empty); }), out_of_range_message);
}

// --- the data identifier form: response_code alone ---

TYPED_TEST(data_identifier_service_failed, holds_response_code_right_behind_the_vtable_pointer) {
    using Error = typename TypeParam::UDSServiceFailed;
    static_assert(std::is_same_v<decltype(Error::response_code), UDSResponseCodeType>);
    static_assert(sizeof(Error) == 2 * word, "vtable pointer, one byte, padding");
    static_assert(alignof(Error) == alignof(void*));

    const Error error(UDSResponseCodeType{0x31});
    EXPECT_EQ(raw::offset_of(&error, &error.response_code), static_cast<std::ptrdiff_t>(word));
    EXPECT_EQ(raw::byte(&error, word), 0x31);
    EXPECT_EQ(raw::dynamic_type(&error), typeid(Error)) << "word 0 is the vtable pointer";
}

TYPED_TEST(data_identifier_service_failed, constructor_from_code_stores_it) {
    using Error = typename TypeParam::UDSServiceFailed;
    for (const UDSResponseCodeType code : Codes{0x00, 0x22, 0x31, 0x7F, 0xFF}) {
        EXPECT_EQ(Error(code).response_code, code);
    }
}

TYPED_TEST(data_identifier_service_failed, constructor_from_bytes_takes_byte_0_and_ignores_the_rest) {
    using Error = typename TypeParam::UDSServiceFailed;
    EXPECT_EQ(Error(Bytes{0x31}).response_code, 0x31);
    EXPECT_EQ(Error(Bytes{0x31, 0x7F, 0x00}).response_code, 0x31);
    EXPECT_EQ(Error(Bytes{0x00}).response_code, 0x00);
    EXPECT_EQ(Error(Bytes{0xFF}).response_code, 0xFF);
}

TYPED_TEST(data_identifier_service_failed, write_payload_appends_one_byte_that_builds_the_same_error) {
    using Error = typename TypeParam::UDSServiceFailed;
    for (const UDSResponseCodeType code : Codes{0x00, 0x31, 0xFF}) {
        const Error error(code);
        Bytes payload{0xAA};
        Error_payload_writer writer(payload);
        error.write_payload(writer);
        ASSERT_EQ(payload, (Bytes{0xAA, code})) << "appends, does not clear";

        const Error again(Bytes(payload.begin() + 1, payload.end()));
        EXPECT_EQ(again.response_code, error.response_code);
    }
}

// --- the routine form: response_code, then start_response_code ---

TYPED_TEST(routine_service_failed, holds_both_codes_in_order_right_behind_the_vtable_pointer) {
    using Error = typename TypeParam::UDSServiceFailed;
    static_assert(std::is_same_v<decltype(Error::response_code), UDSResponseCodeType>);
    static_assert(std::is_same_v<decltype(Error::start_response_code), UDSResponseCodeType>);
    static_assert(sizeof(Error) == 2 * word, "vtable pointer, two bytes, padding");
    static_assert(alignof(Error) == alignof(void*));

    const Error error(UDSResponseCodeType{0x22}, UDSResponseCodeType{0x31});
    EXPECT_EQ(raw::offset_of(&error, &error.response_code), static_cast<std::ptrdiff_t>(word));
    EXPECT_EQ(raw::offset_of(&error, &error.start_response_code), static_cast<std::ptrdiff_t>(word + 1));
    EXPECT_EQ(raw::byte(&error, word), 0x22);
    EXPECT_EQ(raw::byte(&error, word + 1), 0x31);
    EXPECT_EQ(raw::dynamic_type(&error), typeid(Error)) << "word 0 is the vtable pointer";
}

TYPED_TEST(routine_service_failed, constructor_from_codes_stores_results_code_then_start_code) {
    using Error = typename TypeParam::UDSServiceFailed;
    const Error error(UDSResponseCodeType{0x22}, UDSResponseCodeType{0x31});
    EXPECT_EQ(error.response_code, 0x22);
    EXPECT_EQ(error.start_response_code, 0x31);
    const Error extremes(UDSResponseCodeType{0xFF}, UDSResponseCodeType{0x00});
    EXPECT_EQ(extremes.response_code, 0xFF);
    EXPECT_EQ(extremes.start_response_code, 0x00);
}

TYPED_TEST(routine_service_failed, constructor_from_bytes_takes_bytes_0_and_1_and_ignores_the_rest) {
    using Error = typename TypeParam::UDSServiceFailed;
    const Error error(Bytes{0x22, 0x31, 0x7F});
    EXPECT_EQ(error.response_code, 0x22);
    EXPECT_EQ(error.start_response_code, 0x31);
    const Error exact(Bytes{0x10, 0x78});
    EXPECT_EQ(exact.response_code, 0x10);
    EXPECT_EQ(exact.start_response_code, 0x78);
}

TYPED_TEST(routine_service_failed, one_byte_payload_throws_out_of_range) {
    using Error = typename TypeParam::UDSServiceFailed;
    const Bytes one_byte{0x22};
    EXPECT_EQ(out_of_range_text([&] { Error error(one_byte); }), out_of_range_message);
}

TYPED_TEST(routine_service_failed, write_payload_appends_two_bytes_that_build_the_same_error) {
    using Error = typename TypeParam::UDSServiceFailed;
    const Error error(UDSResponseCodeType{0x22}, UDSResponseCodeType{0x31});
    Bytes payload{0xAA};
    Error_payload_writer writer(payload);
    error.write_payload(writer);
    ASSERT_EQ(payload, (Bytes{0xAA, 0x22, 0x31})) << "appends, in order of declaration";

    const Error again(Bytes(payload.begin() + 1, payload.end()));
    EXPECT_EQ(again.response_code, 0x22);
    EXPECT_EQ(again.start_response_code, 0x31);
}

}  // namespace

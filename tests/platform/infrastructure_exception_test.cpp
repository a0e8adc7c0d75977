// The proxy runtime's exception family: bases, own data and the exact what() texts.
#include "ruv/com/infrastructure_exception.h"

#include <gtest/gtest.h>

#include <exception>
#include <stdexcept>
#include <type_traits>

#include "ruv/com/cpp_binding/application_error_exception.h"

namespace {

using ruv::com::Infrastructure_exception;
using ruv::com::Service_not_available_exception;
using ruv::com::Transport_exception;
using ruv::com::cpp_binding::Application_error_exception;

static_assert(std::is_base_of_v<std::logic_error, Infrastructure_exception>);
static_assert(std::is_base_of_v<Infrastructure_exception, Transport_exception>);
static_assert(std::is_base_of_v<Infrastructure_exception, Service_not_available_exception>);
static_assert(std::is_base_of_v<std::exception, Application_error_exception>);
static_assert(!std::is_base_of_v<std::logic_error, Application_error_exception>);
static_assert(std::is_abstract_v<Application_error_exception>);

TEST(Infrastructure_exception, says_the_text_it_was_given) {
    const Infrastructure_exception sut{"broken pipe"};
    EXPECT_STREQ(sut.what(), "broken pipe");
}

TEST(Transport_exception, holds_its_code_and_says_transport_exception) {
    for (const std::uint8_t code : {std::uint8_t{0x81}, std::uint8_t{0x82}, std::uint8_t{0x86}, std::uint8_t{0x8A}}) {
        const Transport_exception sut{code};
        EXPECT_EQ(sut.code(), code);
        EXPECT_STREQ(sut.what(), "Transport exception");
    }
}

TEST(Transport_exception, is_caught_as_an_infrastructure_exception_and_a_logic_error) {
    try {
        throw Transport_exception{0x86};
    } catch (const Infrastructure_exception& error) {
        EXPECT_STREQ(error.what(), "Transport exception");
        EXPECT_NE(dynamic_cast<const std::logic_error*>(&error), nullptr);
    }
}

TEST(Service_not_available_exception, says_service_not_available_exception) {
    const Service_not_available_exception sut;
    EXPECT_STREQ(sut.what(), "Service not available exception");
    const Infrastructure_exception& base = sut;
    EXPECT_STREQ(base.what(), "Service not available exception");
}

TEST(Service_not_available_exception, travels_through_an_exception_pointer_by_type) {
    const std::exception_ptr stored = std::make_exception_ptr(Service_not_available_exception{});
    try {
        std::rethrow_exception(stored);
    } catch (const Service_not_available_exception& error) {
        EXPECT_STREQ(error.what(), "Service not available exception");
    } catch (...) {
        FAIL() << "lost its type";
    }
}

}  // namespace

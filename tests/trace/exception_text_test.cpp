// exception_text: "Exception: " and what() of the exception a failed call delivers.
#include "trace/exception_text.h"

#include <gtest/gtest.h>

#include <exception>
#include <stdexcept>

#include "ruv/com/infrastructure_exception.h"

namespace {

using ruv::com::log::exception_text;

struct Null_what : std::exception {
    char const* what() const noexcept override { return nullptr; }
};

TEST(Exception_text, prefixes_what_with_exception) {
    EXPECT_EQ(exception_text(std::make_exception_ptr(ruv::com::Transport_exception{0x81})),
              "Exception: Transport exception");
    EXPECT_EQ(exception_text(std::make_exception_ptr(ruv::com::Service_not_available_exception{})),
              "Exception: Service not available exception");
}

TEST(Exception_text, a_null_what_reads_what_returned_null_ptr) {
    EXPECT_EQ(exception_text(std::make_exception_ptr(Null_what{})), "Exception: what() returned null ptr");
}

TEST(Exception_text, an_exception_not_derived_from_std_exception_passes_on) {
    try {
        (void)exception_text(std::make_exception_ptr(42));
        FAIL() << "nothing thrown";
    } catch (int value) {
        EXPECT_EQ(value, 42);
    }
}

TEST(Exception_text, a_null_exception_ptr_throws_invalid_argument) {
    try {
        (void)exception_text(std::exception_ptr{});
        FAIL() << "nothing thrown";
    } catch (std::invalid_argument const& error) {
        EXPECT_STREQ(error.what(), "exception_text: no exception");
    }
}

}  // namespace

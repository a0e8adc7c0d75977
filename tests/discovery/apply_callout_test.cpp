// apply_callout, the guard around a discovery handler: the arguments go to the function by move,
// its result comes back, and anything it throws is reported through on_exception and then goes
// on unchanged; an empty function, or an empty reporter when something is thrown, raises
// std::bad_function_call.

#include "proxy/apply_callout.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <utility>

namespace {

using ruv::com::cpp_binding::apply_callout;

constexpr const char* bad_function_call_text = "bad_function_call";

/// Counts the reports and notes whether the exception was still on its way when reported.
struct Reporter {
    int reports = 0;
    bool inside_the_handler_of_the_exception = false;
    std::function<void()> function() {
        return [this] {
            ++reports;
            inside_the_handler_of_the_exception = std::current_exception() != nullptr;
        };
    }
};

TEST(Apply_callout, hands_the_arguments_over_by_move_and_returns_the_functions_result) {
    Reporter reporter;
    const std::function<int(std::unique_ptr<int>)> function = [](std::unique_ptr<int> value) { return *value + 1; };
    auto argument = std::make_unique<int>(41);
    EXPECT_EQ(apply_callout(function, reporter.function(), std::move(argument)), 42);
    EXPECT_EQ(argument, nullptr);
    EXPECT_EQ(reporter.reports, 0);
}

TEST(Apply_callout, an_empty_function_is_reported_and_raises_bad_function_call) {
    Reporter reporter;
    const std::function<void(int)> empty;
    try {
        apply_callout(empty, reporter.function(), 1);
        FAIL() << "nothing was thrown";
    } catch (const std::bad_function_call& error) {
        EXPECT_STREQ(error.what(), bad_function_call_text);
    }
    EXPECT_EQ(reporter.reports, 1);
}

/// An error of the handler's own type, to show that it is not sliced on its way out.
struct Handler_failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

TEST(Apply_callout, what_the_function_throws_is_reported_first_and_then_rethrown_unchanged) {
    Reporter reporter;
    const void* thrown = nullptr;
    const std::function<void(int)> failing = [&thrown](int) {
        try {
            throw Handler_failure("the handler failed");
        } catch (const Handler_failure& failure) {
            thrown = &failure;  // the exception object itself
            throw;
        }
    };
    try {
        apply_callout(failing, reporter.function(), 1);
        FAIL() << "nothing was thrown";
    } catch (const std::exception& error) {
        EXPECT_EQ(typeid(error), typeid(Handler_failure));
        EXPECT_STREQ(error.what(), "the handler failed");
        EXPECT_EQ(dynamic_cast<const void*>(&error), thrown) << "the same exception object, not a copy";
    }
    EXPECT_EQ(reporter.reports, 1);
    EXPECT_TRUE(reporter.inside_the_handler_of_the_exception) << "reported while the exception was being handled";
}

TEST(Apply_callout, a_failure_without_a_reporter_raises_bad_function_call_instead) {
    const std::function<void()> no_reporter;
    const std::function<void(int)> failing = [](int) { throw std::runtime_error("the handler failed"); };
    try {
        apply_callout(failing, no_reporter, 1);
        FAIL() << "nothing was thrown";
    } catch (const std::bad_function_call& error) {
        EXPECT_STREQ(error.what(), bad_function_call_text);
    } catch (const std::runtime_error&) {
        FAIL() << "the handler's own exception went out although there was no reporter";
    }
}

TEST(Apply_callout, an_empty_function_without_a_reporter_raises_bad_function_call) {
    const std::function<void()> no_reporter;
    const std::function<void(int)> empty;
    EXPECT_THROW(apply_callout(empty, no_reporter, 1), std::bad_function_call);
}

TEST(Apply_callout, a_reporter_is_left_alone_when_the_function_returns) {
    Reporter reporter;
    int seen = 0;
    const std::function<void(int)> function = [&seen](int value) { seen = value; };
    apply_callout(function, reporter.function(), 7);
    EXPECT_EQ(seen, 7);
    EXPECT_EQ(reporter.reports, 0);
}

}  // namespace

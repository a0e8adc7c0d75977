// Deadline_guard: reports the milliseconds of its scope when they exceed the limit, not
// otherwise, also while an exception leaves the scope; what the report throws is logged and
// dropped, never let out of the destructor.
#include "ruv/com/deadline_guard.h"

#include <gtest/gtest.h>

#include <chrono>
#include <exception>
#include <optional>
#include <stdexcept>
#include <vector>

#include "strand_test_support.h"

namespace {

using namespace std::chrono_literals;
using ruv::com::Deadline_guard;
using Clock = std::chrono::steady_clock;

// Lets time pass on the steady clock by watching it: the passing time is what is under test.
void spend(std::chrono::milliseconds duration) {
    const auto start = Clock::now();
    while (Clock::now() - start < duration) {
    }
}

unsigned long whole_milliseconds_since(Clock::time_point start) {
    const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
    return static_cast<unsigned long>(elapsed.count());
}

TEST(Deadline_guard, scope_longer_than_the_limit_reports_its_milliseconds_once) {
    std::vector<unsigned long> reports;
    const auto before = Clock::now();
    {
        Deadline_guard sut{2, [&reports](unsigned long elapsed) { reports.push_back(elapsed); }};
        spend(3ms);
    }
    const unsigned long at_most = whole_milliseconds_since(before);
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_GE(reports[0], 3u);
    EXPECT_LE(reports[0], at_most);
}

TEST(Deadline_guard, scope_within_the_limit_reports_nothing) {
    bool reported = false;
    {
        Deadline_guard sut{60000, [&reported](unsigned long) { reported = true; }};
        spend(1ms);
    }
    EXPECT_FALSE(reported);
}

TEST(Deadline_guard, limit_is_copied_at_construction) {
    bool reported = false;
    unsigned long limit = 60000;
    {
        Deadline_guard sut{limit, [&reported](unsigned long) { reported = true; }};
        limit = 0;
        spend(2ms);
    }
    EXPECT_FALSE(reported);
}

TEST(Deadline_guard, reports_while_an_exception_leaves_the_scope) {
    std::optional<unsigned long> reported;
    int uncaught_during_report = 0;
    try {
        Deadline_guard sut{1, [&](unsigned long elapsed) {
                               reported = elapsed;
                               uncaught_during_report = std::uncaught_exceptions();
                           }};
        spend(2ms);
        throw std::runtime_error("handler failed");
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "handler failed");
    }
    ASSERT_TRUE(reported.has_value());
    EXPECT_GE(*reported, 2u);
    EXPECT_EQ(uncaught_during_report, 1);
}

TEST(Deadline_guard, report_that_throws_during_unwinding_is_logged_and_the_first_exception_goes_on) {
    zevo::test::Recording_log_backend log;
    try {
        Deadline_guard sut{0, [](unsigned long) { throw std::logic_error("report failed"); }};
        spend(1ms);
        throw std::runtime_error("handler failed");
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "handler failed");
    }
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].text, "The report of a Deadline_guard threw: report failed");
    EXPECT_EQ(lines[0].level, 2);
}

TEST(Deadline_guard, report_that_throws_is_kept_inside_the_destructor) {
    zevo::test::Recording_log_backend log;
    const auto leave_scope = [] {
        Deadline_guard sut{0, [](unsigned long) { throw 42; }};
        spend(1ms);
    };
    EXPECT_NO_THROW(leave_scope());
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].text, "The report of a Deadline_guard threw a non-standard exception");
}

TEST(Deadline_guard, empty_report_function_is_allowed) {
    const auto leave_scope = [] {
        Deadline_guard sut{0, nullptr};
        spend(1ms);
    };
    EXPECT_NO_THROW(leave_scope());
}

}  // namespace

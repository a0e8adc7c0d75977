#include "platform/log/line_format.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

namespace {

using ara::log::LogLevel;
using ara::log::Record;
using ara::log::detail::format_line;
using ara::log::detail::level_name;

// 2026-11-21 13:05:06.123456 UTC; the tests pin the time zone to UTC for it.
std::chrono::system_clock::time_point sample_time() {
    return std::chrono::system_clock::time_point{std::chrono::seconds{1795266306}} +
           std::chrono::microseconds{123456};
}

class Line_format : public ::testing::Test {
protected:
    void SetUp() override {
        setenv("TZ", "UTC0", 1);
        tzset();
    }
};

TEST_F(Line_format, prints_time_ids_level_and_text_like_a_dlt_viewer) {
    auto const sut = format_line(Record{sample_time(), LogLevel::kInfo, "ZEVO", "DMEX", "hello"});
    EXPECT_EQ(sut, "2026/11/21 13:05:06.123456 ZEVO DMEX log info verbose 1 hello\n");
}

TEST_F(Line_format, pads_short_ids_to_four_columns) {
    auto const sut = format_line(Record{sample_time(), LogLevel::kError, "ZV", "", "x"});
    EXPECT_EQ(sut, "2026/11/21 13:05:06.123456 ZV        log error verbose 1 x\n");
}

TEST_F(Line_format, prints_microseconds_with_leading_zeros) {
    auto const time = std::chrono::system_clock::time_point{std::chrono::seconds{1795266306}} +
                      std::chrono::microseconds{42};
    auto const sut = format_line(Record{time, LogLevel::kDebug, "ZEVO", "ACOM", "{}"});
    EXPECT_EQ(sut, "2026/11/21 13:05:06.000042 ZEVO ACOM log debug verbose 1 {}\n");
}

TEST_F(Line_format, turns_line_breaks_in_the_text_into_spaces) {
    auto const sut = format_line(Record{sample_time(), LogLevel::kWarn, "ZEVO", "ACOM", "a\nb\r\nc"});
    EXPECT_EQ(sut, "2026/11/21 13:05:06.123456 ZEVO ACOM log warn verbose 1 a b  c\n");
}

TEST_F(Line_format, empty_text_still_ends_the_line) {
    auto const sut = format_line(Record{sample_time(), LogLevel::kFatal, "ZEVO", "ACOM", ""});
    EXPECT_EQ(sut, "2026/11/21 13:05:06.123456 ZEVO ACOM log fatal verbose 1 \n");
}

TEST(Level_name, names_every_level_as_a_dlt_viewer_does) {
    EXPECT_EQ(level_name(LogLevel::kOff), "off");
    EXPECT_EQ(level_name(LogLevel::kFatal), "fatal");
    EXPECT_EQ(level_name(LogLevel::kError), "error");
    EXPECT_EQ(level_name(LogLevel::kWarn), "warn");
    EXPECT_EQ(level_name(LogLevel::kInfo), "info");
    EXPECT_EQ(level_name(LogLevel::kDebug), "debug");
    EXPECT_EQ(level_name(LogLevel::kVerbose), "verbose");
    EXPECT_EQ(level_name(static_cast<LogLevel>(7)), "unknown");
}

}  // namespace

#include "platform/log/log_config.h"

#include <gtest/gtest.h>

namespace {

using ara::log::LogLevel;
using ara::log::detail::parse_log_config;
using ara::log::detail::Sink_kind;

TEST(Log_config, unset_values_take_info_and_console_without_warning) {
    auto const sut = parse_log_config(nullptr, nullptr);
    EXPECT_EQ(sut.threshold, LogLevel::kInfo);
    EXPECT_EQ(sut.sink, Sink_kind::console);
    EXPECT_TRUE(sut.warnings.empty());
}

TEST(Log_config, empty_values_count_as_unset) {
    auto const sut = parse_log_config("", "");
    EXPECT_EQ(sut.threshold, LogLevel::kInfo);
    EXPECT_TRUE(sut.warnings.empty());
}

TEST(Log_config, every_digit_from_0_to_6_is_its_level) {
    char const* const texts[] = {"0", "1", "2", "3", "4", "5", "6"};
    for (unsigned level = 0; level <= 6; ++level) {
        auto const sut = parse_log_config(texts[level], nullptr);
        EXPECT_EQ(static_cast<unsigned>(sut.threshold), level);
        EXPECT_TRUE(sut.warnings.empty()) << texts[level];
    }
}

TEST(Log_config, invalid_level_takes_info_with_one_warning) {
    for (char const* text : {"7", "9", "-1", "44", " 4", "4 ", "04", "info", "x"}) {
        auto const sut = parse_log_config(text, nullptr);
        EXPECT_EQ(sut.threshold, LogLevel::kInfo) << text;
        ASSERT_EQ(sut.warnings.size(), 1u) << text;
        EXPECT_EQ(sut.warnings[0], "ZEVO_LOG_LEVEL \"" + std::string{text} +
                                       "\" is not a level from 0 to 6; using 4 (info)");
    }
}

TEST(Log_config, console_sink_is_accepted_silently) {
    auto const sut = parse_log_config(nullptr, "console");
    EXPECT_EQ(sut.sink, Sink_kind::console);
    EXPECT_TRUE(sut.warnings.empty());
}

TEST(Log_config, other_sinks_fall_back_to_console_with_one_warning) {
    for (char const* text : {"dlt", "file", "Console"}) {
        auto const sut = parse_log_config(nullptr, text);
        EXPECT_EQ(sut.sink, Sink_kind::console);
        ASSERT_EQ(sut.warnings.size(), 1u) << text;
        EXPECT_EQ(sut.warnings[0], "ZEVO_LOG_SINK \"" + std::string{text} +
                                       "\" is not a sink of this build; using console");
    }
}

TEST(Log_config, both_refused_give_two_warnings_level_first) {
    auto const sut = parse_log_config("8", "dlt");
    ASSERT_EQ(sut.warnings.size(), 2u);
    EXPECT_NE(sut.warnings[0].find("ZEVO_LOG_LEVEL"), std::string::npos);
    EXPECT_NE(sut.warnings[1].find("ZEVO_LOG_SINK"), std::string::npos);
}

}  // namespace

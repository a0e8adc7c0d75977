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

TEST(Log_config, dlt_sink_is_accepted_silently) {
    auto const sut = parse_log_config(nullptr, "dlt");
    EXPECT_EQ(sut.sink, Sink_kind::dlt);
    EXPECT_TRUE(sut.warnings.empty());
}

TEST(Log_config, other_sinks_fall_back_to_console_with_one_warning) {
    for (char const* text : {"dtl", "DLT", "file", "Console", "dlt "}) {
        auto const sut = parse_log_config(nullptr, text);
        EXPECT_EQ(sut.sink, Sink_kind::console);
        ASSERT_EQ(sut.warnings.size(), 1u) << text;
        EXPECT_EQ(sut.warnings[0], "ZEVO_LOG_SINK \"" + std::string{text} +
                                       "\" is not a sink (console or dlt); using console");
    }
}

TEST(Log_config, application_id_defaults_to_zevo) {
    EXPECT_EQ(parse_log_config(nullptr, nullptr, nullptr).app_id, "ZEVO");
    auto const empty = parse_log_config(nullptr, nullptr, "");
    EXPECT_EQ(empty.app_id, "ZEVO");
    EXPECT_TRUE(empty.warnings.empty());
}

TEST(Log_config, application_ids_of_one_to_four_visible_characters_are_taken) {
    for (char const* text : {"B", "BN", "BNC", "BNCH", "a_1-"}) {
        auto const sut = parse_log_config(nullptr, nullptr, text);
        EXPECT_EQ(sut.app_id, text);
        EXPECT_TRUE(sut.warnings.empty()) << text;
    }
}

TEST(Log_config, other_application_ids_fall_back_to_zevo_with_one_warning) {
    for (char const* text : {"TOOLONG", "ZEVOX", "A B", " AB", "A\tB", "\x7F", "\xC3\xA4"}) {
        auto const sut = parse_log_config(nullptr, nullptr, text);
        EXPECT_EQ(sut.app_id, "ZEVO") << text;
        ASSERT_EQ(sut.warnings.size(), 1u) << text;
        EXPECT_EQ(sut.warnings[0], "ZEVO_LOG_APP_ID \"" + std::string{text} +
                                       "\" is not an id of one to four characters without "
                                       "spaces; using ZEVO");
    }
}

TEST(Log_config, all_refused_give_three_warnings_in_the_order_level_sink_application) {
    auto const sut = parse_log_config("abc", "dtl", "TOOLONG");
    EXPECT_EQ(sut.threshold, LogLevel::kInfo);
    EXPECT_EQ(sut.sink, Sink_kind::console);
    EXPECT_EQ(sut.app_id, "ZEVO");
    ASSERT_EQ(sut.warnings.size(), 3u);
    EXPECT_NE(sut.warnings[0].find("ZEVO_LOG_LEVEL \"abc\""), std::string::npos);
    EXPECT_NE(sut.warnings[1].find("ZEVO_LOG_SINK \"dtl\""), std::string::npos);
    EXPECT_NE(sut.warnings[2].find("ZEVO_LOG_APP_ID \"TOOLONG\""), std::string::npos);
}

}  // namespace

#include "platform/log/dlt_message.h"

#include <dlt.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

namespace {

using ara::log::LogLevel;
using ara::log::detail::dlt_level_of;
using ara::log::detail::verbose_string_payload;

std::uint32_t type_info_of(std::vector<char> const& payload) {
    std::uint32_t value = 0;
    std::memcpy(&value, payload.data(), sizeof value);
    return value;
}

std::uint16_t length_of(std::vector<char> const& payload) {
    std::uint16_t value = 0;
    std::memcpy(&value, payload.data() + 4, sizeof value);
    return value;
}

std::string text_of(std::vector<char> const& payload) {
    return std::string(payload.begin() + 6, payload.end() - 1);
}

TEST(Dlt_message, every_level_maps_to_dlt_s_level_of_the_same_name) {
    EXPECT_EQ(dlt_level_of(LogLevel::kOff), DLT_LOG_OFF);
    EXPECT_EQ(dlt_level_of(LogLevel::kFatal), DLT_LOG_FATAL);
    EXPECT_EQ(dlt_level_of(LogLevel::kError), DLT_LOG_ERROR);
    EXPECT_EQ(dlt_level_of(LogLevel::kWarn), DLT_LOG_WARN);
    EXPECT_EQ(dlt_level_of(LogLevel::kInfo), DLT_LOG_INFO);
    EXPECT_EQ(dlt_level_of(LogLevel::kDebug), DLT_LOG_DEBUG);
    EXPECT_EQ(dlt_level_of(LogLevel::kVerbose), DLT_LOG_VERBOSE);
}

TEST(Dlt_message, levels_above_verbose_are_off) {
    for (unsigned value : {7u, 8u, 100u, 255u}) {
        EXPECT_EQ(dlt_level_of(static_cast<LogLevel>(value)), DLT_LOG_OFF) << value;
    }
}

TEST(Dlt_message, payload_is_one_utf8_string_argument_with_its_terminating_zero) {
    auto const sut = verbose_string_payload(R"({"1_incident":{"1_id":"x"}})");
    ASSERT_EQ(sut.size(), 4u + 2u + 27u + 1u);
    EXPECT_EQ(type_info_of(sut), std::uint32_t{DLT_TYPE_INFO_STRG | DLT_SCOD_UTF8});
    EXPECT_EQ(length_of(sut), 28u);
    EXPECT_EQ(text_of(sut), R"({"1_incident":{"1_id":"x"}})");
    EXPECT_EQ(sut.back(), '\0');
}

TEST(Dlt_message, empty_text_is_an_empty_string_argument) {
    auto const sut = verbose_string_payload("");
    ASSERT_EQ(sut.size(), 7u);
    EXPECT_EQ(length_of(sut), 1u);
    EXPECT_EQ(sut.back(), '\0');
}

TEST(Dlt_message, line_breaks_become_spaces_as_on_the_console) {
    EXPECT_EQ(text_of(verbose_string_payload("a\nb\r\nc")), "a b  c");
}

TEST(Dlt_message, non_ascii_text_passes_unchanged) {
    EXPECT_EQ(text_of(verbose_string_payload("Schl\xC3\xBCssel")), "Schl\xC3\xBCssel");
}

TEST(Dlt_message, text_that_fits_the_limit_exactly_is_whole) {
    std::string const text(100 - 7, 'x');
    auto const sut = verbose_string_payload(text, 100);
    EXPECT_EQ(sut.size(), 100u);
    EXPECT_EQ(text_of(sut), text);
}

TEST(Dlt_message, longer_text_is_cut_to_the_limit_and_ends_in_dots) {
    std::string const text(100 - 6, 'x');
    auto const sut = verbose_string_payload(text, 100);
    ASSERT_EQ(sut.size(), 100u);
    EXPECT_EQ(length_of(sut), 94u);
    EXPECT_EQ(text_of(sut), std::string(90, 'x') + "...");
}

TEST(Dlt_message, default_limit_keeps_the_largest_trace_record_whole) {
    std::string const record(15179, 'r');  // a level-5 Start of 0x0648 with a 4 KiB vector
    EXPECT_EQ(text_of(verbose_string_payload(record)), record);
}

}  // namespace

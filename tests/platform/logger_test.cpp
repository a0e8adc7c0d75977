#include "ara/log/logger.h"

#include <gtest/gtest.h>

#include "ara/log/log_stream.h"
#include "recording_sink.h"

namespace {

using ara::log::Logger;
using ara::log::LogLevel;
using ara::log::LogStream;
using zevo::test::Recording_sink;

TEST(Logger, enables_fatal_up_to_the_threshold_and_nothing_above) {
    Recording_sink sink;
    for (unsigned threshold = 0; threshold <= 6; ++threshold) {
        Logger const sut{"ZEVO", "TEST", static_cast<LogLevel>(threshold), sink};
        for (unsigned level = 1; level <= 6; ++level) {
            EXPECT_EQ(sut.IsLogEnabled(static_cast<LogLevel>(level)), level <= threshold)
                << "threshold " << threshold << " level " << level;
        }
    }
}

TEST(Logger, never_enables_off_or_values_above_verbose) {
    Recording_sink sink;
    Logger const sut{"ZEVO", "TEST", LogLevel::kVerbose, sink};
    EXPECT_FALSE(sut.IsLogEnabled(LogLevel::kOff));
    for (unsigned level = 7; level <= 255; ++level) {
        EXPECT_FALSE(sut.IsLogEnabled(static_cast<LogLevel>(level))) << level;
    }
}

TEST(Logger, cuts_ids_to_four_characters) {
    Recording_sink sink;
    Logger const sut{"ZEVODM", "AB", LogLevel::kInfo, sink};
    EXPECT_EQ(sut.app_id(), "ZEVO");
    EXPECT_EQ(sut.context_id(), "AB");
}

TEST(Log_stream, destructor_writes_the_gathered_text_once) {
    Recording_sink sink;
    Logger const logger{"ZEVO", "TEST", LogLevel::kInfo, sink};
    {
        LogStream sut{LogLevel::kWarn, logger};
        sut << "one " << "two" << static_cast<char const*>(nullptr);
        EXPECT_TRUE(sink.lines().empty());
    }
    auto const lines = sink.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].level, LogLevel::kWarn);
    EXPECT_EQ(lines[0].app_id, "ZEVO");
    EXPECT_EQ(lines[0].context_id, "TEST");
    EXPECT_EQ(lines[0].text, "one two");
}

TEST(Log_stream, disabled_level_writes_nothing) {
    Recording_sink sink;
    Logger const logger{"ZEVO", "TEST", LogLevel::kInfo, sink};
    { LogStream{LogLevel::kDebug, logger} << "hidden"; }
    { LogStream{LogLevel::kOff, logger} << "hidden"; }
    EXPECT_TRUE(sink.lines().empty());
}

TEST(Create_logger, same_ids_give_the_same_logger) {
    Logger& first = ara::log::CreateLogger("ZEVO", "SAME");
    Logger& second = ara::log::CreateLogger("ZEVO", "SAME");
    Logger& other = ara::log::CreateLogger("ZEVO", "OTHR");
    EXPECT_EQ(&first, &second);
    EXPECT_NE(&first, &other);
    EXPECT_EQ(&ara::log::CreateLogger("ZEVO", "SAMEXX"), &first);  // ids cut to four first
}

}  // namespace

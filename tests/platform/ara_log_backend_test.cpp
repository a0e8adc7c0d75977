#include "ruv/com/log/ara_log_backend.h"

#include <gtest/gtest.h>

#include "recording_sink.h"

namespace {

using ara::log::Logger;
using ara::log::LogLevel;
using ruv::com::log::Ara_log_backend;
using zevo::test::Recording_sink;

TEST(Ara_log_backend, passes_1_to_4_and_6_and_turns_everything_else_into_5) {
    Recording_sink sink;
    Logger const logger{"ZEVO", "ACOM", LogLevel::kVerbose, sink};
    Ara_log_backend sut{logger};
    for (unsigned level = 0; level <= 255; ++level) {
        sut.log("text " + std::to_string(level), static_cast<unsigned char>(level));
    }
    auto const lines = sink.lines();
    ASSERT_EQ(lines.size(), 256u);
    for (unsigned level = 0; level <= 255; ++level) {
        bool const kept = level == 1 || level == 2 || level == 3 || level == 4 || level == 6;
        EXPECT_EQ(static_cast<unsigned>(lines[level].level), kept ? level : 5u) << level;
        EXPECT_EQ(lines[level].text, "text " + std::to_string(level));
        EXPECT_EQ(lines[level].context_id, "ACOM");
    }
}

TEST(Ara_log_backend, empty_text_writes_nothing_at_any_level) {
    Recording_sink sink;
    Logger const logger{"ZEVO", "ACOM", LogLevel::kVerbose, sink};
    Ara_log_backend sut{logger};
    for (unsigned level = 0; level <= 255; ++level) sut.log("", static_cast<unsigned char>(level));
    EXPECT_TRUE(sink.lines().empty());
}

TEST(Ara_log_backend, mapped_level_still_obeys_the_threshold) {
    Recording_sink sink;
    Logger const logger{"ZEVO", "ACOM", LogLevel::kInfo, sink};
    Ara_log_backend sut{logger};
    sut.log("debug", 0);  // becomes 5, above the threshold
    sut.log("info", 4);
    auto const lines = sink.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].text, "info");
}

TEST(Ara_log_backend, is_log_enabled_asks_the_logger_without_mapping) {
    Recording_sink sink;
    Logger const logger{"ZEVO", "ACOM", LogLevel::kDebug, sink};
    Ara_log_backend sut{logger};
    for (unsigned level = 0; level <= 255; ++level) {
        EXPECT_EQ(sut.is_log_enabled(static_cast<unsigned char>(level)),
                  logger.IsLogEnabled(static_cast<LogLevel>(level)))
            << level;
    }
    EXPECT_FALSE(sut.is_log_enabled(0));  // mapped it would be 5, which is on
    EXPECT_FALSE(sut.is_log_enabled(7));
}

}  // namespace

// The real path end to end: environment read by the first CreateLogger, warnings and records on
// standard error. Everything runs in one test, since the environment is read once per process.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <regex>
#include <string>

#include "ara/log/log_stream.h"
#include "ara/log/logger.h"

namespace {

using ara::log::LogLevel;
using ara::log::LogStream;

// Points standard error at a pipe for its lifetime and gives back what was written.
class Captured_standard_error {
public:
    Captured_standard_error() {
        EXPECT_EQ(::pipe(pipe_), 0);
        saved_ = ::dup(STDERR_FILENO);
        ::dup2(pipe_[1], STDERR_FILENO);
        ::close(pipe_[1]);
    }
    ~Captured_standard_error() { restore(); }
    Captured_standard_error(Captured_standard_error const&) = delete;
    Captured_standard_error& operator=(Captured_standard_error const&) = delete;

    // Restores standard error and reads the pipe to its end; the lines must fit in the pipe.
    std::string finish() {
        restore();
        std::string all;
        char buffer[4096];
        for (ssize_t got; (got = ::read(pipe_[0], buffer, sizeof buffer)) > 0;) {
            all.append(buffer, static_cast<std::size_t>(got));
        }
        ::close(pipe_[0]);
        return all;
    }

private:
    void restore() {
        if (saved_ < 0) return;
        ::dup2(saved_, STDERR_FILENO);
        ::close(saved_);
        saved_ = -1;
    }

    int pipe_[2]{-1, -1};
    int saved_{-1};
};

TEST(Console_environment, refused_settings_warn_once_and_fall_back_to_info_on_console) {
    ASSERT_EQ(setenv("ZEVO_LOG_LEVEL", "9", 1), 0);
    ASSERT_EQ(setenv("ZEVO_LOG_SINK", "dtl", 1), 0);
    ASSERT_EQ(setenv("ZEVO_LOG_APP_ID", "TOOLONG", 1), 0);
    Captured_standard_error captured;

    ara::log::Logger& sut = ara::log::CreateLogger("ZEVO", "DMEX");
    ara::log::CreateLogger("ZEVO", "MORE");  // the environment is read once only
    EXPECT_TRUE(sut.IsLogEnabled(LogLevel::kInfo));
    EXPECT_FALSE(sut.IsLogEnabled(LogLevel::kDebug));
    LogStream{LogLevel::kInfo, sut} << "written";
    LogStream{LogLevel::kDebug, sut} << "not written";

    std::string const time = R"(\d{4}/\d\d/\d\d \d\d:\d\d:\d\d\.\d{6} )";
    std::regex const expected{
        "^" + time + R"(ZEVO ALOG log warn verbose 1 ZEVO_LOG_LEVEL "9" is not a level from 0 to 6; using 4 \(info\)\n)" +
        time + R"(ZEVO ALOG log warn verbose 1 ZEVO_LOG_SINK "dtl" is not a sink \(console or dlt\); using console\n)" +
        time + R"(ZEVO ALOG log warn verbose 1 ZEVO_LOG_APP_ID "TOOLONG" is not an id of one to four characters without spaces; using ZEVO\n)" +
        time + R"(ZEVO DMEX log info verbose 1 written\n$)"};
    std::string const output = captured.finish();
    EXPECT_TRUE(std::regex_match(output, expected)) << output;
}

}  // namespace

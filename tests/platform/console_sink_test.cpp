#include "platform/log/console_sink.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <condition_variable>
#include <cstdio>
#include <map>
#include <mutex>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "ara/log/log_stream.h"
#include "ara/log/logger.h"
#include "platform/log/line_format.h"

namespace {

using ara::log::Logger;
using ara::log::LogLevel;
using ara::log::LogStream;
using ara::log::detail::Console_sink;

// Holds every thread until all have arrived, so that their writes really overlap.
class Start_latch {
public:
    explicit Start_latch(std::size_t count) : waiting_(count) {}

    void arrive_and_wait() {
        std::unique_lock<std::mutex> lock{mutex_};
        if (--waiting_ == 0) {
            released_.notify_all();
            return;
        }
        released_.wait(lock, [this] { return waiting_ == 0; });
    }

private:
    std::mutex mutex_;  ///< guards waiting_
    std::condition_variable released_;
    std::size_t waiting_;
};

// An unnamed temporary file: unlike a pipe it needs no reader while the threads write.
class Temporary_file {
public:
    Temporary_file() : file_(std::tmpfile()) {}
    ~Temporary_file() {
        if (file_ != nullptr) std::fclose(file_);
    }
    Temporary_file(Temporary_file const&) = delete;
    Temporary_file& operator=(Temporary_file const&) = delete;

    int fd() const { return fileno(file_); }

    std::string contents() const {
        std::string all;
        char buffer[65536];
        off_t offset = 0;
        for (;;) {
            ssize_t const got = ::pread(fd(), buffer, sizeof buffer, offset);
            if (got <= 0) return all;
            all.append(buffer, static_cast<std::size_t>(got));
            offset += got;
        }
    }

private:
    std::FILE* file_;
};

std::vector<std::string> split_lines(std::string const& all) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    for (std::size_t end; (end = all.find('\n', start)) != std::string::npos; start = end + 1) {
        lines.push_back(all.substr(start, end - start));
    }
    EXPECT_EQ(start, all.size()) << "the output ends inside a line";
    return lines;
}

TEST(Console_sink, writes_the_formatted_line_to_its_descriptor) {
    Temporary_file file;
    ASSERT_GE(file.fd(), 0);
    Console_sink sut{file.fd()};
    ara::log::Record const record{std::chrono::system_clock::now(), LogLevel::kInfo, "ZEVO", "TEST",
                                  "hello"};
    sut.write(record);
    EXPECT_EQ(file.contents(), ara::log::detail::format_line(record));
}

TEST(Console_sink, lines_of_many_threads_never_interleave) {
    constexpr std::size_t thread_count = 8;
    constexpr std::size_t lines_per_thread = 300;
    Temporary_file file;
    ASSERT_GE(file.fd(), 0);
    Console_sink sink{file.fd()};
    Logger const logger{"ZEVO", "TEST", LogLevel::kInfo, sink};
    Start_latch latch{thread_count};

    // Long texts, so that a line takes more than one page of the file and a torn line shows.
    auto text_of = [](std::size_t thread, std::size_t line) {
        return "t" + std::to_string(thread) + " n" + std::to_string(line) + " " +
               std::string(5000, static_cast<char>('a' + thread));
    };
    std::vector<std::thread> threads;
    for (std::size_t t = 0; t < thread_count; ++t) {
        threads.emplace_back([&, t] {
            latch.arrive_and_wait();
            for (std::size_t n = 0; n < lines_per_thread; ++n) {
                LogStream{LogLevel::kInfo, logger} << text_of(t, n).c_str();
            }
        });
    }
    for (auto& thread : threads) thread.join();

    std::map<std::string, int> seen;
    std::regex const prefix{R"(^\d{4}/\d\d/\d\d \d\d:\d\d:\d\d\.\d{6} ZEVO TEST log info verbose 1 )"};
    for (std::string const& line : split_lines(file.contents())) {
        std::smatch match;
        ASSERT_TRUE(std::regex_search(line, match, prefix)) << line.substr(0, 80);
        ++seen[match.suffix().str()];
    }
    ASSERT_EQ(seen.size(), thread_count * lines_per_thread);
    for (std::size_t t = 0; t < thread_count; ++t) {
        for (std::size_t n = 0; n < lines_per_thread; ++n) {
            EXPECT_EQ(seen[text_of(t, n)], 1) << "t" << t << " n" << n;
        }
    }
}

}  // namespace

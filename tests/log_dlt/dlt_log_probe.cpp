// A small program that writes known records through libaralog under context PROB, for the DLT
// tests: with ZEVO_LOG_SINK=dlt they go to whatever daemon DLT_PIPE_DIR leads to.
//   dlt_log_probe records           one record per level from fatal to verbose, a record with
//                                   line breaks and one of 15,179 bytes
//   dlt_log_probe later GO_FILE     "before the daemon", prints "waiting", then waits (at most
//                                   20 s) until GO_FILE exists, then "after the daemon"
// Exit code 0, or 2 for a bad command line or when GO_FILE never came.

#include <sys/stat.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

#include "ara/log/log_stream.h"
#include "ara/log/logger.h"

namespace {

using ara::log::LogLevel;

void write(LogLevel level, const std::string& text) {
    ara::log::LogStream{level, ara::log::CreateLogger("ZEVO", "PROB")} << text.c_str();
}

}  // namespace

int main(int argc, char** argv) {
    const std::string command = argc > 1 ? argv[1] : "";
    if (command == "records" && argc == 2) {
        const char* names[] = {"fatal", "error", "warn", "info", "debug", "verbose"};
        for (int level = 1; level <= 6; ++level) {
            write(static_cast<LogLevel>(level), std::string("record at ") + names[level - 1]);
        }
        write(LogLevel::kInfo, "first line\nsecond line\r\nthird line");
        write(LogLevel::kDebug, "long " + std::string(15179 - 5, 'x'));
        return 0;
    }
    if (command == "later" && argc == 3) {
        write(LogLevel::kInfo, "before the daemon");
        std::printf("waiting\n");
        std::fflush(stdout);
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds{20};
        struct stat status {};
        while (stat(argv[2], &status) != 0) {
            if (std::chrono::steady_clock::now() > deadline) return 2;
            std::this_thread::sleep_for(std::chrono::milliseconds{5});
        }
        write(LogLevel::kInfo, "after the daemon");
        return 0;
    }
    return 2;
}

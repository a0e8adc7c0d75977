// trace_bench: what a trace event costs the thread that writes it, beside a bare virtual call
// measured in the same run: (a) the level test alone, one virtual call; (b) an event whose level
// is off, for the largest request of the system (0x0648 Start: a ten-entry meta_info and a 4 KiB
// vector); (c) the same event at level 5 with a backend that takes the text and drops it, which
// is the whole price of building and rendering the JSON record. Then the same through libaralog's
// two sinks, each behind the platform's Ara_log_backend and a Logger of its own: (d) the level
// test and the event with the level off, which never reach the sink; (e) the level-5 record
// written by the console sink into /dev/null, by the DLT sink with no daemon (libdlt buffers,
// then drops) and by the DLT sink handing it to a private dlt-daemon that the bench starts on a
// FIFO directory and 127.0.0.1 port of its own and stops at the end (--no-daemon skips it);
// (f) the sink's write alone for the already rendered record, which is what the sink adds.
// Prints a table; it is not a test.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ara/log/logger.h"
#include "bindings/r_0648/RoutineService_ZevoDebug.h"
#include "platform/log/console_sink.h"
#include "platform/log/dlt_sink.h"
#include "ruv/com/log/ara_log_backend.h"
#include "ruv/com/log/log_backend.h"
#include "tests/log_dlt/private_dlt_daemon.h"
#include "trace/method_events.h"

namespace {

using Clock = std::chrono::steady_clock;
using ruv::com::log::Log_backend;

/// What one run measures; the defaults keep a run at a few seconds.
struct Options {
    std::size_t calls = 20'000'000;  ///< calls per figure of (a) and (b)
    std::size_t records = 2'000;     ///< records per figure of (c)
    std::size_t repeats = 5;         ///< each figure is the median of this many timings
    bool daemon = true;              ///< also measure the DLT sink with a private dlt-daemon
};

/// A backend that answers the level test as told and drops every text, counting its bytes.
class Discarding_backend : public Log_backend {
public:
    explicit Discarding_backend(bool enabled) : enabled_(enabled) {}
    bool is_log_enabled(unsigned char) override { return enabled_; }
    void log(std::string const& text, unsigned char) override {
        bytes_ += text.size();
        last_size_ = text.size();
    }
    std::size_t last_size() const { return last_size_; }

private:
    bool enabled_;
    std::size_t bytes_ = 0;
    std::size_t last_size_ = 0;
};

/// A backend that keeps the last text it was given, to have the rendered record once.
class Keeping_backend : public Log_backend {
public:
    bool is_log_enabled(unsigned char) override { return true; }
    void log(std::string const& text, unsigned char) override { text_ = text; }
    std::string const& text() const { return text_; }

private:
    std::string text_;
};

/// Hides the dynamic type of `backend` from the optimiser, so that every call stays virtual, as
/// it is with the platform's backend behind Generic_logger.
Log_backend& opaque(Log_backend& backend) {
    Log_backend* pointer = &backend;
    asm volatile("" : "+r"(pointer));
    return *pointer;
}

/// Median over `repeats` timings of `calls` runs of `body`, in nanoseconds per run.
template <class Body>
double nanoseconds_per_call(std::size_t repeats, std::size_t calls, Body&& body) {
    std::vector<double> timings;
    for (std::size_t repeat = 0; repeat < repeats; ++repeat) {
        auto const started = Clock::now();
        for (std::size_t call = 0; call < calls; ++call) {
            body();
        }
        auto const elapsed = std::chrono::duration<double, std::nano>(Clock::now() - started).count();
        timings.push_back(elapsed / static_cast<double>(calls));
    }
    std::sort(timings.begin(), timings.end());
    return timings[timings.size() / 2];
}

bool parse_count(char const* text, std::size_t& count) {
    char* end = nullptr;
    unsigned long long const value = std::strtoull(text, &end, 10);
    if (end == text || *end != '\0' || value == 0) {
        return false;
    }
    count = static_cast<std::size_t>(value);
    return true;
}

bool parse_options(int argc, char** argv, Options& options) {
    for (int index = 1; index < argc; ++index) {
        std::string const option = argv[index];
        bool const has_value = index + 1 < argc;
        if (option == "--calls" && has_value && parse_count(argv[++index], options.calls)) continue;
        if (option == "--records" && has_value && parse_count(argv[++index], options.records)) continue;
        if (option == "--repeats" && has_value && parse_count(argv[++index], options.repeats)) continue;
        if (option == "--no-daemon") {
            options.daemon = false;
            continue;
        }
        std::fprintf(stderr, "usage: trace_bench [--calls N] [--records N] [--repeats N] [--no-daemon]\n");
        return false;
    }
    return true;
}

/// Whether this process holds `path` open: libdlt keeps the daemon's FIFO open once it has
/// found the daemon, and that is the only outside sign of it.
bool holds_open(std::string const& path) {
    for (int fd = 0; fd < 1024; ++fd) {
        std::string const link = "/proc/self/fd/" + std::to_string(fd);
        char target[PATH_MAX];
        ssize_t const length = readlink(link.c_str(), target, sizeof target);
        if (length > 0 && std::string(target, static_cast<std::size_t>(length)) == path) return true;
    }
    return false;
}

void print_row(char const* figure, double nanoseconds, double bare) {
    if (nanoseconds >= 10'000.0) {
        std::printf("%-44s %11.2f us %10.0f\n", figure, nanoseconds / 1000.0, nanoseconds / bare);
    } else {
        std::printf("%-44s %11.2f ns %10.2f\n", figure, nanoseconds, nanoseconds / bare);
    }
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!parse_options(argc, argv, options)) {
        return 2;
    }
    using Interface = talm::services::diag::r_0648::RoutineService_ZevoDebug;
    std::map<std::string, std::string> meta_info;
    for (int entry = 0; entry < 10; ++entry) {
        meta_info.emplace("request_key_" + std::to_string(entry), "value " + std::to_string(entry * 1000));
    }
    std::vector<std::uint8_t> bytes(4096);
    for (std::size_t position = 0; position < bytes.size(); ++position) {
        bytes[position] = static_cast<std::uint8_t>(position * 7);
    }
    std::uint8_t const mode = 0x2A;
    ruv::com::cpp_binding::Method_trace_info const info{{Interface::name, "1"}, Interface::Start::method_id, 0};

    Discarding_backend off{false};
    Discarding_backend on{true};
    Log_backend& disabled = opaque(off);
    Log_backend& enabled = opaque(on);

    double const bare =
        nanoseconds_per_call(options.repeats, options.calls, [&] { (void)disabled.is_log_enabled(5); });
    double const level_off = nanoseconds_per_call(options.repeats, options.calls, [&] {
        ruv::com::log::trace_request_tx(disabled, info, meta_info, mode, bytes);
    });
    double const level_on = nanoseconds_per_call(options.repeats, options.records, [&] {
        ruv::com::log::trace_request_tx(enabled, info, meta_info, mode, bytes);
    });

    // The sinks, each behind Ara_log_backend as the platform's own loggers are. The level-off
    // loggers have the threshold info, so the level-5 record is off for them.
    using ara::log::LogLevel;
    using ruv::com::log::Ara_log_backend;
    int const dev_null = open("/dev/null", O_WRONLY | O_CLOEXEC);
    ara::log::detail::Console_sink console{dev_null};
    ara::log::Logger console_on_logger{"BNCH", "TRCE", LogLevel::kDebug, console};
    ara::log::Logger console_off_logger{"BNCH", "TRCE", LogLevel::kInfo, console};
    Ara_log_backend console_on_backend{console_on_logger};
    Ara_log_backend console_off_backend{console_off_logger};

    // libdlt looks for its daemon in DLT_PIPE_DIR: a directory of the bench's own, empty until
    // the private daemon starts there, so that a system daemon never takes part.
    zevo::log_test::Temporary_directory const directory;
    std::string const fifo_directory = directory.path() + "/fifo";
    mkdir(fifo_directory.c_str(), 0755);
    setenv("DLT_PIPE_DIR", fifo_directory.c_str(), 1);
    std::unique_ptr<zevo::log_test::Private_dlt_daemon> daemon;  // stopped after the sink ends
    ara::log::detail::Dlt_sink dlt{"BNCH", "trace_bench", LogLevel::kVerbose};
    dlt.add_context("TRCE");
    ara::log::Logger dlt_on_logger{"BNCH", "TRCE", LogLevel::kDebug, dlt};
    ara::log::Logger dlt_off_logger{"BNCH", "TRCE", LogLevel::kInfo, dlt};
    Ara_log_backend dlt_on_backend{dlt_on_logger};
    Ara_log_backend dlt_off_backend{dlt_off_logger};

    Log_backend& console_off = opaque(console_off_backend);
    Log_backend& console_on = opaque(console_on_backend);
    Log_backend& dlt_off = opaque(dlt_off_backend);
    Log_backend& dlt_on = opaque(dlt_on_backend);
    auto const level_test = [&](Log_backend& backend) {
        return nanoseconds_per_call(options.repeats, options.calls, [&] { (void)backend.is_log_enabled(5); });
    };
    auto const event = [&](Log_backend& backend, std::size_t count) {
        return nanoseconds_per_call(options.repeats, count, [&] {
            ruv::com::log::trace_request_tx(backend, info, meta_info, mode, bytes);
        });
    };
    double const console_level_test = level_test(console_off);
    double const dlt_level_test = level_test(dlt_off);
    double const console_level_off = event(console_off, options.calls);
    double const dlt_level_off = event(dlt_off, options.calls);
    Keeping_backend keeping;
    ruv::com::log::trace_request_tx(keeping, info, meta_info, mode, bytes);
    ara::log::Record const rendered{std::chrono::system_clock::now(), LogLevel::kDebug, "BNCH", "TRCE",
                                    keeping.text()};
    std::size_t const writes = options.records * 10;
    auto const sink_write = [&](ara::log::Sink& sink) {
        return nanoseconds_per_call(options.repeats, writes, [&] { sink.write(rendered); });
    };
    double const console_record = event(console_on, options.records);
    double const console_write = sink_write(console);
    double const dlt_record_alone = event(dlt_on, options.records);
    double const dlt_write_alone = sink_write(dlt);
    double dlt_record_daemon = -1.0;
    double dlt_write_daemon = -1.0;
    std::string daemon_note = "not measured (--no-daemon)";
    if (options.daemon) {
        daemon = std::make_unique<zevo::log_test::Private_dlt_daemon>(directory.path());
        // libdlt looks for the daemon about twice a second.
        if (!daemon->ready()) {
            daemon_note = "not measured: " + daemon->diagnostics();
        } else if (!zevo::log_test::wait_until([&] { return holds_open(fifo_directory + "/dlt"); },
                                               std::chrono::milliseconds{5000})) {
            daemon_note = "not measured: libdlt did not find the daemon within 5 s";
        } else {
            dlt_record_daemon = event(dlt_on, options.records);
            dlt_write_daemon = sink_write(dlt);
            daemon_note = "dlt-daemon on 127.0.0.1:" + std::to_string(daemon->port()) + ", no client";
        }
    }

    std::printf("trace_bench: Method_call_request_tx of 0x0648 Start (10-entry meta_info, %zu-byte vector)\n",
                bytes.size());
    std::printf("median of %zu timings; %zu calls per timing for level tests and events with the level off, "
                "%zu for records, %zu for sink writes alone\n\n",
                options.repeats, options.calls, options.records, writes);
    std::printf("%-44s %14s %10s\n", "figure", "per call", "x bare");
    print_row("bare virtual call (is_log_enabled)", bare, bare);
    print_row("event with its level off", level_off, bare);
    print_row("level-5 record built, rendered, discarded", level_on, bare);
    std::printf("\nthrough libaralog (Ara_log_backend -> Logger -> sink):\n");
    print_row("level test, level off, console sink", console_level_test, bare);
    print_row("level test, level off, DLT sink", dlt_level_test, bare);
    print_row("event with its level off, console sink", console_level_off, bare);
    print_row("event with its level off, DLT sink", dlt_level_off, bare);
    print_row("level-5 record, console sink to /dev/null", console_record, bare);
    print_row("level-5 record, DLT sink, no daemon", dlt_record_alone, bare);
    if (dlt_record_daemon >= 0.0) {
        print_row("level-5 record, DLT sink, private daemon", dlt_record_daemon, bare);
    }
    std::printf("\nthe sink's write alone, for the rendered record:\n");
    print_row("console sink to /dev/null", console_write, bare);
    print_row("DLT sink, no daemon", dlt_write_alone, bare);
    if (dlt_write_daemon >= 0.0) {
        print_row("DLT sink, private daemon", dlt_write_daemon, bare);
    }
    std::printf("\nrendered record: %zu bytes; private daemon: %s\n", on.last_size(), daemon_note.c_str());
    close(dev_null);
    return 0;
}

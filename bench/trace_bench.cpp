// trace_bench: what a trace event costs the thread that writes it, beside a bare virtual call
// measured in the same run: (a) the level test alone, one virtual call; (b) an event whose level
// is off, for the largest request of the system (0x0648 Start: a ten-entry meta_info and a 4 KiB
// vector); (c) the same event at level 5 with a backend that takes the text and drops it, which
// is the whole price of building and rendering the JSON record. Prints a table; it is not a test.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "bindings/r_0648/RoutineService_ZevoDebug.h"
#include "ruv/com/log/log_backend.h"
#include "trace/method_events.h"

namespace {

using Clock = std::chrono::steady_clock;
using ruv::com::log::Log_backend;

/// What one run measures; the defaults keep a run at a few seconds.
struct Options {
    std::size_t calls = 20'000'000;  ///< calls per figure of (a) and (b)
    std::size_t records = 2'000;     ///< records per figure of (c)
    std::size_t repeats = 5;         ///< each figure is the median of this many timings
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
        std::fprintf(stderr, "usage: trace_bench [--calls N] [--records N] [--repeats N]\n");
        return false;
    }
    return true;
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

    std::printf("trace_bench: Method_call_request_tx of 0x0648 Start (10-entry meta_info, %zu-byte vector)\n",
                bytes.size());
    std::printf("median of %zu timings; %zu calls per timing for the first two rows, %zu records for the last\n\n",
                options.repeats, options.calls, options.records);
    std::printf("%-44s %14s %10s\n", "figure", "per call", "x bare");
    std::printf("%-44s %11.2f ns %10.2f\n", "bare virtual call (is_log_enabled)", bare, 1.0);
    std::printf("%-44s %11.2f ns %10.2f\n", "event with its level off", level_off, level_off / bare);
    std::printf("%-44s %11.2f us %10.0f\n", "level-5 record built, rendered, discarded", level_on / 1000.0,
                level_on / bare);
    std::printf("\nrendered record: %zu bytes\n", on.last_size());
    return 0;
}

// The binding's warnings about malformed input: every one counted, at most ten lines a second
// written, and the next line written says how many were left out.

#include "com/someip/binding_log.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "ruv/com/log/log_backend.h"

namespace {

using namespace std::chrono_literals;
using ruv::com::someip_binding::Anomaly;
using ruv::com::someip_binding::Binding_log;

class Recording_backend final : public ruv::com::log::Log_backend {
public:
    bool is_log_enabled(unsigned char level) override { return level <= 4; }
    void log(std::string const& text, unsigned char level) override { lines.emplace_back(level, text); }

    std::vector<std::pair<unsigned char, std::string>> lines;
};

TEST(Binding_log, counts_every_anomaly_and_writes_at_most_ten_lines_a_second) {
    Recording_backend backend;
    Binding_log::Clock::time_point now{1h};
    Binding_log sut(backend, [&now] { return now; });
    for (int i = 0; i < 25; ++i) {
        sut.warn(Anomaly::datagram_tail, "tail " + std::to_string(i));
    }
    EXPECT_EQ(sut.count(Anomaly::datagram_tail), 25U);
    EXPECT_EQ(sut.count(Anomaly::sd_entry), 0U);
    ASSERT_EQ(backend.lines.size(), 10U);
    EXPECT_EQ(backend.lines[0].first, 3);
    EXPECT_EQ(backend.lines[0].second, "SOME/IP: tail 0");
    now += 999ms;
    sut.warn(Anomaly::stream_broken, "still the same second");
    EXPECT_EQ(backend.lines.size(), 10U);
    now += 1ms;
    sut.warn(Anomaly::stream_broken, "next second");
    ASSERT_EQ(backend.lines.size(), 11U);
    EXPECT_EQ(backend.lines.back().second, "SOME/IP: next second (16 similar lines suppressed before)");
    EXPECT_EQ(sut.count(Anomaly::stream_broken), 2U);
}

}  // namespace

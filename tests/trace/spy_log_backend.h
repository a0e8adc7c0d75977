#pragma once
// A Log_backend for the trace tests: answers the level test as told, counts how often it was
// asked, and keeps every line it is given with its level. Its level test never allocates, so it
// can stand inside an allocation count. One test thread only.

#include <cstddef>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ruv/com/log/log_backend.h"

namespace zevo::test {

struct Logged_line {
    unsigned char level;
    std::string text;
};

class Spy_log_backend : public ruv::com::log::Log_backend {
public:
    explicit Spy_log_backend(bool answer = true) : enabled(answer) {}

    bool is_log_enabled(unsigned char level) override {
        ++level_tests;
        asked_level = level;
        return enabled;
    }

    void log(std::string const& text, unsigned char level) override { lines.push_back({level, text}); }

    bool enabled;                  ///< the answer of every level test
    std::size_t level_tests = 0;   ///< how often is_log_enabled was called
    int asked_level = -1;          ///< the level of the last test; -1 before the first
    std::vector<Logged_line> lines;
};

/// The text of the one line `spy` got; fails the test if it got none or several.
inline std::string only_line(Spy_log_backend const& spy) {
    EXPECT_EQ(spy.lines.size(), 1u);
    return spy.lines.empty() ? std::string{"<no line>"} : spy.lines.front().text;
}

/// The level of the one line `spy` got, or -1.
inline int only_level(Spy_log_backend const& spy) {
    EXPECT_EQ(spy.lines.size(), 1u);
    return spy.lines.empty() ? -1 : spy.lines.front().level;
}

}  // namespace zevo::test

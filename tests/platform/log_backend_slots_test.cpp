// The slot order of Log_backend as code compiled elsewhere uses it: the destructor pair, then
// is_log_enabled, then log, called here through the raw virtual table.
#include "ruv/com/log/log_backend.h"

#include <gtest/gtest.h>

#include <string>

#include "recording_sink.h"
#include "ruv/com/log/ara_log_backend.h"

namespace {

using ruv::com::log::Log_backend;

using Slot = void (*)();
using Is_log_enabled_slot = bool (*)(Log_backend*, unsigned char);
using Log_slot = void (*)(Log_backend*, std::string const&, unsigned char);

constexpr std::size_t is_log_enabled_index = 2;
constexpr std::size_t log_index = 3;

Slot slot_of(Log_backend& backend, std::size_t index) {
    Slot const* const table = *reinterpret_cast<Slot const* const*>(&backend);
    return table[index];
}

class Spy_backend : public Log_backend {
public:
    bool is_log_enabled(unsigned char level) override {
        asked = level;
        return level == 3;
    }
    void log(std::string const& text, unsigned char level) override {
        logged_text = text;
        logged_level = level;
    }

    int asked = -1;
    std::string logged_text;
    int logged_level = -1;
};

TEST(Log_backend_slots, third_slot_is_is_log_enabled) {
    Spy_backend sut;
    auto const call = reinterpret_cast<Is_log_enabled_slot>(slot_of(sut, is_log_enabled_index));
    EXPECT_TRUE(call(&sut, 3));
    EXPECT_EQ(sut.asked, 3);
    EXPECT_FALSE(call(&sut, 4));
    EXPECT_TRUE(sut.logged_text.empty());
}

TEST(Log_backend_slots, fourth_slot_is_log_with_text_then_level) {
    Spy_backend sut;
    auto const call = reinterpret_cast<Log_slot>(slot_of(sut, log_index));
    call(&sut, "line", 5);
    EXPECT_EQ(sut.logged_text, "line");
    EXPECT_EQ(sut.logged_level, 5);
    EXPECT_EQ(sut.asked, -1);
}

TEST(Log_backend_slots, ara_log_backend_answers_through_the_same_slots) {
    zevo::test::Recording_sink sink;
    ara::log::Logger const logger{"ZEVO", "ACOM", ara::log::LogLevel::kInfo, sink};
    ruv::com::log::Ara_log_backend sut{logger};
    auto const enabled = reinterpret_cast<Is_log_enabled_slot>(slot_of(sut, is_log_enabled_index));
    auto const log = reinterpret_cast<Log_slot>(slot_of(sut, log_index));
    EXPECT_TRUE(enabled(&sut, 4));
    EXPECT_FALSE(enabled(&sut, 5));
    log(&sut, "raw", 2);
    auto const lines = sink.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].text, "raw");
    EXPECT_EQ(lines[0].level, ara::log::LogLevel::kError);
}

}  // namespace

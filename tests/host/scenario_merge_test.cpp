// The session's own faults merged with those of a --scenario file.

#include "host/scenario_merge.h"

#include <gtest/gtest.h>

namespace zevo::host {
namespace {

using namespace std::chrono_literals;

sim::Fault fault_of(std::uint16_t identifier) {
    sim::Fault fault;
    fault.identifier = identifier;
    return fault;
}

TEST(host_scenario_merge, faults_of_the_file_come_first_so_that_they_win) {
    sim::Scenario session;
    session.faults = {fault_of(0xC00A), fault_of(0x2C57)};
    sim::Scenario file;
    file.faults = {fault_of(0x2C56)};
    const sim::Scenario merged = merge_scenarios(session, file);
    ASSERT_EQ(merged.faults.size(), 3u);
    EXPECT_EQ(merged.faults[0].identifier, 0x2C56);
    EXPECT_EQ(merged.faults[1].identifier, 0xC00A);
    EXPECT_EQ(merged.faults[2].identifier, 0x2C57);
}

TEST(host_scenario_merge, routine_duration_of_the_file_wins_where_it_is_not_the_default) {
    sim::Scenario session;
    session.routine_duration = 250ms;
    sim::Scenario file;
    file.routine_duration = 40ms;
    EXPECT_EQ(merge_scenarios(session, file).routine_duration, 40ms);
}

TEST(host_scenario_merge, default_routine_duration_of_the_file_keeps_the_sessions) {
    sim::Scenario session;
    session.routine_duration = 250ms;
    EXPECT_EQ(merge_scenarios(session, sim::Scenario{}).routine_duration, 250ms);
}

TEST(host_scenario_merge, empty_file_scenario_keeps_the_session_as_it_is) {
    sim::Scenario session;
    session.faults = {fault_of(0xC00A)};
    const sim::Scenario merged = merge_scenarios(session, sim::Scenario{});
    ASSERT_EQ(merged.faults.size(), 1u);
    EXPECT_EQ(merged.faults[0].identifier, 0xC00A);
}

}  // namespace
}  // namespace zevo::host

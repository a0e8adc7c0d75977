// The session's own faults merged with those of a --scenario file.

#include "sim/scenario_merge.h"

#include <gtest/gtest.h>

namespace zevo::sim {
namespace {

using namespace std::chrono_literals;

Fault fault_of(std::uint16_t identifier) {
    Fault fault;
    fault.identifier = identifier;
    return fault;
}

TEST(sim_scenario_merge, faults_of_the_file_come_first_so_that_they_win) {
    Scenario session;
    session.faults = {fault_of(0xC00A), fault_of(0x2C57)};
    Scenario file;
    file.faults = {fault_of(0x2C56)};
    const Scenario merged = merge_scenarios(session, file);
    ASSERT_EQ(merged.faults.size(), 3u);
    EXPECT_EQ(merged.faults[0].identifier, 0x2C56);
    EXPECT_EQ(merged.faults[1].identifier, 0xC00A);
    EXPECT_EQ(merged.faults[2].identifier, 0x2C57);
}

TEST(sim_scenario_merge, routine_duration_of_the_file_wins_where_it_is_not_the_default) {
    Scenario session;
    session.routine_duration = 250ms;
    Scenario file;
    file.routine_duration = 40ms;
    EXPECT_EQ(merge_scenarios(session, file).routine_duration, 40ms);
}

TEST(sim_scenario_merge, default_routine_duration_of_the_file_keeps_the_sessions) {
    Scenario session;
    session.routine_duration = 250ms;
    EXPECT_EQ(merge_scenarios(session, Scenario{}).routine_duration, 250ms);
}

TEST(sim_scenario_merge, empty_file_scenario_keeps_the_session_as_it_is) {
    Scenario session;
    session.faults = {fault_of(0xC00A)};
    const Scenario merged = merge_scenarios(session, Scenario{});
    ASSERT_EQ(merged.faults.size(), 1u);
    EXPECT_EQ(merged.faults[0].identifier, 0xC00A);
}

}  // namespace
}  // namespace zevo::sim

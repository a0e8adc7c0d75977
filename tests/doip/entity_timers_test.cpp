// The inactivity timers on the manual clock: initial inactivity (no activation within 2 s) and
// general inactivity (5 min without a message), both reported to the handler.

#include "entity_fixture.h"

namespace zevo::doip::testing {
namespace {

using namespace std::chrono_literals;

class doip_entity_timers : public Entity_test {};

TEST_F(doip_entity_timers, no_activation_within_2_s_closes_the_socket) {
    start();
    Tcp_tester tester(port());
    ASSERT_TRUE(wait_open_sockets(1));
    ASSERT_TRUE(clock_.advance(1999ms));
    EXPECT_TRUE(tester.quiet_and_open());
    EXPECT_TRUE(handler_.closed().empty());
    ASSERT_TRUE(clock_.advance(1ms));
    EXPECT_TRUE(tester.closed_by_entity());
    EXPECT_EQ(handler_.closed().size(), 1u);
}

TEST_F(doip_entity_timers, activation_in_time_stops_the_initial_timer) {
    start();
    Tcp_tester tester(port());
    ASSERT_TRUE(wait_open_sockets(1));
    ASSERT_TRUE(clock_.advance(1500ms));
    EXPECT_EQ(tester.activate(tester_address), 0x10);
    ASSERT_TRUE(clock_.advance(1000ms));
    EXPECT_TRUE(tester.quiet_and_open());
}

TEST_F(doip_entity_timers, five_idle_minutes_close_an_activated_socket) {
    start();
    auto tester = activated_tester();
    ASSERT_TRUE(clock_.advance(5min - 1ms));
    EXPECT_TRUE(tester->quiet_and_open());
    ASSERT_TRUE(clock_.advance(1ms));
    EXPECT_TRUE(tester->closed_by_entity());
    EXPECT_EQ(handler_.closed().size(), 1u);
}

TEST_F(doip_entity_timers, a_message_restarts_general_inactivity) {
    start();
    auto tester = activated_tester();
    ASSERT_TRUE(clock_.advance(4min));
    tester->send(encode_diagnostic_message(0x02, {tester_address, entity_address, {0x3E, 0x00}}));
    ASSERT_TRUE(tester->receive());  // acknowledge
    ASSERT_TRUE(tester->receive());  // answer
    ASSERT_TRUE(clock_.advance(4min));
    EXPECT_TRUE(tester->quiet_and_open());
    ASSERT_TRUE(clock_.advance(1min));
    EXPECT_TRUE(tester->closed_by_entity());
}

}  // namespace
}  // namespace zevo::doip::testing

// The session id counter: starts at 1, counts up, wraps from 0xFFFF to 1 and never gives 0.

#include "com/someip/session_counter.h"

#include <gtest/gtest.h>

namespace {

using ruv::com::someip_binding::Session_counter;

TEST(Session_counter, starts_at_one_and_counts_up) {
    Session_counter counter;
    EXPECT_EQ(counter.next(), 1);
    EXPECT_EQ(counter.next(), 2);
    EXPECT_FALSE(counter.wrapped());
}

TEST(Session_counter, wraps_from_0xFFFF_to_one_never_zero) {
    Session_counter counter;
    for (unsigned i = 1; i < 0xFFFF; ++i) {
        ASSERT_NE(counter.next(), 0);
    }
    EXPECT_FALSE(counter.wrapped());
    EXPECT_EQ(counter.next(), 0xFFFF);
    EXPECT_TRUE(counter.wrapped());
    EXPECT_EQ(counter.next(), 1);
}

}  // namespace

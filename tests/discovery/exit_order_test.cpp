// A discovery notification that arrives while the process exits: exit_order_child ends with the
// callback of a withdrawal held on the extension's strand and lets it run after static
// destruction. The child must exit with 0 and without a word from a sanitizer. Runs the child as
// its own process, bounded in time and killed on failure (zevo_dm_process.h).

#include <gtest/gtest.h>

#include <chrono>

#include "tests/host/zevo_dm_process.h"

namespace {

TEST(exit_order, a_notification_during_exit_swaps_the_proxy_under_a_guard_that_is_still_there) {
    zevo::host::testing::Zevo_dm_process child({});
    const zevo::host::testing::Run_result result = child.finish(std::chrono::seconds{20});
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_EQ(result.err.find("Sanitizer"), std::string::npos) << result.err;
    EXPECT_EQ(result.err.find("exit order:"), std::string::npos) << result.err;
}

}  // namespace

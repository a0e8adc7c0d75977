// Waiting, bounded, until the extensions have found or lost their services, with scripted probes.

#include "host/service_wait.h"

#include <gtest/gtest.h>

#include <map>

namespace zevo::host {
namespace {

using Ids = std::vector<std::uint16_t>;
using namespace std::chrono_literals;

/// Answers `found` from the n-th probe of an identifier on, and counts the probes.
struct Scripted_probe {
    std::map<std::uint16_t, int> found_from;  // identifier -> probe number (1-based) from which it is found
    std::map<std::uint16_t, int> probes;

    bool operator()(std::uint16_t identifier) {
        const int number = ++probes[identifier];
        const auto found = found_from.find(identifier);
        return found != found_from.end() && number >= found->second;
    }
};

TEST(host_service_wait, waits_until_every_identifier_is_found) {
    Scripted_probe probe{{{0x2C56, 1}, {0xC00F, 3}}, {}};
    const Service_wait_result result = wait_for_services({0x2C56, 0xC00F}, true, std::ref(probe), 10s, {});
    EXPECT_TRUE(result.reached());
    EXPECT_TRUE(result.pending.empty());
    EXPECT_FALSE(result.stopped);
    EXPECT_EQ(probe.probes[0xC00F], 3);
}

TEST(host_service_wait, an_identifier_found_is_not_probed_again) {
    Scripted_probe probe{{{0x2C56, 1}, {0xC00F, 4}}, {}};
    wait_for_services({0x2C56, 0xC00F}, true, std::ref(probe), 10s, {});
    EXPECT_EQ(probe.probes[0x2C56], 1);
}

TEST(host_service_wait, timeout_leaves_the_identifiers_never_found_pending) {
    Scripted_probe probe{{{0x2C56, 1}}, {}};
    const Service_wait_result result = wait_for_services({0x2C56, 0xC00F, 0x0648}, true, std::ref(probe), 5ms, {});
    EXPECT_FALSE(result.reached());
    EXPECT_EQ(result.pending, (Ids{0xC00F, 0x0648}));
    EXPECT_GE(result.waited, 5ms);
}

TEST(host_service_wait, zero_timeout_probes_once) {
    Scripted_probe probe{{}, {}};
    const Service_wait_result result = wait_for_services({0x2C56}, true, std::ref(probe), 0ms, {});
    EXPECT_EQ(probe.probes[0x2C56], 1);
    EXPECT_EQ(result.pending, (Ids{0x2C56}));
}

TEST(host_service_wait, waits_until_a_service_is_lost_when_asked_for_not_found) {
    int probes = 0;
    const Service_wait_result result =
        wait_for_services({0x2C57}, false, [&](std::uint16_t) { return ++probes < 3; }, 10s, {});
    EXPECT_TRUE(result.reached());
    EXPECT_EQ(probes, 3);
}

TEST(host_service_wait, stop_request_ends_the_wait_early) {
    int asked = 0;
    const Service_wait_result result =
        wait_for_services({0x2C56}, true, [](std::uint16_t) { return false; }, 3600s, [&] { return ++asked == 2; });
    EXPECT_TRUE(result.stopped);
    EXPECT_FALSE(result.reached());
    EXPECT_EQ(result.pending, (Ids{0x2C56}));
}

TEST(host_service_wait, stop_request_is_not_asked_when_everything_is_found) {
    const Service_wait_result result =
        wait_for_services({0x2C56}, true, [](std::uint16_t) { return true; }, 10s, [] { return true; });
    EXPECT_TRUE(result.reached());
}

TEST(host_service_wait, identifiers_are_formatted_for_messages) {
    EXPECT_EQ(format_identifiers({0x2C55, 0xC00F, 0x0648}), "0x2C55, 0xC00F, 0x0648");
    EXPECT_EQ(format_identifiers({}), "");
}

}  // namespace
}  // namespace zevo::host

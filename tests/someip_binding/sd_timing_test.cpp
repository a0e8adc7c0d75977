// SD's pure state on a test clock: the three phases of Offers and Finds, reboot detection per
// peer and relation, and the table of found services with TTL expiry, refresh and StopOffer.

#include <gtest/gtest.h>

#include "com/sd/found_services.h"
#include "com/sd/phase_timer.h"
#include "com/sd/reboot_detector.h"

namespace {

using namespace std::chrono_literals;
using namespace ruv::com::someip_binding;
using namespace ruv::com::someip_binding::sd;
using Clock = std::chrono::steady_clock;

const Clock::time_point t0{};

Sd_settings settings() {
    Sd_settings sd;
    sd.repetition_base_delay = 10ms;
    sd.repetition_max = 3;
    sd.cyclic_offer_delay = 1000ms;
    return sd;
}

/// The times at which the timer sends, polled each millisecond up to `until`.
std::vector<long> send_times(Phase_timer& timer, long until) {
    std::vector<long> times;
    for (long ms = 0; ms <= until; ++ms) {
        const Clock::time_point now = t0 + std::chrono::milliseconds(ms);
        if (timer.due(now)) {
            times.push_back(ms);
            timer.sent(now);
        }
    }
    return times;
}

TEST(Phase_timer, offers_after_the_initial_wait_then_doubling_repetitions_then_cyclically) {
    Phase_timer timer(settings(), true, 5ms, t0);
    EXPECT_EQ(timer.phase(), Phase_timer::Phase::initial_wait);
    EXPECT_EQ(send_times(timer, 3100), (std::vector<long>{5, 15, 35, 75, 1075, 2075, 3075}));
    EXPECT_EQ(timer.phase(), Phase_timer::Phase::main);
}

TEST(Phase_timer, finds_stop_after_the_repetitions) {
    Phase_timer timer(settings(), false, 0ms, t0);
    EXPECT_EQ(send_times(timer, 5000), (std::vector<long>{0, 10, 30, 70}));
    EXPECT_EQ(timer.phase(), Phase_timer::Phase::done);
    EXPECT_EQ(timer.next(), Clock::time_point::max());
}

TEST(Phase_timer, no_repetitions_goes_straight_to_the_main_phase) {
    Sd_settings sd = settings();
    sd.repetition_max = 0;
    Phase_timer timer(sd, true, 0ms, t0);
    EXPECT_EQ(send_times(timer, 2000), (std::vector<long>{0, 1000, 2000}));
}

TEST(Phase_timer, a_find_that_is_answered_stops_repeating) {
    Phase_timer timer(settings(), false, 0ms, t0);
    timer.sent(t0);
    timer.finish();
    EXPECT_FALSE(timer.due(t0 + 1h));
}

const Ipv4_address peer{127, 0, 0, 2};

TEST(Reboot_detector, the_first_message_of_a_peer_is_no_reboot) {
    Reboot_detector detector;
    EXPECT_FALSE(detector.rebooted(peer, true, true, 1));
}

TEST(Reboot_detector, flag_going_from_0_to_1_is_a_reboot) {
    Reboot_detector detector;
    EXPECT_FALSE(detector.rebooted(peer, true, false, 7));
    EXPECT_TRUE(detector.rebooted(peer, true, true, 1));
}

TEST(Reboot_detector, flag_staying_1_with_the_session_not_growing_is_a_reboot) {
    Reboot_detector detector;
    EXPECT_FALSE(detector.rebooted(peer, true, true, 5));
    EXPECT_FALSE(detector.rebooted(peer, true, true, 6));
    EXPECT_TRUE(detector.rebooted(peer, true, true, 2));
    EXPECT_TRUE(detector.rebooted(peer, true, true, 2));
}

TEST(Reboot_detector, flag_0_after_the_wrap_is_no_reboot) {
    Reboot_detector detector;
    EXPECT_FALSE(detector.rebooted(peer, true, true, 0xFFFF));
    EXPECT_FALSE(detector.rebooted(peer, true, false, 1));
    EXPECT_FALSE(detector.rebooted(peer, true, false, 2));
}

TEST(Reboot_detector, multicast_and_unicast_and_peers_are_kept_apart) {
    Reboot_detector detector;
    EXPECT_FALSE(detector.rebooted(peer, true, true, 50));
    EXPECT_FALSE(detector.rebooted(peer, false, true, 3));  // its own unicast counter
    EXPECT_FALSE(detector.rebooted(Ipv4_address{127, 0, 0, 3}, true, true, 1));
    EXPECT_FALSE(detector.rebooted(peer, true, true, 51));
    EXPECT_FALSE(detector.rebooted(peer, false, true, 4));
}

TEST(Reboot_detector, a_restart_seen_by_multicast_is_not_seen_again_by_unicast) {
    Reboot_detector detector;
    EXPECT_FALSE(detector.rebooted(peer, true, true, 50));
    EXPECT_FALSE(detector.rebooted(peer, false, true, 9));
    EXPECT_TRUE(detector.rebooted(peer, true, true, 1));    // the restart
    EXPECT_FALSE(detector.rebooted(peer, false, true, 1));  // the same restart: a new baseline
    EXPECT_FALSE(detector.rebooted(peer, false, true, 2));
    EXPECT_TRUE(detector.rebooted(peer, false, true, 1));   // a later restart still shows
}

TEST(Reboot_detector, a_restart_seen_by_unicast_is_not_seen_again_by_multicast) {
    Reboot_detector detector;
    EXPECT_FALSE(detector.rebooted(peer, true, false, 7));
    EXPECT_FALSE(detector.rebooted(peer, false, false, 7));
    EXPECT_TRUE(detector.rebooted(peer, false, true, 1));
    EXPECT_FALSE(detector.rebooted(peer, true, true, 1));
    EXPECT_FALSE(detector.rebooted(peer, true, true, 2));
}

TEST(Reboot_detector, a_restart_of_one_peer_leaves_the_others_baselines) {
    const Ipv4_address other{127, 0, 0, 3};
    Reboot_detector detector;
    EXPECT_FALSE(detector.rebooted(peer, true, true, 50));
    EXPECT_FALSE(detector.rebooted(other, false, true, 9));
    EXPECT_TRUE(detector.rebooted(peer, true, true, 1));
    EXPECT_TRUE(detector.rebooted(other, false, true, 1));
}

Entry offer_entry(std::uint32_t ttl, std::uint16_t udp_port = 30501) {
    Entry entry;
    entry.type = entry_type::offer_service;
    entry.service_id = 0x2C56;
    entry.instance_id = 1;
    entry.major_version = 1;
    entry.minor_version = 0;
    entry.ttl = ttl;
    Option udp;
    udp.endpoint = Ipv4_endpoint{peer, l4::udp, udp_port};
    Option tcp;
    tcp.endpoint = Ipv4_endpoint{peer, l4::tcp, 30501};
    entry.options.push_back(udp);
    entry.options.push_back(tcp);
    return entry;
}

TEST(Found_services, an_offer_adds_then_refreshes_then_replaces_on_new_endpoints) {
    Found_services found;
    EXPECT_EQ(found.offered(offer_entry(3), peer, t0), Found_services::Change::added);
    const Found_service* service = found.find({0x2C56, 1});
    ASSERT_NE(service, nullptr);
    EXPECT_EQ(service->udp.port, 30501);
    EXPECT_EQ(service->tcp.protocol, l4::tcp);
    EXPECT_EQ(service->expiry, t0 + 3s);
    EXPECT_EQ(found.offered(offer_entry(3), peer, t0 + 1s), Found_services::Change::refreshed);
    EXPECT_EQ(found.next_expiry(), t0 + 4s);
    EXPECT_EQ(found.offered(offer_entry(3, 30600), peer, t0 + 2s), Found_services::Change::replaced);
}

TEST(Found_services, the_ttl_runs_out_without_a_refresh) {
    Found_services found;
    found.offered(offer_entry(3), peer, t0);
    EXPECT_TRUE(found.expire(t0 + 2999ms).empty());
    EXPECT_EQ(found.expire(t0 + 3s), (std::vector<Service_key>{{0x2C56, 1}}));
    EXPECT_EQ(found.find({0x2C56, 1}), nullptr);
}

TEST(Found_services, ttl_0xFFFFFF_lasts_until_the_peer_reboots) {
    Found_services found;
    found.offered(offer_entry(ttl_forever), peer, t0);
    EXPECT_TRUE(found.expire(t0 + 24h * 365).empty());
    EXPECT_EQ(found.remove_peer(peer).size(), 1U);
    EXPECT_EQ(found.next_expiry(), Clock::time_point::max());
}

TEST(Found_services, a_stop_offer_removes_and_an_unknown_one_changes_nothing) {
    Found_services found;
    EXPECT_EQ(found.offered(offer_entry(0), peer, t0), Found_services::Change::none);
    found.offered(offer_entry(3), peer, t0);
    EXPECT_EQ(found.offered(offer_entry(0), peer, t0), Found_services::Change::removed);
    EXPECT_EQ(found.find({0x2C56, 1}), nullptr);
}

}  // namespace

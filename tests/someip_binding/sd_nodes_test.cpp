// Two SOME/IP nodes of the binding in one process, in a network namespace of the test's own:
// the providing node (127.0.0.2) serves a local provider and offers it over SD, the finding node
// (127.0.0.1) finds it, calls it over UDP and TCP, and loses it on withdrawal. A raw SD peer
// (127.0.0.3) checks TTL expiry, reboot detection, the unicast answer to a Find and the Nack of a
// Subscribe.

#include <gtest/gtest.h>

#include <condition_variable>
#include <deque>
#include <fstream>
#include <mutex>

#include <nlohmann/json.hpp>

#include "com/sd/sd_codec.h"
#include "kel/com/runtime/instance_id.h"
#include "network_namespace.h"
#include "raw_peer.h"
#include "ruv/com/runtime/service_entry.h"
#include "ruv/com/someip_binding/node.h"
#include "tests/platform/local_call_support.h"

namespace {

using namespace std::chrono_literals;
using namespace ruv::com::someip_binding;
using kel::com::runtime::Service_handle;
using zevo::test::Call_inbox;
using zevo::test::Handler_probe;
using zevo::test::payload_of;
using zevo::test::ready;

constexpr char routine[] = "talm::services::diag::r_c00f::RoutineService_ZevoGetState";
constexpr char data[] = "talm::services::diag::d_2c56::DataIdentifier_ZevoTrainingCounter";

/// A shipped manifest with the node's address and fast SD timing, written to a file of its own.
std::string manifest_file(const std::string& shipped, const std::string& unicast, const std::string& name) {
    std::ifstream in(std::string(ZEVO_SOURCE_DIR) + "/manifests/" + shipped);
    nlohmann::json json = nlohmann::json::parse(in);
    json["unicast"] = unicast;
    json["service_discovery"]["initial_delay_max_ms"] = 2;
    json["service_discovery"]["ttl_s"] = 3;
    json["request_timeout_ms"] = 2000;
    // Tests of this program run side by side under ctest: each process writes files of its own.
    const std::string path = ::testing::TempDir() + std::to_string(::getpid()) + "_" + name;
    std::ofstream(path) << json.dump();
    return path;
}

/// The lists a subscription was told, in order.
class List_inbox {
public:
    kel::com::runtime::Service_finder::Callback callback() {
        return [this](std::vector<Service_handle> services) {
            std::lock_guard<std::mutex> lock(mutex_);
            lists_.push_back(std::move(services));
            arrived_.notify_all();
            return true;
        };
    }

    /// Waits for a list of `size` services and returns it; lists before it are skipped.
    std::optional<std::vector<Service_handle>> until(std::size_t size) {
        std::unique_lock<std::mutex> lock(mutex_);
        for (;;) {
            if (!arrived_.wait_for(lock, zevo::test::bound, [this] { return !lists_.empty(); })) return std::nullopt;
            std::vector<Service_handle> list = std::move(lists_.front());
            lists_.pop_front();
            if (list.size() == size) return list;
        }
    }

    /// How many lists came that no `until` has taken yet.
    std::size_t untaken() {
        std::lock_guard<std::mutex> lock(mutex_);
        return lists_.size();
    }

private:
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::deque<std::vector<Service_handle>> lists_;
};

class Sd_nodes : public ::testing::Test {
protected:
    void SetUp() override {
        if (!zevo::test::enter_network_namespace()) GTEST_SKIP() << "no network namespace (needs CAP_SYS_ADMIN)";
        runtime = std::make_shared<ruv::com::runtime::Runtime>();
        provider_registry = std::make_unique<ruv::com::local::Provider_registry>(
            ruv::com::local::Registry_options{10s, runtime});
        client_registry = std::make_unique<ruv::com::local::Provider_registry>(
            ruv::com::local::Registry_options{10s, runtime});
        provider = std::make_unique<Node>(manifest_file("keysim.json", "127.0.0.2", "keysim.json"),
                                          Node_options{provider_registry.get(), runtime});
        finder_node = std::make_unique<Node>(manifest_file("host.json", "127.0.0.1", "host.json"),
                                             Node_options{client_registry.get(), runtime});
    }

    void TearDown() override {
        subscriptions.clear();
        offers.clear();
        if (finder_node) finder_node->stop();
        if (provider) provider->stop();
        if (runtime) runtime->shutdown();
    }

    std::shared_ptr<ruv::com::runtime::Service_record> record_of(const Service_handle& handle) {
        return ruv::com::runtime::Service_entry::of(handle)->service();
    }

    void subscribe(List_inbox& inbox, const char* name) {
        subscriptions.push_back(finder_node->service_finder()->subscribe(inbox.callback(), name,
                                                                         kel::com::runtime::Instance_id("1")));
    }

    std::shared_ptr<ruv::com::runtime::Runtime> runtime;
    std::unique_ptr<ruv::com::local::Provider_registry> provider_registry;
    std::unique_ptr<ruv::com::local::Provider_registry> client_registry;
    std::unique_ptr<Node> provider;
    std::unique_ptr<Node> finder_node;
    Call_inbox calls;
    std::vector<ruv::com::local::Offer> offers;
    std::vector<std::shared_ptr<kel::com::runtime::Service_finder::Subscription_handle>> subscriptions;
};

TEST_F(Sd_nodes, a_found_service_has_state_2_and_the_manifest_texts_and_answers_over_udp_and_tcp) {
    List_inbox data_lists;
    List_inbox routine_lists;
    subscribe(data_lists, data);
    subscribe(routine_lists, routine);
    offers.push_back(provider_registry->offer(data, "1", calls.handler()));
    offers.push_back(provider_registry->offer(routine, "1", calls.handler()));
    for (List_inbox* lists : {&data_lists, &routine_lists}) {
        const auto found = lists->until(1);
        ASSERT_TRUE(found);
        const Service_handle& handle = found->front();
        EXPECT_EQ(handle.instance_id(), "1");
        const auto record = record_of(handle);
        EXPECT_EQ(record->state.load(), 2);
        Handler_probe probe;
        record->binding->call(1, payload_of({7}), probe.handler());  // UDP for data, TCP for routines
        auto received = calls.next();
        ASSERT_TRUE(received);
        EXPECT_EQ(received->method_id, 1);
        EXPECT_EQ(received->request, std::vector<std::uint8_t>{7});
        received->reply.answer(2, {0x31, 0x22});
        ASSERT_TRUE(ready(probe.response));
        const auto response = probe.response.get();
        EXPECT_EQ(response.code, 2);
        EXPECT_EQ(response.bytes, (std::vector<std::uint8_t>{0x31, 0x22}));
    }
}

TEST_F(Sd_nodes, a_withdrawn_service_is_lost_with_state_0_and_its_pending_call_ends_0xFF) {
    List_inbox lists;
    subscribe(lists, routine);
    offers.push_back(provider_registry->offer(routine, "1", calls.handler()));
    const auto found = lists.until(1);
    ASSERT_TRUE(found);
    const auto record = record_of(found->front());
    Handler_probe probe;
    record->binding->call(2, payload_of({}), probe.handler());
    ASSERT_TRUE(calls.next());
    offers.front().withdraw();  // a StopOffer goes out
    ASSERT_TRUE(lists.until(0));
    EXPECT_EQ(record->state.load(), 0);
    ASSERT_TRUE(ready(probe.response));
    EXPECT_EQ(probe.response.get().code, 0xFF);
    offers.push_back(provider_registry->offer(routine, "1", calls.handler()));
    const auto again = lists.until(1);  // found again with the next Offer
    ASSERT_TRUE(again);
    // The TCP connection of the lost service was closed; the new one is opened on first use.
    Handler_probe after;
    record_of(again->front())->binding->call(1, payload_of({}), after.handler());
    auto received = calls.next();
    ASSERT_TRUE(received);
    received->reply.answer(0, {5});
    ASSERT_TRUE(ready(after.response));
    EXPECT_EQ(after.response.get().code, 0);
}

// The raw SD peer.

using zevo::test::someip_wire::Raw_peer;

sd::Entry raw_offer(std::uint32_t ttl) {
    sd::Entry entry;
    entry.type = sd::entry_type::offer_service;
    entry.service_id = 0x2C57;
    entry.instance_id = 1;
    entry.major_version = 1;
    entry.minor_version = 0;
    entry.ttl = ttl;
    sd::Option udp;
    udp.endpoint = sd::Ipv4_endpoint{{127, 0, 0, 3}, sd::l4::udp, 40000};
    entry.options.push_back(udp);
    return entry;
}

/// A Subscribe of an eventgroup, which every node refuses with a Nack.
sd::Entry raw_subscribe(std::uint16_t service, std::uint16_t eventgroup) {
    sd::Entry entry;
    entry.type = sd::entry_type::subscribe_eventgroup;
    entry.service_id = service;
    entry.instance_id = 1;
    entry.major_version = 1;
    entry.ttl = 3;
    entry.eventgroup_id = eventgroup;
    entry.minor_version = 0;
    return entry;
}

/// The next SD message received on `fd` with an entry that `wanted` takes, skipping others; none
/// when the socket's receive time-out passes first.
template <class Wanted>
std::optional<sd::Message> receive_sd(int fd, Wanted wanted) {
    for (int datagrams = 0; datagrams < 100; ++datagrams) {
        std::vector<std::uint8_t> buffer(65536);
        const ssize_t got = ::recv(fd, buffer.data(), buffer.size(), 0);
        if (got < 16) return std::nullopt;
        const sd::Decoded decoded = sd::decode_sd(Byte_view{buffer.data() + 16, static_cast<std::size_t>(got) - 16});
        for (const sd::Entry& entry : decoded.message.entries) {
            if (wanted(entry)) return decoded.message;
        }
    }
    return std::nullopt;
}

/// A UDP socket on 127.0.0.3 that speaks SD by unicast, and by multicast to SD's group.
class Sd_peer {
public:
    Sd_peer() : fd_(::socket(AF_INET, SOCK_DGRAM, 0)) {
        timeval bound{5, 0};
        ::setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &bound, sizeof bound);
        const sockaddr_in local = zevo::test::someip_wire::address_of("127.0.0.3", 30490);
        ::bind(fd_, reinterpret_cast<const sockaddr*>(&local), sizeof local);
        const in_addr outbound = local.sin_addr;
        ::setsockopt(fd_, IPPROTO_IP, IP_MULTICAST_IF, &outbound, sizeof outbound);
    }
    ~Sd_peer() { ::close(fd_); }

    void send(const std::string& to, sd::Message message, std::uint16_t session) {
        const Bytes bytes = sd::encode_sd_message(message, session);
        const sockaddr_in remote = zevo::test::someip_wire::address_of(to, 30490);
        ::sendto(fd_, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&remote), sizeof remote);
    }

    void send_to_group(sd::Message message, std::uint16_t session) { send("224.244.224.245", std::move(message), session); }

    /// The next SD message with an entry of `type`, skipping others (multicast ones too).
    std::optional<sd::Message> receive(std::uint8_t type) {
        return receive_sd(fd_, [type](const sd::Entry& entry) { return entry.type == type; });
    }

private:
    int fd_;
};

TEST_F(Sd_nodes, an_offer_whose_ttl_runs_out_is_lost) {
    List_inbox lists;
    subscribe(lists, "talm::services::diag::d_2c57::DataIdentifier_ZevoMissingKeyHistory");
    Sd_peer peer;
    peer.send("127.0.0.1", sd::Message{sd::flag::reboot | sd::flag::unicast, {raw_offer(1)}}, 1);
    const auto found = lists.until(1);
    ASSERT_TRUE(found);
    const auto record = record_of(found->front());
    ASSERT_TRUE(lists.until(0));  // a second later, without a refresh
    EXPECT_EQ(record->state.load(), 0);
}

/// A socket that receives what the nodes send to SD's multicast group on loopback.
class Group_listener {
public:
    Group_listener() : fd_(::socket(AF_INET, SOCK_DGRAM, 0)) {
        timeval bound{5, 0};
        ::setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &bound, sizeof bound);
        const int one = 1;
        ::setsockopt(fd_, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
        const sockaddr_in group = zevo::test::someip_wire::address_of("224.244.224.245", 30490);
        ::bind(fd_, reinterpret_cast<const sockaddr*>(&group), sizeof group);
        ip_mreq membership{};
        membership.imr_multiaddr = group.sin_addr;
        membership.imr_interface = zevo::test::someip_wire::address_of("127.0.0.3", 0).sin_addr;
        ::setsockopt(fd_, IPPROTO_IP, IP_ADD_MEMBERSHIP, &membership, sizeof membership);
    }
    ~Group_listener() { ::close(fd_); }

    /// The next message with an entry of `type` for `service`, skipping everything else; none
    /// within 5 s of silence.
    std::optional<sd::Message> receive(std::uint8_t type, std::uint16_t service) {
        return receive_sd(fd_, [type, service](const sd::Entry& entry) {
            return entry.type == type && entry.service_id == service;
        });
    }

private:
    int fd_;
};

TEST_F(Sd_nodes, a_service_lost_by_its_ttl_is_searched_again_and_found_when_it_answers) {
    List_inbox lists;
    subscribe(lists, "talm::services::diag::d_2c57::DataIdentifier_ZevoMissingKeyHistory");
    Sd_peer peer;
    peer.send("127.0.0.1", sd::Message{sd::flag::reboot | sd::flag::unicast, {raw_offer(1)}}, 1);
    ASSERT_TRUE(lists.until(1));
    Group_listener group;  // from now on: the Finds of the first search have ended with the Offer
    ASSERT_TRUE(lists.until(0));  // a second later, without a refresh
    const auto find = group.receive(sd::entry_type::find_service, 0x2C57);
    ASSERT_TRUE(find) << "no Find after the TTL ran out";
    for (const sd::Entry& entry : find->entries) {
        if (entry.service_id == 0x2C57) {
            EXPECT_EQ(entry.instance_id, 1);
        }
    }
    peer.send("127.0.0.1", sd::Message{sd::flag::reboot | sd::flag::unicast, {raw_offer(3)}}, 2);
    EXPECT_TRUE(lists.until(1));
}

TEST_F(Sd_nodes, a_peer_that_reboots_loses_its_services_until_it_offers_again) {
    List_inbox lists;
    subscribe(lists, "talm::services::diag::d_2c57::DataIdentifier_ZevoMissingKeyHistory");
    Sd_peer peer;
    peer.send("127.0.0.1", sd::Message{sd::flag::reboot | sd::flag::unicast, {raw_offer(sd::ttl_forever)}}, 5);
    const auto found = lists.until(1);
    ASSERT_TRUE(found);
    const auto before = record_of(found->front());
    // The session id starts again with the reboot flag set: the peer has restarted.
    peer.send("127.0.0.1", sd::Message{sd::flag::reboot | sd::flag::unicast, {raw_offer(sd::ttl_forever)}}, 1);
    ASSERT_TRUE(lists.until(0));
    EXPECT_EQ(before->state.load(), 0);
    const auto again = lists.until(1);
    ASSERT_TRUE(again);
    EXPECT_NE(record_of(again->front()), before);
}

// A restarted node's first messages by multicast and by unicast both carry the reboot flag with
// session ids that start again. The finder takes that as one restart: the service is dropped and
// found once, and the unicast message that follows leaves it alone. The Subscribe beside the
// Offer makes the finder answer with a Nack, which tells the test that the message was handled.
TEST_F(Sd_nodes, a_restart_seen_by_multicast_and_then_by_unicast_drops_the_service_once) {
    List_inbox lists;
    subscribe(lists, "talm::services::diag::d_2c57::DataIdentifier_ZevoMissingKeyHistory");
    ASSERT_TRUE(lists.until(0));  // the first list: nothing found yet
    Sd_peer peer;
    const std::uint8_t flags = sd::flag::reboot | sd::flag::unicast;
    peer.send_to_group(sd::Message{flags, {raw_offer(sd::ttl_forever)}}, 20);
    const auto found = lists.until(1);
    ASSERT_TRUE(found);
    const auto before = record_of(found->front());
    peer.send("127.0.0.1", sd::Message{flags, {raw_offer(sd::ttl_forever), raw_subscribe(0x2C57, 0x0001)}}, 20);
    ASSERT_TRUE(peer.receive(sd::entry_type::subscribe_eventgroup_ack));
    EXPECT_EQ(lists.untaken(), 0U);

    // The peer restarts: multicast shows it first.
    peer.send_to_group(sd::Message{flags, {raw_offer(sd::ttl_forever)}}, 1);
    ASSERT_TRUE(lists.until(0));
    const auto again = lists.until(1);
    ASSERT_TRUE(again);
    const auto after = record_of(again->front());
    EXPECT_NE(after, before);
    EXPECT_EQ(before->state.load(), 0);

    // Its first unicast message shows the same restart: no second drop.
    peer.send("127.0.0.1", sd::Message{flags, {raw_offer(sd::ttl_forever), raw_subscribe(0x2C57, 0x0001)}}, 1);
    ASSERT_TRUE(peer.receive(sd::entry_type::subscribe_eventgroup_ack));
    EXPECT_EQ(lists.untaken(), 0U) << "the service was dropped and found a second time";
    EXPECT_EQ(after->state.load(), 2);
    const auto now = finder_node->service_finder()->find_services(
        "talm::services::diag::d_2c57::DataIdentifier_ZevoMissingKeyHistory", kel::com::runtime::Instance_id("1"));
    ASSERT_EQ(now.size(), 1U);
    EXPECT_EQ(record_of(now.front()), after);
}

TEST_F(Sd_nodes, a_unicast_find_is_answered_with_a_unicast_offer_with_both_endpoints) {
    offers.push_back(provider_registry->offer(routine, "1", calls.handler()));
    List_inbox lists;
    subscribe(lists, routine);
    ASSERT_TRUE(lists.until(1));  // the offer is out of its initial wait
    Sd_peer peer;
    sd::Entry find;
    find.type = sd::entry_type::find_service;
    find.service_id = 0xC00F;
    find.ttl = 3;
    peer.send("127.0.0.2", sd::Message{sd::flag::unicast, {find}}, 1);
    const auto answer = peer.receive(sd::entry_type::offer_service);
    ASSERT_TRUE(answer);
    const sd::Entry& offer = answer->entries.front();
    EXPECT_EQ(offer.service_id, 0xC00F);
    EXPECT_EQ(offer.instance_id, 1);
    ASSERT_EQ(offer.options.size(), 2U);
    EXPECT_EQ(offer.options[0].endpoint.address, (std::array<std::uint8_t, 4>{127, 0, 0, 2}));
    EXPECT_EQ(offer.options[0].endpoint.port, 30501);
    EXPECT_NE(answer->flags & sd::flag::reboot, 0);
}

TEST_F(Sd_nodes, a_subscribe_is_answered_with_a_nack) {
    Sd_peer peer;
    peer.send("127.0.0.2", sd::Message{sd::flag::unicast, {raw_subscribe(0xC00F, 0x0010)}}, 1);
    const auto answer = peer.receive(sd::entry_type::subscribe_eventgroup_ack);
    ASSERT_TRUE(answer);
    const sd::Entry& nack = answer->entries.front();
    EXPECT_EQ(nack.ttl, 0U);
    EXPECT_EQ(nack.eventgroup_id, 0x0010);
    EXPECT_EQ(nack.service_id, 0xC00F);
}

}  // namespace

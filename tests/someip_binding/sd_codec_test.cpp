// The SOME/IP-SD codec: entries and options as they stand on the wire, option runs, flags, the
// faults that drop a message and the ones that drop one entry, and the encoder's round trip.

#include "com/sd/sd_codec.h"

#include <gtest/gtest.h>

namespace {

using namespace ruv::com::someip_binding;
using namespace ruv::com::someip_binding::sd;

Option endpoint(std::uint8_t protocol, std::uint16_t port, std::array<std::uint8_t, 4> address = {127, 0, 0, 2}) {
    Option option;
    option.type = option_type::ipv4_endpoint;
    option.endpoint = Ipv4_endpoint{address, protocol, port};
    return option;
}

Entry offer(std::uint32_t ttl = 3) {
    Entry entry;
    entry.type = entry_type::offer_service;
    entry.service_id = 0x4C55;
    entry.instance_id = 1;
    entry.major_version = 1;
    entry.minor_version = 0;
    entry.ttl = ttl;
    entry.options = {endpoint(l4::udp, 30501), endpoint(l4::tcp, 30502)};
    return entry;
}

Entry find() {
    Entry entry;
    entry.type = entry_type::find_service;
    entry.service_id = 0x4C56;
    entry.ttl = ttl_forever;
    return entry;
}

/// A payload with one entry of raw bytes and the given options array.
Bytes payload_with(const Bytes& entry, const Bytes& options, std::uint8_t flags = 0) {
    Bytes out{flags, 0, 0, 0};
    append_u32(out, static_cast<std::uint32_t>(entry.size()));
    out.insert(out.end(), entry.begin(), entry.end());
    append_u32(out, static_cast<std::uint32_t>(options.size()));
    out.insert(out.end(), options.begin(), options.end());
    return out;
}

const Bytes udp_endpoint_option = {0x00, 0x09, 0x04, 0x00, 127, 0, 0, 2, 0x00, 0x11, 0x77, 0x25};
const Bytes tcp_endpoint_option = {0x00, 0x09, 0x04, 0x00, 127, 0, 0, 2, 0x00, 0x06, 0x77, 0x26};

/// An Offer of 0x4C55 instance 1, version 1.0, TTL 3, its first run `index`/`count`.
Bytes offer_entry(std::uint8_t index, std::uint8_t counts) {
    return {0x01, index, 0x00, counts, 0x4C, 0x55, 0x00, 0x01, 0x01, 0x00, 0x00, 0x03, 0x00, 0x00, 0x00, 0x00};
}

TEST(Sd_codec, encodes_an_offer_byte_for_byte) {
    Message message;
    message.flags = flag::reboot | flag::unicast;
    message.entries = {offer()};
    const Bytes expected = payload_with(offer_entry(0, 0x20), [] {
        Bytes options = udp_endpoint_option;
        options.insert(options.end(), tcp_endpoint_option.begin(), tcp_endpoint_option.end());
        return options;
    }(), 0xC0);
    EXPECT_EQ(encode_sd(message), expected);
}

TEST(Sd_codec, round_trips_find_offer_stop_offer_subscribe_and_ack) {
    Message message;
    message.flags = flag::unicast;
    Entry subscribe;
    subscribe.type = entry_type::subscribe_eventgroup;
    subscribe.service_id = 0x4C55;
    subscribe.instance_id = 1;
    subscribe.major_version = 1;
    subscribe.ttl = 3;
    subscribe.counter = 2;
    subscribe.eventgroup_id = 0x0010;
    subscribe.minor_version = 0;
    subscribe.options = {endpoint(l4::udp, 40000, {127, 0, 0, 1})};
    Entry ack = subscribe;
    ack.type = entry_type::subscribe_eventgroup_ack;
    ack.ttl = 0;
    ack.options.clear();
    Option configuration;
    configuration.type = option_type::configuration;
    configuration.configuration = {{"hostname", "keysim"}, {"flag", ""}};
    Entry find_entry = find();
    find_entry.options = {configuration};
    message.entries = {find_entry, offer(), offer(0), subscribe, ack};
    const Decoded decoded = decode_sd(view_of(encode_sd(message)));
    EXPECT_EQ(decoded.fault, Fault::none);
    EXPECT_EQ(decoded.rejected_entries, 0U);
    EXPECT_EQ(decoded.message, message);
    EXPECT_TRUE(decoded.message.entries[2].is_stop_offer());
}

TEST(Sd_codec, an_entry_with_the_same_options_references_the_same_run) {
    Message message;
    Entry second = offer();
    second.service_id = 0x4C56;
    message.entries = {offer(), second};
    const Bytes payload = encode_sd(message);
    EXPECT_EQ(read_u32(payload.data() + 8 + 32), 24U);  // two options, not four
    EXPECT_EQ(payload[8 + 16 + 1], 0);
    EXPECT_EQ(decode_sd(view_of(payload)).message, message);
}

TEST(Sd_codec, reads_both_option_runs) {
    Bytes options = udp_endpoint_option;
    options.insert(options.end(), tcp_endpoint_option.begin(), tcp_endpoint_option.end());
    Bytes entry = offer_entry(1, 0x11);  // run 1: option 1 (TCP), run 2 from index 0 (UDP)
    entry[2] = 0;
    const Decoded decoded = decode_sd(view_of(payload_with(entry, options)));
    ASSERT_EQ(decoded.message.entries.size(), 1U);
    ASSERT_EQ(decoded.message.entries[0].options.size(), 2U);
    EXPECT_EQ(decoded.message.entries[0].options[0].endpoint.protocol, l4::tcp);
    EXPECT_EQ(decoded.message.entries[0].options[1].endpoint.port, 0x7725);
}

TEST(Sd_codec, keeps_the_flags) {
    const Decoded decoded = decode_sd(view_of(payload_with({}, {}, 0x80)));
    EXPECT_EQ(decoded.fault, Fault::none);
    EXPECT_EQ(decoded.message.flags, flag::reboot);
}

TEST(Sd_codec, drops_a_message_shorter_than_its_fixed_part) {
    EXPECT_EQ(decode_sd(view_of(Bytes(11, 0))).fault, Fault::too_short);
    EXPECT_EQ(decode_sd(Byte_view{}).fault, Fault::too_short);
}

TEST(Sd_codec, drops_a_message_whose_entries_length_is_off) {
    Bytes payload = payload_with(offer_entry(0, 0x10), udp_endpoint_option);
    write_u32(payload.data() + 4, 15);
    EXPECT_EQ(decode_sd(view_of(payload)).fault, Fault::entries_length);
    write_u32(payload.data() + 4, 0xFFFFFFF0);
    EXPECT_EQ(decode_sd(view_of(payload)).fault, Fault::entries_length);
    write_u32(payload.data() + 4, 48);
    EXPECT_EQ(decode_sd(view_of(payload)).fault, Fault::entries_length);
}

TEST(Sd_codec, drops_a_message_whose_options_length_is_off_or_followed_by_bytes) {
    Bytes payload = payload_with(offer_entry(0, 0x10), udp_endpoint_option);
    write_u32(payload.data() + 24, 13);
    EXPECT_EQ(decode_sd(view_of(payload)).fault, Fault::options_length);
    write_u32(payload.data() + 24, 0xFFFFFFFF);
    EXPECT_EQ(decode_sd(view_of(payload)).fault, Fault::options_length);
    write_u32(payload.data() + 24, 11);
    EXPECT_EQ(decode_sd(view_of(payload)).fault, Fault::options_length);
}

TEST(Sd_codec, drops_a_message_with_an_option_past_the_array) {
    // The array holds 12 bytes; the option claims 3 + 10.
    const Bytes option = {0x00, 0x0A, 0x04, 0x00, 127, 0, 0, 2, 0x00, 0x11, 0x77, 0x25};
    EXPECT_EQ(decode_sd(view_of(payload_with(offer_entry(0, 0x10), option))).fault, Fault::option_length);
    EXPECT_EQ(decode_sd(view_of(payload_with(offer_entry(0, 0x10), Bytes{0x00, 0x09}))).fault, Fault::option_length);
}

TEST(Sd_codec, rejects_an_entry_whose_run_is_out_of_range) {
    const Decoded decoded = decode_sd(view_of(payload_with(offer_entry(1, 0x10), udp_endpoint_option)));
    EXPECT_EQ(decoded.fault, Fault::none);
    EXPECT_TRUE(decoded.message.entries.empty());
    EXPECT_EQ(decoded.rejected_entries, 1U);
}

TEST(Sd_codec, an_empty_run_may_carry_any_index) {
    Bytes entry = offer_entry(0, 0x10);
    entry[2] = 0xEE;
    EXPECT_EQ(decode_sd(view_of(payload_with(entry, udp_endpoint_option))).message.entries.size(), 1U);
}

TEST(Sd_codec, ignores_an_option_of_unknown_type) {
    Bytes options = {0x00, 0x03, 0x7E, 0x00, 0xAA, 0xBB};
    options.insert(options.end(), udp_endpoint_option.begin(), udp_endpoint_option.end());
    const Decoded decoded = decode_sd(view_of(payload_with(offer_entry(0, 0x20), options)));
    ASSERT_EQ(decoded.message.entries.size(), 1U);
    EXPECT_EQ(decoded.message.entries[0].options.size(), 1U);
    EXPECT_EQ(decoded.ignored_options, 1U);
}

TEST(Sd_codec, rejects_an_entry_referencing_a_bad_endpoint_option) {
    const std::vector<std::pair<std::size_t, std::uint8_t>> changes = {
        {1, 0x08},  // length 8
        {9, 0x01},  // L4 protocol 1
        {4, 0xE0},  // a multicast address as endpoint
        {10, 0x00},
    };
    for (const auto& [offset, value] : changes) {
        Bytes option = udp_endpoint_option;
        option[offset] = value;
        if (offset == 10) {
            option[11] = 0;  // port 0
        }
        if (offset == 1) {
            option.pop_back();
        }
        const Decoded decoded = decode_sd(view_of(payload_with(offer_entry(0, 0x10), option)));
        EXPECT_EQ(decoded.fault, Fault::none) << offset;
        EXPECT_EQ(decoded.rejected_entries, 1U) << offset;
    }
}

TEST(Sd_codec, reads_a_multicast_option_only_as_udp_to_a_group) {
    Entry ack;
    ack.type = entry_type::subscribe_eventgroup_ack;
    ack.service_id = 0x4C55;
    ack.instance_id = 1;
    ack.major_version = 1;
    ack.ttl = 3;
    ack.minor_version = 0;
    Option group;
    group.type = option_type::ipv4_multicast;
    group.endpoint = Ipv4_endpoint{{224, 244, 224, 245}, l4::udp, 30490};
    ack.options.push_back(group);
    Message message;
    message.entries = {ack};
    Bytes payload = encode_sd(message);
    EXPECT_EQ(decode_sd(view_of(payload)).message, message);
    payload[payload.size() - 3] = l4::tcp;
    EXPECT_EQ(decode_sd(view_of(payload)).rejected_entries, 1U);
}

TEST(Sd_codec, rejects_contradictory_offers) {
    std::vector<Entry> bad(6, offer());
    bad[0].instance_id = any_instance;
    bad[1].major_version = any_major;
    bad[2].minor_version = any_minor;
    bad[3].options = {endpoint(l4::udp, 1), endpoint(l4::udp, 2)};
    bad[4].options.clear();  // an offer with TTL and no endpoint
    bad[5].service_id = 0xFFFF;
    for (std::size_t i = 0; i < bad.size(); ++i) {
        Message message;
        message.entries = {bad[i]};
        EXPECT_EQ(decode_sd(view_of(encode_sd(message))).rejected_entries, 1U) << i;
    }
    Message stop;
    stop.entries = {offer(0)};
    stop.entries[0].options.clear();
    EXPECT_EQ(decode_sd(view_of(encode_sd(stop))).message.entries.size(), 1U);
}

TEST(Sd_codec, rejects_a_find_with_ttl_zero) {
    Message message;
    message.entries = {find()};
    message.entries[0].ttl = 0;
    EXPECT_EQ(decode_sd(view_of(encode_sd(message))).rejected_entries, 1U);
}

TEST(Sd_codec, counts_unknown_entry_types_and_keeps_the_others_in_order) {
    Message message;
    message.entries = {find(), offer()};
    Bytes payload = encode_sd(message);
    payload[8] = 0x05;
    const Decoded decoded = decode_sd(view_of(payload));
    EXPECT_EQ(decoded.unknown_entries, 1U);
    ASSERT_EQ(decoded.message.entries.size(), 1U);
    EXPECT_EQ(decoded.message.entries[0].type, entry_type::offer_service);
}

TEST(Sd_codec, rejects_an_unterminated_or_keyless_configuration) {
    for (const Bytes& option : {Bytes{0x00, 0x03, 0x01, 0x00, 0x01, 'a'}, Bytes{0x00, 0x05, 0x01, 0x00, 0x02, '=', 'b', 0x00},
                                Bytes{0x00, 0x03, 0x01, 0x00, 0x09, 'a'}}) {
        Bytes entry = offer_entry(0, 0x10);
        entry[0] = entry_type::find_service;
        EXPECT_EQ(decode_sd(view_of(payload_with(entry, option))).rejected_entries, 1U);
    }
}

TEST(Sd_codec, frames_a_whole_sd_message) {
    Message message;
    message.entries = {find()};
    const Bytes bytes = encode_sd_message(message, 7);
    const Message_header header = read_header(bytes.data());
    EXPECT_TRUE(is_sd_header(header));
    EXPECT_EQ(header.session_id, 7);
    EXPECT_EQ(header.length, bytes.size() - 8);
    Message_header other = header;
    other.session_id = 0;
    EXPECT_FALSE(is_sd_header(other));
    other = header;
    other.message_type = message_type::request;
    EXPECT_FALSE(is_sd_header(other));
}

}  // namespace

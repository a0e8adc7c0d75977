// The four simulated data identifiers through the local binding: their Read records on a fresh
// vehicle, how the routines' work shows in them, and Cancel.

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <vector>

#include "sim/clock.h"
#include "sim_bench.h"

namespace {

using namespace zevo::test::sim;
using std::chrono::milliseconds;

const Bytes vehicle_identity{'Z', 'E', 'V', 'O', 'S', 'I', 'M', '1', '2', '3', '4', '5', '6', '7', '8', '9', '0'};

zevo::sim::Scenario instant_routines() {
    zevo::sim::Scenario scenario;
    scenario.routine_duration = milliseconds{0};
    return scenario;
}

/// Starts 0xC00A with a container of `type` and `keys` (2 bytes each); its answer code.
unsigned char start_container(const Sim_bench& bench, std::uint8_t type, const Bytes& keys) {
    return bench.call<Download_container::Start>(0xC00A, type, keys).code;
}

TEST(sim_0x2C55, read_gives_version_1_and_the_17_character_identification) {
    Sim_bench bench;
    const Response response = bench.call<Zevovin::Read>(0x2C55);
    ASSERT_EQ(response.code, 0);
    EXPECT_EQ(response.bytes.size(), 26U);  // two array blocks: 4 + 1 and 4 + 17
    const auto record = output_of<Zevovin::Read::Output>(response);
    EXPECT_EQ(record.field_1[0], 0x01);
    EXPECT_EQ(Bytes(record.field_2.begin(), record.field_2.end()), vehicle_identity);
}

TEST(sim_0x2C56, read_gives_idle_and_the_counter_2_of_the_two_factory_keys) {
    Sim_bench bench;
    const Response response = bench.call<Training_counter::Read>(0x2C56);
    ASSERT_EQ(response.code, 0);
    EXPECT_EQ(response.bytes, (Bytes{0x00, 0x00, 0x02}));
}

TEST(sim_0x2C56, first_byte_is_1_while_a_key_container_is_worked_on) {
    zevo::sim::Manual_clock clock;
    zevo::sim::Scenario scenario;
    scenario.routine_duration = milliseconds{1000};
    Sim_bench bench(scenario, clock.function());
    ASSERT_EQ(start_container(bench, 0x01, {0x10, 0x20}), 0);
    EXPECT_EQ(bench.call<Training_counter::Read>(0x2C56).bytes, (Bytes{0x01, 0x00, 0x02}));
    clock.advance(milliseconds{1000});
    EXPECT_EQ(bench.call<Training_counter::Read>(0x2C56).bytes, (Bytes{0x00, 0x00, 0x03}));
}

TEST(sim_0x2C56, counter_grows_by_each_newly_taught_key_only) {
    Sim_bench bench(instant_routines());
    ASSERT_EQ(start_container(bench, 0x01, {0x10, 0x20, 0x1A, 0x01, 0x10, 0x21}), 0);  // 0x1A01 is taught already
    const auto record = output_of<Training_counter::Read::Output>(bench.call<Training_counter::Read>(0x2C56));
    EXPECT_EQ(record.field_2, 4);
    ASSERT_EQ(start_container(bench, 0x02, {0x10, 0x20}), 0);  // erasing does not count back
    EXPECT_EQ(output_of<Training_counter::Read::Output>(bench.call<Training_counter::Read>(0x2C56)).field_2, 4);
}

TEST(sim_0x2C57, read_of_a_fresh_vehicle_has_no_reports_and_capacity_4) {
    Sim_bench bench;
    const Response response = bench.call<Missing_key_history::Read>(0x2C57);
    ASSERT_EQ(response.code, 0);
    EXPECT_EQ(response.bytes, (Bytes{0x00, 0x04, 0x00, 0x00, 0x00, 0x00}));  // an empty vector block
}

TEST(sim_0x2C57, keeps_the_latest_four_reported_keys_and_counts_every_report) {
    Sim_bench bench(instant_routines());
    for (std::uint8_t key = 1; key <= 5; ++key) {
        ASSERT_EQ(bench.call<Debug::Start>(0x0648, std::uint8_t{0x02}, Bytes{0x1A, key}).code, 0);
    }
    const auto record = output_of<Missing_key_history::Read::Output>(bench.call<Missing_key_history::Read>(0x2C57));
    EXPECT_EQ(record.field_1, 5);
    EXPECT_EQ(record.field_2, 4);
    EXPECT_EQ(record.field_3, (Bytes{0x1A, 0x02, 0x1A, 0x03, 0x1A, 0x04, 0x1A, 0x05}));
}

TEST(sim_0x2C60, read_lists_8_slots_and_the_two_factory_keys) {
    Sim_bench bench;
    const Response response = bench.call<Key_list::Read>(0x2C60);
    ASSERT_EQ(response.code, 0);
    EXPECT_EQ(response.bytes, (Bytes{0x08, 0x02, 0x00, 0x00, 0x00, 0x04, 0x1A, 0x01, 0x1A, 0x02}));
}

TEST(sim_0x2C60, taught_keys_are_appended_and_erased_keys_leave_the_list) {
    Sim_bench bench(instant_routines());
    ASSERT_EQ(start_container(bench, 0x01, {0x10, 0x20, 0x10, 0x21}), 0);
    auto record = output_of<Key_list::Read::Output>(bench.call<Key_list::Read>(0x2C60));
    EXPECT_EQ(record.field_2, 4);
    EXPECT_EQ(record.field_3, (Bytes{0x1A, 0x01, 0x1A, 0x02, 0x10, 0x20, 0x10, 0x21}));
    ASSERT_EQ(start_container(bench, 0x02, {0x1A, 0x01}), 0);
    record = output_of<Key_list::Read::Output>(bench.call<Key_list::Read>(0x2C60));
    EXPECT_EQ(record.field_2, 3);
    EXPECT_EQ(record.field_3, (Bytes{0x1A, 0x02, 0x10, 0x20, 0x10, 0x21}));
}

TEST(sim_0x2C60, list_is_unchanged_until_the_container_work_has_ended) {
    zevo::sim::Manual_clock clock;
    zevo::sim::Scenario scenario;
    scenario.routine_duration = milliseconds{500};
    Sim_bench bench(scenario, clock.function());
    ASSERT_EQ(start_container(bench, 0x01, {0x10, 0x20}), 0);
    EXPECT_EQ(output_of<Key_list::Read::Output>(bench.call<Key_list::Read>(0x2C60)).field_2, 2);
    clock.advance(milliseconds{500});  // no results request needed: the work ends with its time
    EXPECT_EQ(output_of<Key_list::Read::Output>(bench.call<Key_list::Read>(0x2C60)).field_2, 3);
}

TEST(sim_data_identifiers, cancel_is_answered_positively_and_changes_nothing) {
    Sim_bench bench;
    EXPECT_EQ(bench.call<Zevovin::Cancel>(0x2C55).code, 0);
    EXPECT_EQ(bench.call<Training_counter::Cancel>(0x2C56).code, 0);
    EXPECT_EQ(bench.call<Missing_key_history::Cancel>(0x2C57).code, 0);
    EXPECT_EQ(bench.call<Key_list::Cancel>(0x2C60).code, 0);
    EXPECT_EQ(bench.call<Training_counter::Read>(0x2C56).bytes, (Bytes{0x00, 0x00, 0x02}));
}

TEST(sim_data_identifiers, reads_ignore_the_meta_info) {
    Sim_bench bench;
    const auto port = bench.port(0x2C56);
    ASSERT_TRUE(port);
    const auto response =
        Sim_bench::send(*port, 1, ruv::com::someip::serialization::request_payload<Training_counter::Read>(Meta_info{}))
            .response();
    ASSERT_TRUE(response);
    EXPECT_EQ(response->bytes, (Bytes{0x00, 0x00, 0x02}));
}

}  // namespace

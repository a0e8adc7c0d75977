// The six simulated routines through the local binding: Start, progress and results on a clock
// the test moves, the refusals with their own codes (results without a start 0x24, start while
// running 0x22, bad arguments 0x31 or 0x13), Cancel aborting running work, and what each
// routine computes.

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "sim/clock.h"
#include "sim/key_world.h"
#include "sim/routine_logic.h"
#include "sim_bench.h"

namespace {

using namespace zevo::test::sim;
using std::chrono::milliseconds;
using Hash = std::array<std::uint8_t, 16>;

constexpr std::array<std::uint8_t, 1> kind_1{0x01};
const Hash challenge{0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};
const Bytes completed{0x02, 0x64};

zevo::sim::Scenario lasting(milliseconds duration) {
    zevo::sim::Scenario scenario;
    scenario.routine_duration = duration;
    return scenario;
}

/// A routine with a good Start of its own, the status bytes of its results and the rest.
struct Routine_case {
    std::string name;
    std::uint16_t identifier;
    std::function<Response(const Sim_bench&)> good_start;
    std::function<Bytes(const Response&)> status;  ///< status and progress from a results response
};

template <class Output>
Bytes plain_status(const Response& response) {
    const auto output = output_of<Output>(response);
    return {output.field_1, output.field_2};
}

template <class Output>
Bytes array_status(const Response& response) {
    const auto output = output_of<Output>(response);
    return {output.field_1[0], output.field_2[0]};
}

std::vector<Routine_case> routine_cases() {
    return {
        {"0x0648", 0x0648,
         [](const Sim_bench& bench) { return bench.call<Debug::Start>(0x0648, std::uint8_t{0x01}, Bytes{0xAB}); },
         plain_status<Debug::RequestResults::Output>},
        {"0xC00A", 0xC00A,
         [](const Sim_bench& bench) {
             return bench.call<Download_container::Start>(0xC00A, std::uint8_t{0x01}, Bytes{0x10, 0x20});
         },
         plain_status<Download_container::RequestResults::Output>},
        {"0xC00B", 0xC00B,
         [](const Sim_bench& bench) { return bench.call<Verification_hash::Start>(0xC00B, kind_1, challenge); },
         plain_status<Verification_hash::RequestResults::Output>},
        {"0xC00C", 0xC00C,
         [](const Sim_bench& bench) { return bench.call<Identity_hash::Start>(0xC00C, kind_1, challenge); },
         array_status<Identity_hash::RequestResults::Output>},
        {"0xC00D", 0xC00D,
         [](const Sim_bench& bench) { return bench.call<Pss_hash::Start>(0xC00D, std::uint8_t{0x01}); },
         array_status<Pss_hash::RequestResults::Output>},
        {"0xC00F", 0xC00F,
         [](const Sim_bench& bench) { return bench.call<Get_state::Start>(0xC00F, std::uint8_t{0x00}); },
         plain_status<Get_state::RequestResults::Output>},
    };
}

/// RequestResults of any routine: its request is the meta_info block alone.
Response results_of(const Sim_bench& bench, std::uint16_t identifier) {
    return bench.call<Debug::RequestResults>(identifier);
}

Response cancel_of(const Sim_bench& bench, std::uint16_t identifier) { return bench.call<Debug::Cancel>(identifier); }

class sim_routines : public testing::TestWithParam<Routine_case> {};

INSTANTIATE_TEST_SUITE_P(all_six, sim_routines, testing::ValuesIn(routine_cases()),
                         [](const testing::TestParamInfo<Routine_case>& param) { return "rid_" + param.param.name.substr(2); });

TEST_P(sim_routines, results_before_any_start_are_refused_with_0x24_in_both_codes) {
    Sim_bench bench;
    const Response response = results_of(bench, GetParam().identifier);
    EXPECT_EQ(response.code, 2);
    EXPECT_EQ(response.bytes, (Bytes{0x24, 0x24}));
}

TEST_P(sim_routines, start_is_answered_positively_with_no_payload) {
    Sim_bench bench;
    const Response response = GetParam().good_start(bench);
    EXPECT_EQ(response.code, 0);
    EXPECT_TRUE(response.bytes.empty());
}

TEST_P(sim_routines, results_report_running_with_progress_and_then_completed) {
    zevo::sim::Manual_clock clock;
    Sim_bench bench(lasting(milliseconds{1000}), clock.function());
    ASSERT_EQ(GetParam().good_start(bench).code, 0);
    EXPECT_EQ(GetParam().status(results_of(bench, GetParam().identifier)), (Bytes{0x01, 0}));
    clock.advance(milliseconds{400});
    EXPECT_EQ(GetParam().status(results_of(bench, GetParam().identifier)), (Bytes{0x01, 40}));  // running, 40 %
    clock.advance(milliseconds{599});
    EXPECT_EQ(GetParam().status(results_of(bench, GetParam().identifier)), (Bytes{0x01, 99}));
    clock.advance(milliseconds{1});
    const Bytes done = GetParam().status(results_of(bench, GetParam().identifier));
    EXPECT_EQ(done[1], 100);
}

TEST_P(sim_routines, work_of_no_duration_has_ended_when_start_is_answered) {
    Sim_bench bench(lasting(milliseconds{0}));
    ASSERT_EQ(GetParam().good_start(bench).code, 0);
    EXPECT_EQ(GetParam().status(results_of(bench, GetParam().identifier))[1], 100);
}

TEST_P(sim_routines, start_while_running_is_refused_with_0x22_and_after_the_end_accepted) {
    zevo::sim::Manual_clock clock;
    Sim_bench bench(lasting(milliseconds{100}), clock.function());
    ASSERT_EQ(GetParam().good_start(bench).code, 0);
    const Response refused = GetParam().good_start(bench);
    EXPECT_EQ(refused.code, 2);
    EXPECT_EQ(refused.bytes, (Bytes{0x22, 0x22}));
    clock.advance(milliseconds{100});
    EXPECT_EQ(GetParam().good_start(bench).code, 0);
}

TEST_P(sim_routines, cancel_aborts_running_work_where_it_stands) {
    zevo::sim::Manual_clock clock;
    Sim_bench bench(lasting(milliseconds{1000}), clock.function());
    ASSERT_EQ(GetParam().good_start(bench).code, 0);
    clock.advance(milliseconds{250});
    EXPECT_EQ(cancel_of(bench, GetParam().identifier).code, 0);
    EXPECT_EQ(GetParam().status(results_of(bench, GetParam().identifier)), (Bytes{0x03, 25}));
    clock.advance(milliseconds{1000});  // the aborted work never ends
    EXPECT_EQ(GetParam().status(results_of(bench, GetParam().identifier)), (Bytes{0x03, 25}));
    EXPECT_EQ(GetParam().good_start(bench).code, 0);  // and the routine may start again
}

TEST_P(sim_routines, cancel_without_running_work_is_answered_and_keeps_the_results) {
    Sim_bench bench(lasting(milliseconds{0}));
    EXPECT_EQ(cancel_of(bench, GetParam().identifier).code, 0);
    EXPECT_EQ(results_of(bench, GetParam().identifier).bytes, (Bytes{0x24, 0x24}));
    ASSERT_EQ(GetParam().good_start(bench).code, 0);
    EXPECT_EQ(cancel_of(bench, GetParam().identifier).code, 0);
    EXPECT_EQ(GetParam().status(results_of(bench, GetParam().identifier))[1], 100);
}

// --- 0x0648: debug commands ---

TEST(sim_0x0648, echo_returns_its_data_once_completed) {
    Sim_bench bench(lasting(milliseconds{0}));
    ASSERT_EQ(bench.call<Debug::Start>(0x0648, std::uint8_t{0x01}, Bytes{0xDE, 0xAD}).code, 0);
    EXPECT_EQ(results_of(bench, 0x0648).bytes, (Bytes{0x02, 0x64, 0x00, 0x00, 0x00, 0x02, 0xDE, 0xAD}));
}

TEST(sim_0x0648, echo_of_no_data_gives_an_empty_vector) {
    Sim_bench bench(lasting(milliseconds{0}));
    ASSERT_EQ(bench.call<Debug::Start>(0x0648, std::uint8_t{0x01}, Bytes{}).code, 0);
    EXPECT_EQ(results_of(bench, 0x0648).bytes, (Bytes{0x02, 0x64, 0x00, 0x00, 0x00, 0x00}));
}

TEST(sim_0x0648, running_results_carry_no_data) {
    zevo::sim::Manual_clock clock;
    Sim_bench bench(lasting(milliseconds{10}), clock.function());
    ASSERT_EQ(bench.call<Debug::Start>(0x0648, std::uint8_t{0x01}, Bytes{0xDE, 0xAD}).code, 0);
    EXPECT_EQ(output_of<Debug::RequestResults::Output>(results_of(bench, 0x0648)).field_3, Bytes{});
}

TEST(sim_0x0648, missing_key_report_answers_the_number_of_reports) {
    Sim_bench bench(lasting(milliseconds{0}));
    ASSERT_EQ(bench.call<Debug::Start>(0x0648, std::uint8_t{0x02}, Bytes{0x1A, 0x02}).code, 0);
    EXPECT_EQ(output_of<Debug::RequestResults::Output>(results_of(bench, 0x0648)).field_3, Bytes{0x01});
}

TEST(sim_0x0648, factory_reset_restores_keys_counter_and_history) {
    Sim_bench bench(lasting(milliseconds{0}));
    ASSERT_EQ(bench.call<Download_container::Start>(0xC00A, std::uint8_t{0x01}, Bytes{0x10, 0x20}).code, 0);
    ASSERT_EQ(bench.call<Debug::Start>(0x0648, std::uint8_t{0x02}, Bytes{0x1A, 0x02}).code, 0);
    ASSERT_EQ(bench.call<Debug::Start>(0x0648, std::uint8_t{0x03}, Bytes{}).code, 0);
    EXPECT_EQ(bench.call<Key_list::Read>(0x2C60).bytes, (Bytes{0x08, 0x02, 0x00, 0x00, 0x00, 0x04, 0x1A, 0x01, 0x1A, 0x02}));
    EXPECT_EQ(bench.call<Training_counter::Read>(0x2C56).bytes, (Bytes{0x00, 0x00, 0x02}));
    EXPECT_EQ(bench.call<Missing_key_history::Read>(0x2C57).bytes, (Bytes{0x00, 0x04, 0x00, 0x00, 0x00, 0x00}));
}

TEST(sim_0x0648, unknown_command_is_refused_with_0x31) {
    Sim_bench bench;
    const Response response = bench.call<Debug::Start>(0x0648, std::uint8_t{0x7E}, Bytes{});
    EXPECT_EQ(response.code, 2);
    EXPECT_EQ(response.bytes, (Bytes{0x31, 0x31}));
    EXPECT_EQ(results_of(bench, 0x0648).bytes, (Bytes{0x24, 0x24}));  // a refused start starts nothing
}

TEST(sim_0x0648, data_of_the_wrong_length_is_refused_with_0x13) {
    Sim_bench bench;
    EXPECT_EQ(bench.call<Debug::Start>(0x0648, std::uint8_t{0x02}, Bytes{0x1A}).bytes, (Bytes{0x13, 0x13}));
    EXPECT_EQ(bench.call<Debug::Start>(0x0648, std::uint8_t{0x03}, Bytes{0x00}).bytes, (Bytes{0x13, 0x13}));
}

// --- 0xC00A: key containers ---

TEST(sim_0xC00A, unknown_container_type_is_refused_with_0x31) {
    Sim_bench bench;
    EXPECT_EQ(bench.call<Download_container::Start>(0xC00A, std::uint8_t{0x03}, Bytes{0x10, 0x20}).bytes,
              (Bytes{0x31, 0x31}));
}

TEST(sim_0xC00A, empty_or_odd_container_is_refused_with_0x13) {
    Sim_bench bench;
    EXPECT_EQ(bench.call<Download_container::Start>(0xC00A, std::uint8_t{0x01}, Bytes{}).bytes, (Bytes{0x13, 0x13}));
    EXPECT_EQ(bench.call<Download_container::Start>(0xC00A, std::uint8_t{0x01}, Bytes{0x10, 0x20, 0x30}).bytes,
              (Bytes{0x13, 0x13}));
}

TEST(sim_0xC00A, teaching_beyond_8_keys_fails_and_teaches_none) {
    Sim_bench bench(lasting(milliseconds{0}));
    const Bytes seven_keys{0x20, 0x01, 0x20, 0x02, 0x20, 0x03, 0x20, 0x04, 0x20, 0x05, 0x20, 0x06, 0x20, 0x07};
    ASSERT_EQ(bench.call<Download_container::Start>(0xC00A, std::uint8_t{0x01}, seven_keys).code, 0);
    EXPECT_EQ(results_of(bench, 0xC00A).bytes, (Bytes{0x04, 0x64}));  // failed
    EXPECT_EQ(output_of<Key_list::Read::Output>(bench.call<Key_list::Read>(0x2C60)).field_2, 2);
}

TEST(sim_0xC00A, erasing_keys_none_of_which_is_taught_fails) {
    Sim_bench bench(lasting(milliseconds{0}));
    ASSERT_EQ(bench.call<Download_container::Start>(0xC00A, std::uint8_t{0x02}, Bytes{0x77, 0x77}).code, 0);
    EXPECT_EQ(results_of(bench, 0xC00A).bytes, (Bytes{0x04, 0x64}));
}

TEST(sim_0xC00A, cancelled_teaching_teaches_nothing_and_ends_programming) {
    zevo::sim::Manual_clock clock;
    Sim_bench bench(lasting(milliseconds{1000}), clock.function());
    ASSERT_EQ(bench.call<Download_container::Start>(0xC00A, std::uint8_t{0x01}, Bytes{0x10, 0x20}).code, 0);
    clock.advance(milliseconds{500});
    ASSERT_EQ(cancel_of(bench, 0xC00A).code, 0);
    clock.advance(milliseconds{1000});
    EXPECT_EQ(bench.call<Training_counter::Read>(0x2C56).bytes, (Bytes{0x00, 0x00, 0x02}));
    EXPECT_EQ(output_of<Key_list::Read::Output>(bench.call<Key_list::Read>(0x2C60)).field_2, 2);
}

// --- 0xC00B, 0xC00C, 0xC00D: hashes ---

Hash pss_hash_from_service(const Sim_bench& bench, std::uint8_t kind) {
    EXPECT_EQ(bench.call<Pss_hash::Start>(0xC00D, kind).code, 0);
    return output_of<Pss_hash::RequestResults::Output>(results_of(bench, 0xC00D)).field_3;
}

TEST(sim_0xC00B, hash_that_0xC00D_gives_is_verified) {
    Sim_bench bench(lasting(milliseconds{0}));
    for (const std::uint8_t kind : {std::uint8_t{0x01}, std::uint8_t{0x02}}) {
        const Hash hash = pss_hash_from_service(bench, kind);
        ASSERT_EQ(bench.call<Verification_hash::Start>(0xC00B, std::array<std::uint8_t, 1>{kind}, hash).code, 0);
        EXPECT_EQ(results_of(bench, 0xC00B).bytes, (Bytes{0x02, 0x64})) << "kind " << int{kind};
    }
}

TEST(sim_0xC00B, other_hash_fails_the_check) {
    Sim_bench bench(lasting(milliseconds{0}));
    ASSERT_EQ(bench.call<Verification_hash::Start>(0xC00B, kind_1, challenge).code, 0);
    EXPECT_EQ(results_of(bench, 0xC00B).bytes, (Bytes{0x04, 0x64}));
}

TEST(sim_0xC00B, key_list_hash_no_longer_verifies_after_teaching) {
    Sim_bench bench(lasting(milliseconds{0}));
    const Hash before = pss_hash_from_service(bench, 0x01);
    ASSERT_EQ(bench.call<Download_container::Start>(0xC00A, std::uint8_t{0x01}, Bytes{0x10, 0x20}).code, 0);
    ASSERT_EQ(bench.call<Verification_hash::Start>(0xC00B, kind_1, before).code, 0);
    EXPECT_EQ(results_of(bench, 0xC00B).bytes, (Bytes{0x04, 0x64}));
}

TEST(sim_0xC00B, hash_of_an_unknown_kind_is_refused_with_0x31) {
    Sim_bench bench;
    const Response response = bench.call<Verification_hash::Start>(0xC00B, std::array<std::uint8_t, 1>{0x03}, challenge);
    EXPECT_EQ(response.code, 2);
    EXPECT_EQ(response.bytes, (Bytes{0x31, 0x31}));
}

TEST(sim_0xC00C, identity_hash_covers_the_identity_and_the_challenge) {
    Sim_bench bench(lasting(milliseconds{0}));
    ASSERT_EQ(bench.call<Identity_hash::Start>(0xC00C, kind_1, challenge).code, 0);
    const auto first = output_of<Identity_hash::RequestResults::Output>(results_of(bench, 0xC00C));
    EXPECT_EQ(first.field_3, zevo::sim::identity_hash(zevo::sim::Key_world{}, challenge));
    Hash other = challenge;
    other[15] ^= 0x01;
    ASSERT_EQ(bench.call<Identity_hash::Start>(0xC00C, kind_1, other).code, 0);
    const auto second = output_of<Identity_hash::RequestResults::Output>(results_of(bench, 0xC00C));
    EXPECT_NE(second.field_3, first.field_3);
}

TEST(sim_0xC00C, hash_is_zero_until_the_work_has_ended) {
    zevo::sim::Manual_clock clock;
    Sim_bench bench(lasting(milliseconds{10}), clock.function());
    ASSERT_EQ(bench.call<Identity_hash::Start>(0xC00C, kind_1, challenge).code, 0);
    EXPECT_EQ(output_of<Identity_hash::RequestResults::Output>(results_of(bench, 0xC00C)).field_3, Hash{});
}

TEST(sim_0xC00C, kind_other_than_1_is_refused_with_0x31) {
    Sim_bench bench;
    EXPECT_EQ(bench.call<Identity_hash::Start>(0xC00C, std::array<std::uint8_t, 1>{0x02}, challenge).bytes,
              (Bytes{0x31, 0x31}));
}

TEST(sim_0xC00D, the_two_kinds_hash_apart_and_the_key_list_hash_follows_the_keys) {
    Sim_bench bench(lasting(milliseconds{0}));
    const Hash key_list = pss_hash_from_service(bench, 0x01);
    const Hash identity = pss_hash_from_service(bench, 0x02);
    EXPECT_NE(key_list, identity);
    EXPECT_EQ(pss_hash_from_service(bench, 0x01), key_list);  // deterministic
    ASSERT_EQ(bench.call<Download_container::Start>(0xC00A, std::uint8_t{0x01}, Bytes{0x10, 0x20}).code, 0);
    EXPECT_NE(pss_hash_from_service(bench, 0x01), key_list);
    EXPECT_EQ(pss_hash_from_service(bench, 0x02), identity);
}

TEST(sim_0xC00D, unknown_kind_is_refused_with_0x31) {
    Sim_bench bench;
    EXPECT_EQ(bench.call<Pss_hash::Start>(0xC00D, std::uint8_t{0x00}).bytes, (Bytes{0x31, 0x31}));
    EXPECT_EQ(bench.call<Pss_hash::Start>(0xC00D, std::uint8_t{0x07}).bytes, (Bytes{0x31, 0x31}));
}

// --- 0xC00F: the key state ---

TEST(sim_0xC00F, results_snapshot_the_key_state_when_the_work_ends) {
    Sim_bench bench(lasting(milliseconds{0}));
    ASSERT_EQ(bench.call<Download_container::Start>(0xC00A, std::uint8_t{0x01}, Bytes{0x10, 0x20}).code, 0);
    ASSERT_EQ(bench.call<Debug::Start>(0x0648, std::uint8_t{0x02}, Bytes{0x1A, 0x02}).code, 0);
    ASSERT_EQ(bench.call<Get_state::Start>(0xC00F, std::uint8_t{0x00}).code, 0);
    EXPECT_EQ(results_of(bench, 0xC00F).bytes, (Bytes{0x02, 0x64, 0x08, 0x03, 0x00, 0x01, 0x01, 0x00, 0x03, 0x01, 0x00}));
}

TEST(sim_0xC00F, running_results_are_zero_but_status_and_progress) {
    zevo::sim::Manual_clock clock;
    Sim_bench bench(lasting(milliseconds{10}), clock.function());
    ASSERT_EQ(bench.call<Get_state::Start>(0xC00F, std::uint8_t{0x00}).code, 0);
    EXPECT_EQ(results_of(bench, 0xC00F).bytes, (Bytes{0x01, 0x00, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(sim_0xC00F, selector_other_than_0_is_refused_with_0x31) {
    Sim_bench bench;
    EXPECT_EQ(bench.call<Get_state::Start>(0xC00F, std::uint8_t{0x01}).bytes, (Bytes{0x31, 0x31}));
}

}  // namespace

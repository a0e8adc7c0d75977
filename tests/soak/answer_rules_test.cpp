// The soak's rules for the answers of one request: acknowledge, then any 0x78, then one final
// answer within P2* of the last 0x78; which negative answers a fault explains; a request whose
// tester left on purpose is exempt. Each test breaks when its rule is checked wrongly.

#include <gtest/gtest.h>

#include "tests/soak/answer_judge.h"
#include "tests/soak/answer_sequence.h"

namespace zevo::soak {
namespace {

using namespace std::chrono_literals;

const Time t0 = Time{} + 1000s;
const Bytes read_2c56{0x22, 0x2C, 0x56};
const Bytes start_c00f{0x31, 0x01, 0xC0, 0x0F, 0x00};
const Bytes results_c00f{0x31, 0x03, 0xC0, 0x0F};

TEST(Soak_answer_sequence, acknowledge_then_positive_answer_with_its_echo_is_positive) {
    Answer_sequence sequence(read_2c56, t0);
    sequence.on_acknowledge(t0 + 1ms);
    EXPECT_FALSE(sequence.finished());
    sequence.on_answer(t0 + 2ms, {0x62, 0x2C, 0x56, 0x00, 0x00, 0x02});
    EXPECT_EQ(sequence.outcome().kind, Outcome::Kind::positive);
    EXPECT_EQ(sequence.answer_time(), 2ms);
}

TEST(Soak_answer_sequence, positive_answer_for_another_identifier_is_a_violation) {
    Answer_sequence sequence(read_2c56, t0);
    sequence.on_acknowledge(t0 + 1ms);
    sequence.on_answer(t0 + 2ms, {0x62, 0x2C, 0x57, 0x00});
    EXPECT_EQ(sequence.outcome().kind, Outcome::Kind::violation);
}

TEST(Soak_answer_sequence, answer_before_the_acknowledge_is_a_violation) {
    Answer_sequence sequence(read_2c56, t0);
    sequence.on_answer(t0 + 1ms, {0x62, 0x2C, 0x56, 0x00, 0x00, 0x02});
    EXPECT_EQ(sequence.outcome().kind, Outcome::Kind::violation);
}

TEST(Soak_answer_sequence, no_acknowledge_within_its_bound_is_a_loss) {
    Sequence_limits limits;
    Answer_sequence sequence(read_2c56, t0, limits);
    EXPECT_EQ(sequence.deadline(), t0 + limits.acknowledge);
    sequence.on_deadline(sequence.deadline());
    EXPECT_EQ(sequence.outcome().kind, Outcome::Kind::lost);
}

TEST(Soak_answer_sequence, acknowledge_without_final_answer_is_a_loss) {
    Sequence_limits limits;
    Answer_sequence sequence(read_2c56, t0, limits);
    sequence.on_acknowledge(t0 + 1ms);
    EXPECT_EQ(sequence.deadline(), t0 + 1ms + limits.p2_star + limits.margin);
    sequence.on_deadline(sequence.deadline());
    EXPECT_EQ(sequence.outcome().kind, Outcome::Kind::lost);
}

TEST(Soak_answer_sequence, each_response_pending_gives_the_final_answer_p2_star_and_the_margin_more) {
    Sequence_limits limits{2000ms, 5000ms, 500ms};
    Answer_sequence sequence(start_c00f, t0, limits);
    sequence.on_acknowledge(t0 + 1ms);
    sequence.on_answer(t0 + 40ms, {0x7F, 0x31, 0x78});
    EXPECT_EQ(sequence.deadline(), t0 + 40ms + 5500ms);
    EXPECT_EQ(sequence.first_answer_time(), 40ms);
    sequence.on_answer(t0 + 2040ms, {0x7F, 0x31, 0x78});
    EXPECT_EQ(sequence.deadline(), t0 + 2040ms + 5500ms);
    EXPECT_FALSE(sequence.finished());
    EXPECT_EQ(sequence.pending_answers(), 2);
    sequence.on_answer(t0 + 3000ms, {0x71, 0x01, 0xC0, 0x0F});
    EXPECT_EQ(sequence.outcome().kind, Outcome::Kind::positive);
}

TEST(Soak_answer_sequence, response_pending_not_followed_by_a_final_answer_is_a_loss) {
    Answer_sequence sequence(start_c00f, t0);
    sequence.on_acknowledge(t0 + 1ms);
    sequence.on_answer(t0 + 40ms, {0x7F, 0x31, 0x78});
    sequence.on_deadline(sequence.deadline());
    EXPECT_EQ(sequence.outcome().kind, Outcome::Kind::lost);
}

TEST(Soak_answer_sequence, response_pending_without_end_is_a_loss_after_the_longest_time) {
    Sequence_limits limits{2000ms, 5000ms, 1000ms, 10000ms};
    Answer_sequence sequence(start_c00f, t0, limits);
    sequence.on_acknowledge(t0 + 1ms);
    Time at = t0 + 40ms;
    for (int i = 0; i < 4; ++i, at += 2000ms) sequence.on_answer(at, {0x7F, 0x31, 0x78});
    sequence.on_answer(at, {0x7F, 0x31, 0x78});
    EXPECT_EQ(sequence.deadline(), t0 + 10000ms);
    sequence.on_deadline(sequence.deadline());
    EXPECT_EQ(sequence.outcome().kind, Outcome::Kind::lost);
}

TEST(Soak_answer_sequence, negative_answer_of_another_service_is_a_violation) {
    Answer_sequence sequence(start_c00f, t0);
    sequence.on_acknowledge(t0 + 1ms);
    sequence.on_answer(t0 + 2ms, {0x7F, 0x22, 0x10});
    EXPECT_EQ(sequence.outcome().kind, Outcome::Kind::violation);
}

TEST(Soak_answer_sequence, negative_acknowledge_is_a_violation) {
    Answer_sequence sequence(read_2c56, t0);
    sequence.on_negative_acknowledge(t0 + 1ms, 0x03);
    EXPECT_EQ(sequence.outcome().kind, Outcome::Kind::violation);
}

TEST(Soak_answer_sequence, closing_on_purpose_after_the_acknowledge_exempts_the_request) {
    Answer_sequence sequence(start_c00f, t0);
    sequence.on_acknowledge(t0 + 1ms);
    sequence.on_closed_on_purpose(t0 + 2ms);
    EXPECT_EQ(sequence.outcome().kind, Outcome::Kind::exempt);
}

TEST(Soak_answer_sequence, the_entity_closing_the_connection_loses_the_request) {
    Answer_sequence sequence(start_c00f, t0);
    sequence.on_acknowledge(t0 + 1ms);
    sequence.on_connection_lost(t0 + 2ms);
    EXPECT_EQ(sequence.outcome().kind, Outcome::Kind::lost);
}

/// A finished sequence: acknowledged at once, then `final` at `answered`.
Answer_sequence answered_with(const Bytes& request, Time sent, Time answered, const Bytes& final) {
    Answer_sequence sequence(request, sent);
    sequence.on_acknowledge(sent);
    sequence.on_answer(answered, final);
    return sequence;
}

Verdict judge_one(Answer_judge& judge, int connection, const Bytes& request, Time sent, Time answered,
                  const Bytes& final, bool must_be_general_reject = false) {
    const auto id = judge.request_started(connection, request, sent);
    return judge.request_ended(id, answered_with(request, sent, answered, final), answered, must_be_general_reject);
}

TEST(Soak_answer_judge, positive_and_general_reject_are_always_accepted) {
    Answer_judge judge;
    EXPECT_TRUE(judge_one(judge, 1, read_2c56, t0, t0 + 1ms, {0x62, 0x2C, 0x56, 0, 0, 2}).accepted);
    EXPECT_TRUE(judge_one(judge, 1, read_2c56, t0, t0 + 1ms, {0x7F, 0x22, 0x10}).accepted);
}

TEST(Soak_answer_judge, an_nrc_no_fault_explains_fails) {
    Answer_judge judge;
    EXPECT_FALSE(judge_one(judge, 1, read_2c56, t0, t0 + 1ms, {0x7F, 0x22, 0x31}).accepted);
    EXPECT_FALSE(judge_one(judge, 1, read_2c56, t0, t0 + 1ms, {0x7F, 0x22, 0x13}).accepted);
}

TEST(Soak_answer_judge, busy_is_accepted_while_another_connection_has_the_identifier_under_way) {
    Answer_judge judge;
    const auto other = judge.request_started(2, read_2c56, t0);
    EXPECT_TRUE(judge_one(judge, 1, read_2c56, t0 + 1ms, t0 + 2ms, {0x7F, 0x22, 0x21}).accepted);
    judge.request_ended(other, answered_with(read_2c56, t0, t0 + 3ms, {0x62, 0x2C, 0x56, 0, 0, 2}), t0 + 3ms);
    // Ended before this one was sent: nothing explains a busy answer now.
    EXPECT_FALSE(judge_one(judge, 1, read_2c56, t0 + 10ms, t0 + 11ms, {0x7F, 0x22, 0x21}).accepted);
}

TEST(Soak_answer_judge, busy_is_explained_by_a_request_that_overlapped_it_by_less_than_a_millisecond) {
    Answer_judge judge;
    const auto other = judge.request_started(2, read_2c56, t0);
    const auto busy = judge.request_started(1, read_2c56, t0 + 100us);
    judge.request_ended(other, answered_with(read_2c56, t0, t0 + 300us, {0x62, 0x2C, 0x56, 0, 0, 2}), t0 + 300us);
    EXPECT_TRUE(judge.request_ended(busy, answered_with(read_2c56, t0 + 100us, t0 + 200us, {0x7F, 0x22, 0x21}),
                                    t0 + 400us)
                    .accepted);
}

TEST(Soak_answer_judge, busy_is_not_explained_by_the_same_connection_or_another_identifier) {
    Answer_judge judge;
    judge.request_started(1, read_2c56, t0);
    judge.request_started(2, Bytes{0x22, 0x2C, 0x57}, t0);
    EXPECT_FALSE(judge_one(judge, 1, read_2c56, t0 + 1ms, t0 + 2ms, {0x7F, 0x22, 0x21}).accepted);
}

TEST(Soak_answer_judge, busy_is_accepted_while_the_job_of_a_connection_closed_on_purpose_may_still_run) {
    Judge_settings settings;
    Answer_judge judge(settings);
    const auto left = judge.request_started(2, start_c00f, t0);
    Answer_sequence sequence(start_c00f, t0);
    sequence.on_acknowledge(t0 + 1ms);
    sequence.on_closed_on_purpose(t0 + 2ms);
    EXPECT_TRUE(judge.request_ended(left, sequence, t0 + 2ms).accepted);
    EXPECT_TRUE(judge_one(judge, 1, start_c00f, t0 + 100ms, t0 + 101ms, {0x7F, 0x31, 0x21}).accepted);
    const Time later = t0 + 2ms + settings.cancel_grace + 1ms;
    EXPECT_FALSE(judge_one(judge, 1, start_c00f, later, later + 1ms, {0x7F, 0x31, 0x21}).accepted);
}

TEST(Soak_answer_judge, conditions_not_correct_to_a_start_only_while_the_routines_work_may_run) {
    Judge_settings settings;
    Answer_judge judge(settings);
    EXPECT_FALSE(judge_one(judge, 1, start_c00f, t0, t0 + 1ms, {0x7F, 0x31, 0x22}).accepted);
    EXPECT_TRUE(judge_one(judge, 2, start_c00f, t0 + 2ms, t0 + 3ms, {0x71, 0x01, 0xC0, 0x0F}).accepted);
    EXPECT_TRUE(judge_one(judge, 1, start_c00f, t0 + 4ms, t0 + 5ms, {0x7F, 0x31, 0x22}).accepted);
    const Time later = t0 + 3ms + settings.routine_work + 1ms;
    EXPECT_FALSE(judge_one(judge, 1, start_c00f, later, later + 1ms, {0x7F, 0x31, 0x22}).accepted);
    // Not to a read, whatever ran.
    EXPECT_FALSE(judge_one(judge, 1, read_2c56, t0 + 4ms, t0 + 5ms, {0x7F, 0x22, 0x22}).accepted);
}

TEST(Soak_answer_judge, conditions_not_correct_while_another_connections_start_is_still_under_way) {
    Answer_judge judge;
    judge.request_started(2, start_c00f, t0);
    EXPECT_TRUE(judge_one(judge, 1, start_c00f, t0 + 1ms, t0 + 2ms, {0x7F, 0x31, 0x22}).accepted);
}

TEST(Soak_answer_judge, sequence_error_only_before_the_first_good_start_since_the_last_kill) {
    Answer_judge judge;
    EXPECT_TRUE(judge_one(judge, 1, results_c00f, t0, t0 + 1ms, {0x7F, 0x31, 0x24}).accepted);
    EXPECT_TRUE(judge_one(judge, 1, start_c00f, t0 + 2ms, t0 + 3ms, {0x71, 0x01, 0xC0, 0x0F}).accepted);
    EXPECT_FALSE(judge_one(judge, 1, results_c00f, t0 + 4ms, t0 + 5ms, {0x7F, 0x31, 0x24}).accepted);
    judge.keysim_killed(t0 + 6ms);
    EXPECT_TRUE(judge_one(judge, 1, results_c00f, t0 + 7ms, t0 + 8ms, {0x7F, 0x31, 0x24}).accepted);
    // A Start sent before the kill and answered after it does not count: the old process served it.
    EXPECT_TRUE(judge_one(judge, 2, start_c00f, t0 + 5ms, t0 + 9ms, {0x71, 0x01, 0xC0, 0x0F}).accepted);
    EXPECT_TRUE(judge_one(judge, 1, results_c00f, t0 + 10ms, t0 + 11ms, {0x7F, 0x31, 0x24}).accepted);
}

TEST(Soak_answer_judge, sequence_error_of_results_sent_before_the_first_good_start_was_answered) {
    Answer_judge judge;
    const auto results = judge.request_started(1, results_c00f, t0);
    EXPECT_TRUE(judge_one(judge, 2, start_c00f, t0 + 1ms, t0 + 2ms, {0x71, 0x01, 0xC0, 0x0F}).accepted);
    EXPECT_TRUE(
        judge.request_ended(results, answered_with(results_c00f, t0, t0 + 3ms, {0x7F, 0x31, 0x24}), t0 + 3ms).accepted);
}

TEST(Soak_answer_judge, a_call_left_to_the_request_timeout_must_end_general_reject) {
    Answer_judge judge;
    const Bytes held{0x31, 0x01, 0xC0, 0x0C, 0x01};
    EXPECT_TRUE(judge_one(judge, 1, held, t0, t0 + 2000ms, {0x7F, 0x31, 0x10}, true).accepted);
    EXPECT_FALSE(judge_one(judge, 1, held, t0, t0 + 2000ms, {0x71, 0x01, 0xC0, 0x0C}, true).accepted);
    judge.request_started(2, held, t0);
    EXPECT_FALSE(judge_one(judge, 1, held, t0, t0 + 2000ms, {0x7F, 0x31, 0x21}, true).accepted);
}

TEST(Soak_answer_judge, lost_and_violating_requests_fail_exempt_ones_pass) {
    Answer_judge judge;
    const auto lost = judge.request_started(1, read_2c56, t0);
    Answer_sequence lost_sequence(read_2c56, t0);
    lost_sequence.on_acknowledge(t0 + 1ms);
    lost_sequence.on_deadline(lost_sequence.deadline());
    EXPECT_FALSE(judge.request_ended(lost, lost_sequence, lost_sequence.deadline()).accepted);

    const auto early = judge.request_started(1, read_2c56, t0);
    Answer_sequence early_sequence(read_2c56, t0);
    early_sequence.on_answer(t0 + 1ms, {0x62, 0x2C, 0x56, 0, 0, 2});
    EXPECT_FALSE(judge.request_ended(early, early_sequence, t0 + 1ms).accepted);

    const auto left = judge.request_started(1, read_2c56, t0);
    Answer_sequence left_sequence(read_2c56, t0);
    left_sequence.on_acknowledge(t0 + 1ms);
    left_sequence.on_closed_on_purpose(t0 + 2ms);
    EXPECT_TRUE(judge.request_ended(left, left_sequence, t0 + 2ms).accepted);
}

}  // namespace
}  // namespace zevo::soak

#include "tests/soak/soak_tally.h"

namespace zevo::soak {
namespace {
constexpr std::size_t failures_shown = 20;
}

void Soak_tally::count(const Answer_sequence& sequence, const Verdict& verdict) {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++requests_;
    const Outcome& outcome = sequence.outcome();
    pending_answers_ += static_cast<std::size_t>(sequence.pending_answers());
    if (sequence.pending_answers() > 0) ++requests_with_pending_;
    if (outcome.kind == Outcome::Kind::positive) ++positive_;
    if (outcome.kind == Outcome::Kind::negative) ++nrcs_[outcome.nrc];
    if (outcome.kind == Outcome::Kind::exempt) ++exempt_;
    const bool final_answer = outcome.kind == Outcome::Kind::positive || outcome.kind == Outcome::Kind::negative;
    if (final_answer && sequence.answer_time() > longest_answer_) {
        longest_answer_ = sequence.answer_time();
        longest_request_ = hex_text(sequence.request());
    }
    if (sequence.first_answer_time() > longest_first_answer_) longest_first_answer_ = sequence.first_answer_time();
    if (verdict.accepted) return;
    ++failures_;
    if (failure_texts_.size() < failures_shown) {
        failure_texts_.push_back("FAIL: " + verdict.reason + "\n" + sequence.history());
    }
}

void Soak_tally::count_fault(const std::string& kind) {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++faults_[kind];
}

void Soak_tally::fail(const std::string& reason) {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++failures_;
    if (failure_texts_.size() < failures_shown) failure_texts_.push_back("FAIL: " + reason + "\n");
}

std::size_t Soak_tally::failures() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return failures_;
}

void Soak_tally::print(std::ostream& out) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (const std::string& text : failure_texts_) out << text;
    if (failures_ > failure_texts_.size()) out << "... and " << failures_ - failure_texts_.size() << " failures more\n";
    out << "requests:   " << requests_ << " (" << exempt_ << " exempt: their tester left on purpose)\n";
    out << "answers:    " << positive_ << " positive";
    for (const auto& [nrc, count] : nrcs_) out << ", " << count << " 7F xx " << hex_text({nrc});
    out << "\n";
    out << "pending:    " << pending_answers_ << " 7F xx 78 in " << requests_with_pending_ << " requests\n";
    out << "longest:    " << longest_answer_.count() << " ms from request to final answer (" << longest_request_ << ")\n";
    out << "first:      " << longest_first_answer_.count()
        << " ms at most from request to its first answer, 7F xx 78 or final (P2 is 50 ms)\n";
    out << "faults:    ";
    if (faults_.empty()) out << " none";
    for (const auto& [kind, count] : faults_) out << " " << kind << " " << count << ";";
    out << "\n";
    out << "failures:   " << failures_ << "\n";
}

}  // namespace zevo::soak

#pragma once
// The judge and the tally shared by every tester and the fault thread: each request is
// registered before it is sent and judged and counted when its sequence ends. Thread-safe.

#include <mutex>

#include "tests/soak/answer_judge.h"
#include "tests/soak/soak_tally.h"

namespace zevo::soak {

class Soak_referee {
public:
    Soak_referee(Soak_tally& tally, Judge_settings settings) : tally_(tally), judge_(settings) {}

    Answer_judge::Request_id started(int connection, const Bytes& request, Time sent) {
        const std::lock_guard<std::mutex> lock(mutex_);
        return judge_.request_started(connection, request, sent);
    }
    /// Judges and counts the finished sequence; true when it was accepted.
    bool ended(Answer_judge::Request_id id, const Answer_sequence& sequence, bool must_be_general_reject) {
        Verdict verdict;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            verdict = judge_.request_ended(id, sequence, Clock::now(), must_be_general_reject);
        }
        tally_.count(sequence, verdict);
        return verdict.accepted;
    }
    void keysim_killed(Time at) {
        const std::lock_guard<std::mutex> lock(mutex_);
        judge_.keysim_killed(at);
    }
    Soak_tally& tally() { return tally_; }

private:
    Soak_tally& tally_;
    std::mutex mutex_;
    Answer_judge judge_;  ///< guarded by mutex_
};

}  // namespace zevo::soak

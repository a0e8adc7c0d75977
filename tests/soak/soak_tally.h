#pragma once
// The soak's counts: requests, final answers by kind (positive, each NRC), 0x78 seen, exempt
// requests, faults injected by kind, the longest answer time, and the failures with what each
// request saw. Every method locks, so the testers' and the fault thread may call it at once.

#include <map>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include "tests/soak/answer_judge.h"

namespace zevo::soak {

class Soak_tally {
public:
    /// A finished request and the judge's verdict on it.
    void count(const Answer_sequence& sequence, const Verdict& verdict);
    void count_fault(const std::string& kind);
    /// A failure that is not one request's (a process, a resource, a recovery).
    void fail(const std::string& reason);

    std::size_t failures() const;
    /// The counts, and the first failures in full.
    void print(std::ostream& out) const;

private:
    mutable std::mutex mutex_;
    std::size_t requests_ = 0;
    std::size_t positive_ = 0;
    std::size_t exempt_ = 0;
    std::size_t pending_answers_ = 0;           ///< 7F xx 78 seen
    std::size_t requests_with_pending_ = 0;
    std::map<std::uint8_t, std::size_t> nrcs_;  ///< final negative answers by code
    std::map<std::string, std::size_t> faults_;
    Milliseconds longest_answer_{0};
    Milliseconds longest_first_answer_{0};
    std::string longest_request_;
    std::size_t failures_ = 0;
    std::vector<std::string> failure_texts_;    ///< the first few
};

}  // namespace zevo::soak

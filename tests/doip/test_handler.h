#pragma once
// A diagnostic handler for the entity's tests and the test server: answers each request with
// its positive response (SID + 0x40, the rest echoed), holds RoutineControl (0x31) requests
// until the test releases them, and records requests and closed connections. Thread-safe.

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <vector>

#include "host/doip/diagnostic_handler.h"

namespace zevo::doip::testing {

class Test_handler final : public Diagnostic_handler {
public:
    void on_request(Diagnostic_request request, Diagnostic_reply reply) override {
        std::lock_guard<std::mutex> lock(mutex_);
        std::vector<std::uint8_t> answer = request.uds;
        bool hold = answer[0] == 0x31;
        answer[0] = static_cast<std::uint8_t>(answer[0] + 0x40);
        requests_.push_back(std::move(request));
        if (hold) {
            held_.push_back(std::move(reply));
        } else {
            reply(std::move(answer));
        }
        changed_.notify_all();
    }

    void on_connection_closed(std::uint64_t connection) override {
        std::lock_guard<std::mutex> lock(mutex_);
        closed_.push_back(connection);
        changed_.notify_all();
    }

    // Waits (at most 5 s) until `count` requests / closed connections were seen; false otherwise.
    bool wait_requests(std::size_t count) {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(5), [&] { return requests_.size() >= count; });
    }
    bool wait_closed(std::size_t count) {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(5), [&] { return closed_.size() >= count; });
    }

    std::vector<Diagnostic_request> requests() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return requests_;
    }
    std::vector<std::uint64_t> closed() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return closed_;
    }
    // The reply function of the oldest held request (empty when there is none).
    Diagnostic_reply take_held() {
        std::lock_guard<std::mutex> lock(mutex_);
        if (held_.empty()) return {};
        Diagnostic_reply reply = std::move(held_.front());
        held_.erase(held_.begin());
        return reply;
    }

private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Diagnostic_request> requests_;  ///< guarded by mutex_
    std::vector<std::uint64_t> closed_;         ///< guarded by mutex_
    std::vector<Diagnostic_reply> held_;        ///< guarded by mutex_
};

}  // namespace zevo::doip::testing

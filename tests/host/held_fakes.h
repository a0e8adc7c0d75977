#pragma once
// Test-local extensions that answer cancel and discovery probes as the plug-in's do, and whose jobs
// can be held until a cancel releases them. Jobs run on dispatcher workers, cancel and the test on
// other threads; everything shared is guarded by the fake's mutex.

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "extension/extension_data_identifier.h"
#include "extension/extension_routine_control.h"

namespace zevo::host::testing {

using ruv::dm::foundation::extension::Meta_info;
using ruv::dm::types::UDSResponseCodeType;

/// The holding and releasing of one extension's jobs, and its cancel, as the plug-in does them:
/// a cancel that comes before a job is forgotten when the job starts.
class Held_job {
public:
    /// Without its service jobs answer 0x10 and cancel 0; with it cancel answers 1 (and a
    /// routine's start without option bytes 0x13).
    std::atomic<bool> found{true};
    /// Whether the next jobs wait until a cancel (then answering 0 with no data) or answer().
    std::atomic<bool> hold{false};
    /// What an answered job returns; its bytes are appended only when it is 0.
    std::atomic<UDSResponseCodeType> code{0};

    /// Waits until a job holds, at most `timeout`; true when one does.
    bool wait_until_holding(std::chrono::milliseconds timeout) {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_for(lock, timeout, [this] { return holding_; });
    }
    /// Releases a holding job as if its service had answered.
    void answer() {
        const std::lock_guard<std::mutex> lock(mutex_);
        answered_ = true;
        changed_.notify_all();
    }
    /// The number of jobs that have started.
    int jobs() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return jobs_;
    }
    int cancels() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return cancels_;
    }
    std::vector<Meta_info> cancel_meta_infos() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return cancel_meta_infos_;
    }

    UDSResponseCodeType cancel(const Meta_info& meta_info) {
        if (!found) return 0;
        const std::lock_guard<std::mutex> lock(mutex_);
        ++cancels_;
        cancel_meta_infos_.push_back(meta_info);
        cancel_requested_ = true;
        changed_.notify_all();
        return 1;
    }

    /// Runs a job: 0x10 without service; else appends `answer_bytes` unless cancelled while held.
    UDSResponseCodeType run(std::vector<std::uint8_t>& response, const std::vector<std::uint8_t>& answer_bytes) {
        if (!found) return 0x10;
        std::unique_lock<std::mutex> lock(mutex_);
        ++jobs_;
        cancel_requested_ = false;  // a job is never born cancelled
        answered_ = false;
        if (hold) {
            holding_ = true;
            changed_.notify_all();
            changed_.wait(lock, [this] { return cancel_requested_ || answered_; });
            holding_ = false;
            if (!answered_) return 0;  // cancelled: no data
        }
        if (code != 0) return code;
        response.insert(response.end(), answer_bytes.begin(), answer_bytes.end());
        return 0;
    }

private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    bool holding_ = false;
    bool answered_ = false;
    bool cancel_requested_ = false;
    int cancels_ = 0;
    int jobs_ = 0;
    std::vector<Meta_info> cancel_meta_infos_;
};

class Held_data_identifier : public ruv::dm::foundation::extension::Extension_data_identifier {
public:
    Held_job job;
    std::vector<std::uint8_t> record = {0x00, 0x05};

    void attach(const std::string&) override {}
    void detach() override {}
    UDSResponseCodeType read(const Meta_info&, std::vector<std::uint8_t>& response) override {
        return job.run(response, record);
    }
    UDSResponseCodeType cancel(const Meta_info& meta_info) override { return job.cancel(meta_info); }
};

class Held_routine : public ruv::dm::foundation::extension::Extension_routine_control {
public:
    Held_job job;
    std::vector<std::uint8_t> results = {0x01, 0x02};

    void attach(const std::string&) override {}
    void detach() override {}
    UDSResponseCodeType start(std::vector<std::uint8_t>& request, const Meta_info&,
                              std::vector<std::uint8_t>& response) override {
        if (job.found && request.empty()) return 0x13;  // too short to decode: nothing is sent
        return job.run(response, {});
    }
    UDSResponseCodeType request_results(std::vector<std::uint8_t>&, const Meta_info&,
                                        std::vector<std::uint8_t>& response) override {
        return job.run(response, results);
    }
    UDSResponseCodeType cancel(const Meta_info& meta_info) override { return job.cancel(meta_info); }
};

}  // namespace zevo::host::testing

#pragma once
// A sink for tests: keeps every record it receives (level, ids and text) in order.
// Thread-safe, like every sink.

#include <mutex>
#include <string>
#include <vector>

#include "ara/log/sink.h"

namespace zevo::test {

struct Recorded_line {
    ara::log::LogLevel level;
    std::string app_id;
    std::string context_id;
    std::string text;
};

class Recording_sink : public ara::log::Sink {
public:
    void write(ara::log::Record const& record) noexcept override {
        std::lock_guard<std::mutex> const lock{mutex_};
        lines_.push_back({record.level, std::string{record.app_id},
                          std::string{record.context_id}, std::string{record.text}});
    }

    std::vector<Recorded_line> lines() const {
        std::lock_guard<std::mutex> const lock{mutex_};
        return lines_;
    }

private:
    mutable std::mutex mutex_;          ///< guards lines_
    std::vector<Recorded_line> lines_;
};

}  // namespace zevo::test

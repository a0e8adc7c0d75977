#pragma once
// Where a finished record goes: one call of write per record, from whichever thread wrote it.
// The library's own sink is the console (standard error); tests put their own in its place.

#include <chrono>
#include <string_view>

#include "ara/log/log_level.h"

namespace ara::log {

// One record as the sink receives it. The views are valid only during the call of write.
struct Record {
    std::chrono::system_clock::time_point time;
    LogLevel level;
    std::string_view app_id;
    std::string_view context_id;
    std::string_view text;
};

// Thread-safe: write is called from many threads at once and must keep records whole.
// A sink outlives every logger that writes to it. write throws nothing; a failure to write
// loses the record.
class Sink {
public:
    virtual ~Sink();
    virtual void write(Record const& record) noexcept = 0;

protected:
    Sink() = default;
    Sink(Sink const&) = default;
    Sink& operator=(Sink const&) = default;
};

}  // namespace ara::log

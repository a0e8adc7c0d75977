#pragma once
// The console sink: each record becomes one line (see line_format.h) written to a file
// descriptor, standard error by default. Thread-safe: one write call per line under a mutex,
// so lines of concurrent threads never interleave. The descriptor is not owned.

#include <mutex>

#include "ara/log/sink.h"

namespace ara::log::detail {

class Console_sink : public Sink {
public:
    static constexpr int standard_error = 2;

    explicit Console_sink(int fd = standard_error) noexcept : fd_(fd) {}

    // Formats outside the lock, then writes the whole line under it, retrying after an
    // interruption or a partial write. A write error loses the rest of the line.
    void write(Record const& record) noexcept override;

private:
    int const fd_;
    std::mutex mutex_;  ///< held for the writes of one line, nothing else
};

}  // namespace ara::log::detail

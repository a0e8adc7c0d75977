#pragma once
// The DLT sink: the process registered with libdlt as one application, each logger's context
// registered under its context id, each record sent as one verbose DLT message with one string
// argument. Made once per process by the log runtime, on the thread of the first CreateLogger;
// write is called from any thread. Nothing here waits for a daemon: without one, libdlt keeps
// what it can in its buffer and hands it over when a daemon appears; at exit nothing is resent.

#include <cstddef>
#include <memory>
#include <mutex>
#include <string_view>

#include "ara/log/log_level.h"
#include "ara/log/sink.h"

namespace ara::log::detail {

class Dlt_sink : public Sink {
public:
    // Registers the application. `threshold` is the level each context is registered with, so
    // that libdlt passes what the process's loggers pass until a daemon says otherwise. libdlt's
    // own diagnostics go to standard error, errors only. Only one Dlt_sink may exist in a
    // process (std::logic_error otherwise); throws std::bad_alloc.
    Dlt_sink(std::string_view app_id, std::string_view description, LogLevel threshold);

    // Unregisters contexts and application. The runtime's sink is never destroyed; libdlt's
    // exit handler ends the registration then.
    ~Dlt_sink() override;

    Dlt_sink(Dlt_sink const&) = delete;
    Dlt_sink& operator=(Dlt_sink const&) = delete;

    // Registers a context now, so that a viewer knows it before its first record; write does
    // the same for a context it has not seen. Thread-safe. Throws std::bad_alloc only.
    void add_context(std::string_view context_id);

    // One DLT message at the record's level (dlt_message.h), unless libdlt's level of the
    // context is lower or the process is exiting. A failure loses the record.
    void write(Record const& record) noexcept override;

private:
    struct Contexts;
    void* find_or_register(std::string_view context_id);  // under mutex_; a DltContext*
    static void close_at_exit() noexcept;

    LogLevel const threshold_;
    std::size_t payload_limit_;
    std::mutex mutex_;  ///< guards contexts_ and closed_; held across each libdlt call
    std::unique_ptr<Contexts> contexts_;
    bool closed_ = false;
};

}  // namespace ara::log::detail

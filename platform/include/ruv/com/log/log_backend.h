#pragma once
// Where the communication library's log lines go: a level test and a line write, called from
// any thread at once (implementations must be thread-safe). The order of the virtual slots is
// a binary contract with code compiled elsewhere: the destructor pair, is_log_enabled, log.

#include <string>

namespace ruv::com::log {

class Log_backend {
public:
    virtual ~Log_backend();

    // Whether a line of this level (an ara::log::LogLevel number) would be written.
    virtual bool is_log_enabled(unsigned char level) = 0;

    // Writes one line at this level; what a level means is the implementation's business.
    virtual void log(std::string const& text, unsigned char level) = 0;

protected:
    Log_backend() = default;
    Log_backend(Log_backend const&) = default;
    Log_backend& operator=(Log_backend const&) = default;
};

}  // namespace ruv::com::log

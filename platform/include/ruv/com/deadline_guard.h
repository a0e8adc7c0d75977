#pragma once
// A scope guard that measures how long its scope took and reports it when that was more than a
// limit; it enforces nothing. Used around a discovery handler on the strand's pool thread. The
// unit of the limit and of the reported time is the millisecond, whole, counted on the steady
// clock and rounded down. Neither the constructor nor the destructor throws.

#include <chrono>
#include <functional>

namespace ruv::com {

class Deadline_guard {
public:
    /// Starts the measurement. `limit` in milliseconds. `on_exceeded` may be empty: nothing is
    /// reported then.
    Deadline_guard(unsigned long const& limit, std::function<void(unsigned long)> on_exceeded) noexcept;

    /// Calls on_exceeded(elapsed milliseconds) when they are more than the limit, also while an
    /// exception leaves the scope. What on_exceeded throws is logged through ara::com::logger()
    /// at level 2 (error) and dropped: it must not end the process during that unwinding.
    ~Deadline_guard();

    Deadline_guard(const Deadline_guard&) = delete;
    Deadline_guard& operator=(const Deadline_guard&) = delete;

private:
    unsigned long limit_;
    std::function<void(unsigned long)> on_exceeded_;
    std::chrono::steady_clock::time_point start_;
};

}  // namespace ruv::com

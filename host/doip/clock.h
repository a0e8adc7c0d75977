#pragma once
// The time source of the DoIP entity's timers, injectable so that tests advance time without
// waiting. A Clock makes Timers bound to an io_context: a timer's callback always runs on a
// thread that runs that io_context. Steady_clock is the real one (asio::steady_timer).
// Clocks are thread-safe; a Timer is used on its io_context's thread only.

#include <chrono>
#include <functional>
#include <memory>

#include <asio/io_context.hpp>

namespace zevo::doip {

using Time_point = std::chrono::steady_clock::time_point;

class Timer {
public:
    virtual ~Timer() = default;
    // Calls `expired` once, on the io_context, when the clock reaches `at`; replaces an
    // earlier arrangement. The callback may also come late or (after a replacement) spuriously:
    // users compare their deadlines with now().
    virtual void expire_at(Time_point at, std::function<void()> expired) = 0;
    virtual void cancel() = 0;
};

class Clock {
public:
    virtual ~Clock() = default;
    virtual Time_point now() const = 0;
    virtual std::unique_ptr<Timer> make_timer(asio::io_context& io) = 0;
};

class Steady_clock final : public Clock {
public:
    Time_point now() const override { return std::chrono::steady_clock::now(); }
    std::unique_ptr<Timer> make_timer(asio::io_context& io) override;
};

}  // namespace zevo::doip

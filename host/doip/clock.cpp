#include "host/doip/clock.h"

#include <asio/steady_timer.hpp>

namespace zevo::doip {
namespace {

class Steady_timer final : public Timer {
public:
    explicit Steady_timer(asio::io_context& io) : timer_(io) {}

    void expire_at(Time_point at, std::function<void()> expired) override {
        timer_.expires_at(at);
        timer_.async_wait([expired = std::move(expired)](const asio::error_code& error) {
            if (!error) expired();
        });
    }

    void cancel() override { timer_.cancel(); }

private:
    asio::steady_timer timer_;
};

}  // namespace

std::unique_ptr<Timer> Steady_clock::make_timer(asio::io_context& io) {
    return std::make_unique<Steady_timer>(io);
}

}  // namespace zevo::doip

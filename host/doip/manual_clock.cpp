#include "host/doip/manual_clock.h"

#include <asio/post.hpp>
#include <condition_variable>
#include <vector>

namespace zevo::doip {

class Manual_clock::Manual_timer final : public Timer {
public:
    Manual_timer(Manual_clock& clock, asio::io_context& io, std::uint64_t id) : clock_(clock), io_(io), id_(id) {}
    ~Manual_timer() override { cancel(); }

    // A time already reached expires at once, as a real timer would.
    void expire_at(Time_point at, std::function<void()> expired) override {
        std::lock_guard<std::mutex> lock(clock_.mutex_);
        if (at <= clock_.now_) {
            clock_.arrangements_.erase(id_);
            asio::post(io_, std::move(expired));
            return;
        }
        clock_.arrangements_[id_] = Arrangement{&io_, at, std::move(expired)};
    }

    void cancel() override {
        std::lock_guard<std::mutex> lock(clock_.mutex_);
        clock_.arrangements_.erase(id_);
    }

private:
    Manual_clock& clock_;
    asio::io_context& io_;
    std::uint64_t id_;
};

Time_point Manual_clock::now() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return now_;
}

std::unique_ptr<Timer> Manual_clock::make_timer(asio::io_context& io) {
    std::lock_guard<std::mutex> lock(mutex_);
    return std::make_unique<Manual_timer>(*this, io, next_id_++);
}

bool Manual_clock::advance(std::chrono::steady_clock::duration step) {
    std::vector<Arrangement> due;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        now_ += step;
        for (auto it = arrangements_.begin(); it != arrangements_.end();) {
            if (it->second.at <= now_) {
                due.push_back(std::move(it->second));
                it = arrangements_.erase(it);
            } else {
                ++it;
            }
        }
    }
    // Shared with the posted callbacks, which may outlive this call when it gives up waiting.
    struct Progress {
        std::mutex mutex;
        std::condition_variable changed;
        std::size_t done = 0;
    };
    auto progress = std::make_shared<Progress>();
    for (Arrangement& arrangement : due) {
        asio::post(*arrangement.io, [progress, expired = std::move(arrangement.expired)] {
            expired();
            std::lock_guard<std::mutex> lock(progress->mutex);
            ++progress->done;
            progress->changed.notify_all();
        });
    }
    std::unique_lock<std::mutex> lock(progress->mutex);
    return progress->changed.wait_for(lock, std::chrono::seconds(5),
                                      [&] { return progress->done == due.size(); });
}

}  // namespace zevo::doip

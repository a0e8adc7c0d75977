// A DoIP entity on 127.0.0.1 for the tests with outside testers (scapy, zevo-tester, tshark):
// it prints "port N" once it listens and serves until its standard input closes. Its handler
// answers as a small UDS server would: 22 F1 90 the VIN, 10 03 with the session timing, 3E 00,
// 3E 80 without an answer, 31 after a response pending (7F 31 78) 100 ms later, every other
// request with its positive response (SID + 0x40, the rest echoed).
// Usage: doip_test_server [port [max-testers]]   (default 0: a free port; 4 testers)

#include <condition_variable>
#include <cstdio>
#include <deque>
#include <iostream>
#include <mutex>
#include <string>
#include <thread>

#include "host/doip/doip_entity.h"

namespace {

using namespace zevo::doip;

class Serving_handler final : public Diagnostic_handler {
public:
    Serving_handler() : worker_([this] { work(); }) {}
    ~Serving_handler() override {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            stopping_ = true;
        }
        changed_.notify_all();
        worker_.join();
    }

    void on_request(Diagnostic_request request, Diagnostic_reply reply) override {
        const Bytes& uds = request.uds;
        if (uds == Bytes{0x3E, 0x80}) return;
        if (uds == Bytes{0x22, 0xF1, 0x90}) {
            Bytes answer{0x62, 0xF1, 0x90};
            const std::string vin = "ZEVOBENCH00000001";
            answer.insert(answer.end(), vin.begin(), vin.end());
            reply(answer);
            return;
        }
        if (uds == Bytes{0x10, 0x03}) {
            reply({0x50, 0x03, 0x00, 0x32, 0x01, 0xF4});
            return;
        }
        Bytes answer = uds;
        answer[0] = static_cast<std::uint8_t>(answer[0] + 0x40);
        if (uds[0] != 0x31) {
            reply(answer);
            return;
        }
        reply({0x7F, 0x31, 0x78});
        std::lock_guard<std::mutex> lock(mutex_);
        later_.push_back({std::chrono::steady_clock::now() + std::chrono::milliseconds(100), answer, reply});
        changed_.notify_all();
    }

    void on_connection_closed(std::uint64_t) override {}

private:
    struct Later {
        std::chrono::steady_clock::time_point at;
        Bytes answer;
        Diagnostic_reply reply;
    };

    void work() {
        std::unique_lock<std::mutex> lock(mutex_);
        while (!stopping_) {
            if (later_.empty()) {
                changed_.wait(lock);
                continue;
            }
            if (changed_.wait_until(lock, later_.front().at) == std::cv_status::timeout) {
                Later due = std::move(later_.front());
                later_.pop_front();
                due.reply(due.answer);
            }
        }
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Later> later_;  ///< guarded by mutex_
    bool stopping_ = false;    ///< guarded by mutex_
    std::thread worker_;
};

}  // namespace

int main(int argc, char** argv) {
    Entity_config config;
    config.port = argc > 1 ? static_cast<std::uint16_t>(std::stoul(argv[1])) : 0;
    config.announce = false;
    if (argc > 2) config.max_testers = static_cast<std::uint8_t>(std::stoul(argv[2]));
    Steady_clock clock;
    Serving_handler handler;
    Doip_entity entity(config, handler, clock);
    entity.start();
    std::printf("port %u\n", static_cast<unsigned>(entity.port()));
    std::fflush(stdout);
    std::string ignored;
    while (std::getline(std::cin, ignored)) {
    }
    entity.stop();
    return 0;
}

#include "host/serve_command.h"

#include <condition_variable>
#include <exception>
#include <mutex>
#include <string>

#include "ara/log/contexts.h"
#include "host/doip/clock.h"
#include "host/doip/doip_entity.h"
#include "host/doip_bridge.h"
#include "host/host_application.h"

namespace zevo::host {
namespace {

/// Opened once by the signal's reaction; the main thread waits for it.
class Stop_latch {
public:
    void open() {
        const std::lock_guard<std::mutex> lock(mutex_);
        open_ = true;
        opened_.notify_all();
    }
    void wait() {
        std::unique_lock<std::mutex> lock(mutex_);
        opened_.wait(lock, [this] { return open_; });
    }

private:
    std::mutex mutex_;
    std::condition_variable opened_;
    bool open_ = false;  // guarded by mutex_
};

}  // namespace

int serve_testers(const Serve_options& options, Uds_server& server, Interrupt_watcher& watcher, std::ostream& out,
                  std::ostream& err) {
    // Declared in this order so that the entity is stopped and gone before the reaction that
    // refers to the latch is removed, and all of it before the server that the caller owns.
    Stop_latch stop;
    const Reaction_guard reaction(watcher, [&server, &stop](int) {
        server.shutdown();  // refuses what still comes in, cancels what runs: no answer goes out
        stop.open();
    });
    Doip_bridge bridge(server, [](const std::string& event) {
        namespace contexts = ara::log::contexts;
        contexts::log_text(contexts::logger_of(contexts::host), ara::log::LogLevel::kInfo, [&event] { return event; });
    });
    doip::Steady_clock clock;
    doip::Doip_entity entity(options.entity, bridge, clock);
    try {
        entity.start();
    } catch (const std::exception& error) {
        err << "zevo-dm: cannot serve DoIP on " << options.entity.address << " port " << options.entity.port << ": "
            << error.what() << std::endl;
        return exit_cannot_listen;
    }
    out << "zevo-dm: serving DoIP on " << options.entity.address << " port " << entity.port() << ", logical address "
        << format_logical_address(options.entity.logical_address) << std::endl;
    // The wait ends only by a signal; the watcher ends the process itself should this host not
    // be done a few seconds after it.
    stop.wait();
    entity.stop();
    out << "zevo-dm: stopped serving on " << (watcher.signal() == SIGINT ? "SIGINT" : "SIGTERM") << std::endl;
    return exit_done;
}

}  // namespace zevo::host

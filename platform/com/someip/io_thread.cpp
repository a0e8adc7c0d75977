#include "com/someip/io_thread.h"

#include <asio/post.hpp>

#include "com/runtime/runtime_log.h"

namespace ruv::com::someip_binding {

Io_thread::Io_thread() : work_(asio::make_work_guard(context_)) {
    thread_ = std::thread([this] {
        for (;;) {
            try {
                context_.run();
                return;
            } catch (...) {  // a handler threw: log it and go on serving the others
                runtime::detail::log_current_exception("A SOME/IP I/O handler");
            }
        }
    });
}

Io_thread::~Io_thread() { stop(); }

void Io_thread::stop() noexcept {
    if (!thread_.joinable()) {
        return;
    }
    work_.reset();
    asio::post(context_, [this] { asio::post(context_, [this] { context_.stop(); }); });
    thread_.join();
}

}  // namespace ruv::com::someip_binding

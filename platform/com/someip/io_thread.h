#pragma once
// The SOME/IP binding's one I/O thread: a single asio::io_context that every socket, connection
// and SD timer of a node runs on, so that no thread is made per call or peer. Made and stopped
// by the node; context() may be used from any thread to post work.

#include <thread>

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>

namespace ruv::com::someip_binding {

class Io_thread {
public:
    /// Starts the thread. Throws std::system_error.
    Io_thread();
    /// stop().
    ~Io_thread();
    Io_thread(const Io_thread&) = delete;
    Io_thread& operator=(const Io_thread&) = delete;

    asio::io_context& context() noexcept { return context_; }

    /// Runs what was posted before it and what those handlers post in turn (closes, last
    /// sends), then stops the context and joins the thread; handlers still waiting are destroyed
    /// with the context. Not from the I/O thread itself. A second call returns at once.
    void stop() noexcept;

    bool on_io_thread() const noexcept { return std::this_thread::get_id() == thread_.get_id(); }

private:
    asio::io_context context_;
    asio::executor_work_guard<asio::io_context::executor_type> work_;
    std::thread thread_;
};

}  // namespace ruv::com::someip_binding

#pragma once
// The runtime's worker threads: they run what the bindings post (calls to providers, response
// handlers, discovery notifications), taken in posting order, never on the poster's thread (a
// task posted from a worker runs later; a deferred one right after the task that deferred it). post and stop are thread-safe and may be called from a
// task; a task that throws is logged and the worker goes on.

#include <cstddef>
#include <functional>
#include <memory>

namespace ruv::com::runtime {

class Dispatcher {
public:
    using Task = std::function<void()>;

    /// Starts `thread_count` workers (at least one). Throws std::system_error when a thread
    /// cannot start (the started ones are stopped first), std::bad_alloc.
    explicit Dispatcher(std::size_t thread_count);
    /// stop().
    ~Dispatcher();
    Dispatcher(const Dispatcher&) = delete;
    Dispatcher& operator=(const Dispatcher&) = delete;

    /// Queues the task for the next free worker. False once stopped: the task is then destroyed
    /// on this thread before the return, uncalled. Throws std::bad_alloc (the task is destroyed).
    bool post(Task task);

    /// Like post, but from one of this dispatcher's workers the task stays with that worker and
    /// runs right after the task that deferred it, before the worker takes anything else from
    /// the queue, without waking another thread. For the continuation of the running task (the
    /// answer a provider gives inside its call): it must not wait for the deferred task, which
    /// cannot run before it returns. From any other thread the same as post.
    bool defer(Task task);

    /// Runs the task right here, on the calling thread, which must be one of the runtime's own
    /// threads beside the workers (a binding's I/O thread) and never a caller's: for a response
    /// handler that only completes a promise, where a hand-off to a worker would cost a thread
    /// wake-up. What the task throws is logged, as on a worker. False once stopped: the task is
    /// then destroyed here, uncalled.
    bool run_here(Task task) noexcept;

    /// Lets the running tasks finish, joins the workers (a worker that stops its own dispatcher
    /// is detached instead), then destroys the queued tasks uncalled, on this thread. Later
    /// posts fail. A second call returns at once.
    void stop() noexcept;

    /// True on one of this dispatcher's workers.
    bool runs_on_worker() const noexcept;

    std::size_t thread_count() const noexcept { return thread_count_; }

private:
    struct State;  ///< the queue and its lock, shared with the workers so that they may outlive this

    const std::size_t thread_count_;
    const std::shared_ptr<State> state_;
};

}  // namespace ruv::com::runtime

#pragma once
// The sending side of one tester connection, the part of it that any thread may use: a frame
// is written to the socket at once, by the thread that sends it, when nothing waits before it,
// so that an answer from the UDS server's worker goes out without a hop to the entity's I/O
// thread; what the kernel does not take waits here, in order, until the I/O thread finds the
// socket writable and calls flush(). Owns no Asio object: the descriptor is only written under
// the outbox's lock and only until release(). Thread-safe.

#include <atomic>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>

#include "host/doip/clock.h"
#include "host/doip/frame_codec.h"

namespace zevo::doip {

class Outbox {
public:
    // What the connection's I/O thread has to do after a send on some thread.
    enum class Need {
        wait_writable,      ///< the kernel took only part: call flush() once the socket is writable
        reset_slow_reader,  ///< more than the limit waits: the tester does not read; reset and close
        close_broken,       ///< a write failed: the connection is broken
    };
    /// Called under the outbox's lock, on the thread that sent; must not call the outbox (it
    /// posts to the I/O thread). Never called after release().
    using Notify = std::function<void(Need)>;

    enum class Flushed { all, waiting, broken };

    // `descriptor`: a connected TCP socket, owned and closed by the caller after release().
    // More than `max_waiting` bytes waiting here stops the outbox (Need::reset_slow_reader).
    // `clock` times answers as activity; it is not used after release().
    Outbox(int descriptor, std::size_t max_waiting, const Clock& clock, Notify notify);

    // Any thread. Writes the frame, or queues it behind what waits. False, and nothing sent,
    // once the outbox takes no more frames: after stop_accepting() or release(), when the
    // tester let too much pile up, or when the connection broke.
    bool send(Bytes frame);
    // send() for the answer of the tester's diagnostic server, which also counts as activity
    // of the connection (noted before the tester can see the answer).
    bool send_answer(Bytes frame);

    // Until uncork(), frames wait here unwritten; uncork() writes them together, in one write
    // where the kernel takes them (several frames, one TCP segment).
    void cork();
    void uncork();

    // The I/O thread, when the socket is writable after Need::wait_writable: writes what waits.
    Flushed flush();
    // No new frames; those waiting still go out through flush().
    void stop_accepting();
    // Nothing waits here.
    bool empty() const;
    // Every byte sent (and a FIN after them) was acknowledged by the peer: nothing waits here
    // nor in the kernel's send queue.
    bool delivered() const;
    // Before the caller closes the descriptor: nothing is written from now on.
    void release();

    // The last moment the tester sent a frame or was sent an answer (for its inactivity timer).
    void note_activity(Time_point at) { last_activity_.store(at, std::memory_order_relaxed); }
    Time_point last_activity() const { return last_activity_.load(std::memory_order_relaxed); }

private:
    enum class Written { all, blocked, broken };
    bool send_locked(Bytes frame);
    // Writes what waits unless the kernel has refused before; reports what the I/O thread must do.
    void write_locked();
    Written write_waiting_locked();

    mutable std::mutex mutex_;
    int descriptor_;                   ///< guarded by mutex_; -1 after release()
    const std::size_t max_waiting_;
    const Clock& clock_;
    const Notify notify_;
    std::deque<Bytes> waiting_;        ///< guarded by mutex_; the front may be partly written
    std::size_t front_written_ = 0;    ///< guarded by mutex_; bytes of the front already written
    std::size_t waiting_bytes_ = 0;    ///< guarded by mutex_
    bool accepting_ = true;            ///< guarded by mutex_
    bool blocked_ = false;             ///< guarded by mutex_; the I/O thread waits for writability
    bool corked_ = false;              ///< guarded by mutex_
    std::atomic<Time_point> last_activity_{};
};

}  // namespace zevo::doip

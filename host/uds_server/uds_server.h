#pragma once
// The host's UDS server (ISO 14229-1/-2) between testers and the extensions: sessions with S3,
// P2/P2* with response pending (7F SID 78), the check order of each service against the
// diagnostic description, the suppress bit, functional requests, busy identifiers (0x21), and
// cancellation of a job whose tester is gone or whose host shuts down. One server serves every
// tester: DoIP connections (`serve`) and the command line's synchronous tester (`send`,
// `session`). All members are thread-safe; on_request never blocks (jobs run on the job
// runner's workers, replies come from there and from the clock's thread). A reply function may
// be called on any of these threads, never under a lock of the server's other requests.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "host/job_runner.h"
#include "host/uds_dispatcher.h"
#include "host/uds_server/diagnostic_description.h"
#include "host/uds_server/timer_queue.h"

namespace zevo::host {

struct Uds_server_settings {
    /// P2server: the first 7F SID 78 goes out before it has passed (at 4/5 of it). Default 50 ms.
    std::chrono::milliseconds p2{50};
    /// P2*server: after a 0x78 another follows within every P2* (at 2/5 of it) until the final
    /// answer. Default 5000 ms; sent in 10 ms units in the session's answer.
    std::chrono::milliseconds p2_star{5000};
    /// S3server: a non-default session idle this long (no request, no job running) ends. Default 5000 ms.
    std::chrono::milliseconds s3{5000};
    /// The longest answer the transport carries; a longer 62 answer becomes 7F 22 14. Default 4095.
    std::size_t max_response_size = 4095;
    /// The most DIDs one ReadDataByIdentifier may ask for; more: 7F 22 13. Default 8.
    std::size_t max_read_identifiers = 8;
    /// Where the server's warnings go (an extension that answered 0x78 as its final code).
    std::function<void(const std::string&)> warn;
    /// Where the server's routine events go (a 0x78 sent); called on the thread that sends.
    std::function<void(const std::string&)> note;
};

/// Sends one UDS answer to the tester that asked; false once the tester is gone (the seam's
/// Diagnostic_reply).
using Uds_reply = std::function<bool(std::vector<std::uint8_t> uds)>;

/// How a request ended, after its last answer has been handed to the reply function.
struct Request_end {
    enum class Kind {
        answered,    ///< the final answer went out (`answer`)
        suppressed,  ///< a positive answer the suppress bit withheld
        functional,  ///< a negative answer a functional request does not get (0x11, 0x12, 0x31, 0x7E, 0x7F)
        cancelled,   ///< the host cancelled the job (tester gone, cancel_all, shutdown): nothing sent
    };
    Kind kind = Kind::answered;
    std::vector<std::uint8_t> answer;  ///< the final answer as sent, for `answered`
    std::string job_error;             ///< what a throwing extension call said, if one did
};
using Request_done = std::function<void(const Request_end&)>;

class Uds_server {
public:
    /// Serves through `extensions` (registered before, outliving the server) by `description`,
    /// timing on `timers` (outliving the server).
    Uds_server(const Uds_dispatcher& extensions, Diagnostic_description description, Timer_queue& timers,
               Uds_server_settings settings = {});
    /// Shuts down (see shutdown) and waits until every job has returned.
    ~Uds_server();
    Uds_server(const Uds_server&) = delete;
    Uds_server& operator=(const Uds_server&) = delete;

    /// One request of tester `tester` (a DoIP connection, unique for the server's life) from
    /// logical address `source` (into the jobs' meta_info), to the functional address or not.
    /// Answers through `reply`, zero or more times; then calls `done` once, when given. Never blocks.
    void on_request(std::uint64_t tester, std::uint16_t source, bool functional, std::vector<std::uint8_t> uds,
                    Uds_reply reply, Request_done done = {});

    /// The tester is gone: its running jobs are cancelled through the extensions' cancel and
    /// nothing more is sent to it.
    void on_tester_gone(std::uint64_t tester);

    /// Cancels every running job as the host (nothing is sent for them). Returns their number.
    std::size_t cancel_all();

    /// Refuses every later request (ended as cancelled, nothing sent) and cancels every running job.
    void shutdown();

    /// The active diagnostic session (session::default_session or session::extended_session).
    std::uint8_t active_session() const;

private:
    struct Request;
    struct Session_state;
    struct Decision;

    Decision decide(const std::vector<std::uint8_t>& uds, std::uint16_t source);
    void start_job(const std::shared_ptr<Request>& request, Decision decision);
    void finish(const std::shared_ptr<Request>& request, const Job_runner::Outcome& outcome);
    void end(const std::shared_ptr<Request>& request, const Request_end& end);
    void cancel_requests(const std::vector<std::shared_ptr<Request>>& requests);
    void restart_s3();
    static void send_pending(Timer_queue& timers, const std::shared_ptr<Request>& request,
                             std::chrono::milliseconds next);

    const Uds_dispatcher& extensions_;
    const Diagnostic_description description_;
    Timer_queue& timers_;
    const Uds_server_settings settings_;
    std::shared_ptr<Session_state> session_;  // shared with the S3 timer
    mutable std::mutex mutex_;
    std::map<std::uint64_t, std::shared_ptr<Request>> requests_;  // guarded by mutex_; by request number
    std::uint64_t next_request_ = 1;                               // guarded by mutex_
    bool shut_down_ = false;                                       // guarded by mutex_
    Job_runner jobs_;  // last: its destructor waits for the jobs, which use the members above
};

}  // namespace zevo::host

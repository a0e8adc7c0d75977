#include "host/uds_server/uds_server.h"

#include <optional>
#include <system_error>
#include <utility>

#include "host/hex_bytes.h"
#include "host/negative_response_code.h"
#include "host/uds_protocol.h"

namespace zevo::host {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Code = Negative_response_code;

constexpr std::uint8_t diagnostic_session_control = 0x10;
constexpr std::uint8_t tester_present = 0x3E;
constexpr std::uint8_t service_not_supported_in_active_session = 0x7F;
constexpr std::uint8_t sub_function_not_supported_in_active_session = 0x7E;
constexpr std::uint8_t busy_repeat_request = 0x21;

Bytes negative(std::uint8_t sid, std::uint8_t code) { return {negative_response_sid, sid, code}; }
Bytes negative(std::uint8_t sid, Code code) { return negative(sid, to_byte(code)); }

std::uint16_t identifier_at(const Bytes& uds, std::size_t position) {
    return static_cast<std::uint16_t>(uds[position] << 8 | uds[position + 1]);
}

bool is_negative(const Bytes& answer) { return answer.size() == 3 && answer[0] == negative_response_sid; }

/// ISO 14229-1: the negative answers a server keeps to itself for a functional request.
bool withheld_when_functional(std::uint8_t code) {
    return code == to_byte(Code::service_not_supported) || code == to_byte(Code::sub_function_not_supported) ||
           code == to_byte(Code::request_out_of_range) || code == sub_function_not_supported_in_active_session ||
           code == service_not_supported_in_active_session;
}

}  // namespace

/// The active session and its S3 timer; shared with the timer's callback, which may outlive
/// the server.
struct Uds_server::Session_state {
    std::mutex mutex;
    std::uint8_t session = session::default_session;  // guarded by mutex
    Timer_queue::Timer_id s3_timer = 0;               // guarded by mutex; 0: none
    std::uint64_t generation = 0;                     // guarded by mutex; which S3 timer counts
    std::size_t running_jobs = 0;                     // guarded by mutex; S3 stands still meanwhile
};

/// One request whose job runs. Its mutex serialises its answers: a 0x78 from the clock's thread
/// and the final answer from the job's worker never cross.
struct Uds_server::Request {
    std::uint64_t number = 0;
    std::uint64_t tester = 0;
    std::uint8_t sid = 0;
    bool functional = false;
    bool suppress_positive = false;
    Uds_reply reply;
    Request_done done;
    std::shared_ptr<Uds_response> result;
    std::size_t max_response_size = 0;
    std::function<void(const std::string&)> warn;
    std::function<void(const std::string&)> note;

    std::mutex mutex;
    bool finished = false;            // guarded by mutex: the final answer is decided
    bool pending_sent = false;        // guarded by mutex: a 0x78 went out
    bool cancelled_by_host = false;   // guarded by mutex
    Timer_queue::Timer_id timer = 0;  // guarded by mutex: the next 0x78
    std::optional<Job_runner::Job_id> job;  // guarded by mutex
};

/// What the checks made of a request: an answer at once, or a job.
struct Uds_server::Decision {
    std::optional<Bytes> answer;  ///< set: answered without a job; empty bytes: no answer (suppressed)
    Prepared_request prepared;    ///< otherwise the job
};

Uds_server::Uds_server(const Uds_dispatcher& extensions, Diagnostic_description description, Timer_queue& timers,
                       Uds_server_settings settings)
    : extensions_(extensions),
      description_(std::move(description)),
      timers_(timers),
      settings_(std::move(settings)),
      session_(std::make_shared<Session_state>()),
      jobs_(timers) {}

Uds_server::~Uds_server() {
    shutdown();
    jobs_.wait_idle();
    const std::lock_guard<std::mutex> lock(session_->mutex);
    if (session_->s3_timer != 0) timers_.cancel(session_->s3_timer);
}

std::uint8_t Uds_server::active_session() const {
    const std::lock_guard<std::mutex> lock(session_->mutex);
    return session_->session;
}

void Uds_server::restart_s3() {
    const std::lock_guard<std::mutex> lock(session_->mutex);
    if (session_->s3_timer != 0) timers_.cancel(session_->s3_timer);
    session_->s3_timer = 0;
    ++session_->generation;
    if (session_->session == session::default_session) return;
    session_->s3_timer = timers_.schedule_after(
        settings_.s3, [weak = std::weak_ptr<Session_state>(session_), generation = session_->generation] {
            const std::shared_ptr<Session_state> state = weak.lock();
            if (!state) return;
            const std::lock_guard<std::mutex> expired(state->mutex);
            // S3 counts only while the server is idle; the end of the last job starts it again.
            if (state->generation != generation || state->running_jobs != 0) return;
            state->session = session::default_session;  // S3 expired: back to the default session
            state->s3_timer = 0;
        });
}

Uds_server::Decision Uds_server::decide(const Bytes& uds, std::uint16_t source) {
    Decision decision;
    const auto answer = [&decision](Bytes bytes) -> Decision& {
        decision.answer = std::move(bytes);
        return decision;
    };
    if (uds.empty()) return answer(negative(0x00, Code::incorrect_message_length_or_invalid_format));
    const std::uint8_t sid = uds[0];
    const std::uint8_t active = active_session();
    const bool suppress = uds.size() >= 2 && (uds[1] & suppress_positive_response_bit) != 0;
    const auto positive = [&](Bytes bytes) -> Decision& { return answer(suppress ? Bytes{} : std::move(bytes)); };

    switch (sid) {
        case diagnostic_session_control: {
            // Sub-function service: length >= 2, sub-function supported (01, 03), reachable from
            // the active session (both are from both), then the exact length.
            if (uds.size() < 2) return answer(negative(sid, Code::incorrect_message_length_or_invalid_format));
            const auto requested = static_cast<std::uint8_t>(uds[1] & ~suppress_positive_response_bit);
            if (requested != session::default_session && requested != session::extended_session) {
                return answer(negative(sid, Code::sub_function_not_supported));
            }
            if (uds.size() != 2) return answer(negative(sid, Code::incorrect_message_length_or_invalid_format));
            {
                const std::lock_guard<std::mutex> lock(session_->mutex);
                session_->session = requested;
            }
            restart_s3();
            // P2 in 1 ms units, P2* in 10 ms units, big-endian.
            const auto p2 = static_cast<unsigned>(settings_.p2.count());
            const auto p2_star = static_cast<unsigned>(settings_.p2_star.count() / 10);
            return positive({static_cast<std::uint8_t>(sid | positive_response_offset), requested,
                             static_cast<std::uint8_t>(p2 >> 8), static_cast<std::uint8_t>(p2 & 0xFF),
                             static_cast<std::uint8_t>(p2_star >> 8), static_cast<std::uint8_t>(p2_star & 0xFF)});
        }
        case tester_present: {
            if (uds.size() < 2) return answer(negative(sid, Code::incorrect_message_length_or_invalid_format));
            if ((uds[1] & ~suppress_positive_response_bit) != 0) {
                return answer(negative(sid, Code::sub_function_not_supported));
            }
            if (uds.size() != 2) return answer(negative(sid, Code::incorrect_message_length_or_invalid_format));
            return positive({static_cast<std::uint8_t>(sid | positive_response_offset), 0x00});
        }
        case to_byte(Service_id::read_data_by_identifier): {
            if (uds.size() < 3 || (uds.size() - 1) % 2 != 0 || (uds.size() - 1) / 2 > settings_.max_read_identifiers) {
                return answer(negative(sid, Code::incorrect_message_length_or_invalid_format));
            }
            // DIDs not readable in the active session are skipped; none left: 0x31.
            Bytes readable{sid};
            for (std::size_t position = 1; position < uds.size(); position += 2) {
                const auto rule = description_.data_identifiers.find(identifier_at(uds, position));
                if (rule == description_.data_identifiers.end() || rule->second.read_sessions.count(active) == 0) {
                    continue;
                }
                readable.insert(readable.end(), {uds[position], uds[position + 1]});
            }
            if (readable.size() == 1) return answer(negative(sid, Code::request_out_of_range));
            decision.prepared = extensions_.prepare(readable, source);
            break;
        }
        case to_byte(Service_id::write_data_by_identifier): {
            if (uds.size() < 4) return answer(negative(sid, Code::incorrect_message_length_or_invalid_format));
            const auto rule = description_.data_identifiers.find(identifier_at(uds, 1));
            if (rule == description_.data_identifiers.end() || rule->second.write_sessions.count(active) == 0) {
                return answer(negative(sid, Code::request_out_of_range));
            }
            if (rule->second.write_length && uds.size() - 3 != *rule->second.write_length) {
                return answer(negative(sid, Code::incorrect_message_length_or_invalid_format));
            }
            decision.prepared = extensions_.prepare(uds, source);
            break;
        }
        case to_byte(Service_id::routine_control): {
            // RoutineControl checks its length and identifier before the sub-function.
            if (uds.size() < 4) return answer(negative(sid, Code::incorrect_message_length_or_invalid_format));
            const auto rule = description_.routines.find(identifier_at(uds, 2));
            if (rule == description_.routines.end() || rule->second.sessions.count(active) == 0) {
                return answer(negative(sid, Code::request_out_of_range));
            }
            const auto type = static_cast<std::uint8_t>(uds[1] & ~suppress_positive_response_bit);
            if (rule->second.sub_functions.count(type) == 0) {
                return answer(negative(sid, Code::sub_function_not_supported));
            }
            const auto length = rule->second.option_length.find(type);
            if (length != rule->second.option_length.end() && uds.size() - 4 != length->second) {
                return answer(negative(sid, Code::incorrect_message_length_or_invalid_format));
            }
            decision.prepared = extensions_.prepare(uds, source);
            break;
        }
        default: return answer(negative(sid, Code::service_not_supported));
    }
    if (decision.prepared.answer) return answer(std::move(decision.prepared.answer->bytes));
    return decision;
}

void Uds_server::on_request(std::uint64_t tester, std::uint16_t source, bool functional, Bytes uds, Uds_reply reply,
                            Request_done done) {
    const auto finish_at_once = [&](Request_end end) {
        if (done) done(end);
    };
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (shut_down_) return finish_at_once({Request_end::Kind::cancelled, {}, {}});
    }
    restart_s3();  // every request restarts S3
    Decision decision = decide(uds, source);
    if (decision.answer) {
        Bytes& bytes = *decision.answer;
        if (bytes.empty()) return finish_at_once({Request_end::Kind::suppressed, {}, {}});
        if (functional && is_negative(bytes) && withheld_when_functional(bytes[2])) {
            return finish_at_once({Request_end::Kind::functional, {}, {}});
        }
        reply(bytes);
        return finish_at_once({Request_end::Kind::answered, std::move(bytes), {}});
    }

    auto request = std::make_shared<Request>();
    request->tester = tester;
    request->sid = uds[0];
    request->functional = functional;
    request->suppress_positive = decision.prepared.suppress_positive ||
                                 (uds[0] == to_byte(Service_id::routine_control) &&
                                  (uds[1] & suppress_positive_response_bit) != 0);
    request->reply = std::move(reply);
    request->done = std::move(done);
    request->result = decision.prepared.result;
    request->max_response_size = settings_.max_response_size;
    request->warn = settings_.warn;
    request->note = settings_.note;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (shut_down_) return end(request, {Request_end::Kind::cancelled, {}, {}});
        request->number = next_request_++;
        requests_.emplace(request->number, request);
    }
    start_job(request, std::move(decision));
}

void Uds_server::start_job(const std::shared_ptr<Request>& request, Decision decision) {
    std::unique_lock<std::mutex> lock(request->mutex);
    if (request->cancelled_by_host) {
        lock.unlock();
        return end(request, {Request_end::Kind::cancelled, {}, {}});
    }
    // The first 0x78 is timed from the request: its timer exists before the job can run, and
    // fires only once this function has let go of the request.
    const auto first = settings_.p2 * 4 / 5;
    const auto repeat = settings_.p2_star * 2 / 5;
    request->timer = timers_.schedule_after(first, [&timers = timers_, weak = std::weak_ptr<Request>(request), repeat] {
        if (const std::shared_ptr<Request> held = weak.lock()) send_pending(timers, held, repeat);
    });
    std::optional<Job_runner::Job_id> job;
    try {
        job = jobs_.start(std::move(decision.prepared.keys), std::move(decision.prepared.job),
                          std::move(decision.prepared.cancel),
                          [this, request](const Job_runner::Outcome& outcome) { finish(request, outcome); });
    } catch (const Job_refused&) {
        timers_.cancel(request->timer);
        lock.unlock();
        return end(request, {Request_end::Kind::cancelled, {}, {}});
    } catch (const std::system_error& error) {  // no worker thread could be started
        timers_.cancel(request->timer);
        request->finished = true;
        const Bytes refused = negative(request->sid, Code::general_reject);
        request->reply(refused);
        lock.unlock();
        return end(request, {Request_end::Kind::answered, refused, error.what()});
    }
    if (!job) {  // another request's job uses the identifier
        timers_.cancel(request->timer);
        request->finished = true;
        const Bytes busy = negative(request->sid, busy_repeat_request);
        request->reply(busy);
        lock.unlock();
        return end(request, {Request_end::Kind::answered, busy, {}});
    }
    request->job = job;
    const std::lock_guard<std::mutex> session_lock(session_->mutex);
    ++session_->running_jobs;
}

void Uds_server::send_pending(Timer_queue& timers, const std::shared_ptr<Request>& request,
                              std::chrono::milliseconds next) {
    const std::lock_guard<std::mutex> lock(request->mutex);
    if (request->finished || request->cancelled_by_host) return;
    request->pending_sent = true;
    request->reply(negative(request->sid, Code::response_pending));
    if (request->note) {
        request->note("7F " + format_hex_bytes({request->sid}) + " 78 sent: the job has not answered yet");
    }
    request->timer = timers.schedule_after(next, [&timers, weak = std::weak_ptr<Request>(request), next] {
        if (const std::shared_ptr<Request> held = weak.lock()) send_pending(timers, held, next);
    });
}

void Uds_server::finish(const std::shared_ptr<Request>& request, const Job_runner::Outcome& outcome) {
    Request_end result;
    {
        const std::lock_guard<std::mutex> lock(request->mutex);
        request->finished = true;
        if (request->timer != 0) timers_.cancel(request->timer);
        // A job the host cancelled returns 0 with no data: it never becomes a positive answer.
        if (request->cancelled_by_host || outcome.cancelled) {
            result.kind = Request_end::Kind::cancelled;
        } else {
            Uds_response response = *request->result;
            result.job_error = response.job_error;
            Bytes answer = std::move(response.bytes);
            if (is_negative(answer) && answer[2] == to_byte(Code::response_pending)) {
                // 0x78 is no final answer: the extension has not answered.
                if (request->warn) {
                    request->warn("an extension answered " + format_hex_bytes(answer) +
                                  " as its final code; sent generalReject instead");
                }
                answer[2] = to_byte(Code::general_reject);
            }
            if (!is_negative(answer) && request->sid == to_byte(Service_id::read_data_by_identifier) &&
                answer.size() > request->max_response_size) {
                answer = negative(request->sid, Code::response_too_long);
            }
            if (is_negative(answer)) {
                if (request->functional && !request->pending_sent && withheld_when_functional(answer[2])) {
                    result.kind = Request_end::Kind::functional;
                }
            } else if (request->suppress_positive && !request->pending_sent) {
                result.kind = Request_end::Kind::suppressed;  // after a 0x78 the final answer always follows
            }
            if (result.kind == Request_end::Kind::answered) {
                request->reply(answer);
                result.answer = std::move(answer);
            }
        }
    }
    {
        const std::lock_guard<std::mutex> session_lock(session_->mutex);
        --session_->running_jobs;
    }
    restart_s3();
    end(request, result);
}

void Uds_server::end(const std::shared_ptr<Request>& request, const Request_end& end) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        requests_.erase(request->number);
    }
    if (request->done) request->done(end);
}

void Uds_server::cancel_requests(const std::vector<std::shared_ptr<Request>>& requests) {
    for (const std::shared_ptr<Request>& request : requests) {
        std::optional<Job_runner::Job_id> job;
        {
            const std::lock_guard<std::mutex> lock(request->mutex);
            if (request->finished) continue;
            request->cancelled_by_host = true;
            if (request->timer != 0) timers_.cancel(request->timer);
            job = request->job;
        }
        if (job) jobs_.cancel(*job);
    }
}

void Uds_server::on_tester_gone(std::uint64_t tester) {
    std::vector<std::shared_ptr<Request>> gone;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        for (const auto& [number, request] : requests_) {
            if (request->tester == tester) gone.push_back(request);
        }
    }
    cancel_requests(gone);
}

std::size_t Uds_server::cancel_all() {
    std::vector<std::shared_ptr<Request>> running;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        for (const auto& [number, request] : requests_) running.push_back(request);
    }
    cancel_requests(running);
    return running.size();
}

void Uds_server::shutdown() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        shut_down_ = true;
    }
    jobs_.interrupt();
    cancel_all();
}

}  // namespace zevo::host

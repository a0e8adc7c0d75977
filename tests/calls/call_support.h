#pragma once
// What the end-to-end call tests build on: a service offered in-process with a provider that
// records each call and answers as the test says, a log backend for many threads, and a port on
// the offer whose logger the test chooses. Providers run on runtime threads; every wait is bounded.

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "kel/com/runtime/method_call.h"
#include "kel/com/runtime/serialized_payload.h"
#include "kel/com/runtime/service_handle.h"
#include "proxy/future.h"
#include "ruv/com/cpp_binding/proxy/rport.h"
#include "ruv/com/local/provider_registry.h"
#include "ruv/com/log/generic_logger.h"
#include "ruv/com/log/log_backend.h"
#include "ruv/com/runtime/runtime.h"

namespace zevo::test::calls {

using Bytes = std::vector<std::uint8_t>;
using Meta_info = std::map<std::string, std::string>;

/// Far above any honest wait for another thread, also under the sanitizers.
inline constexpr std::chrono::seconds wait_bound{10};

/// The request timeout of the tests about the runtime's own 0x86.
inline constexpr std::chrono::milliseconds short_request_timeout{50};

// --- meta_info as a host passes it, and its block on the wire ---

inline Meta_info host_meta_info() { return {{"tester", "0E80"}, {"sid", "22"}}; }

/// Entries in byte order of the keys: "sid" (13 bytes), then "tester" (18 bytes).
inline Bytes host_meta_info_block() {
    return {0x00, 0x00, 0x00, 0x1F,                                                  // 13 + 18
            0x00, 0x00, 0x00, 0x03, 's', 'i', 'd', 0x00, 0x00, 0x00, 0x02, '2', '2',  // "sid" -> "22"
            0x00, 0x00, 0x00, 0x06, 't', 'e', 's', 't', 'e', 'r',                     // "tester"
            0x00, 0x00, 0x00, 0x04, '0', 'E', '8', '0'};                              // -> "0E80"
}

// --- the log ---

struct Trace_line {
    unsigned char level;
    std::string text;
};

/// A Log_backend that any thread may use: the level test answers "enabled" up to `max_level`,
/// and every line is kept with its level, in the order the writes came.
class Locked_log_backend : public ruv::com::log::Log_backend {
public:
    explicit Locked_log_backend(unsigned char max_level) : max_level_(max_level) {}

    bool is_log_enabled(unsigned char level) override {
        std::lock_guard<std::mutex> lock(mutex_);
        ++level_tests_;
        return level <= max_level_;
    }

    void log(std::string const& text, unsigned char level) override {
        std::lock_guard<std::mutex> lock(mutex_);
        lines_.push_back({level, text});
        written_.notify_all();
    }

    std::vector<Trace_line> lines() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return lines_;
    }

    std::size_t level_tests() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return level_tests_;
    }

    /// True once `count` lines are there; false when they are not within wait_bound.
    bool wait_for_lines(std::size_t count) const {
        std::unique_lock<std::mutex> lock(mutex_);
        return written_.wait_for(lock, wait_bound, [&] { return lines_.size() >= count; });
    }

private:
    mutable std::mutex mutex_;
    mutable std::condition_variable written_;
    unsigned char max_level_;
    std::size_t level_tests_ = 0;  ///< guarded by mutex_
    std::vector<Trace_line> lines_;  ///< guarded by mutex_
};

/// A logger as the platform's: the backend and the Generic_logger over it. Response handlers
/// keep a reference to the logger, so it must outlive every call made through ports that use it.
struct Test_logger {
    explicit Test_logger(unsigned char max_level) : backend(max_level) {}
    Test_logger(const Test_logger&) = delete;
    Test_logger& operator=(const Test_logger&) = delete;

    Locked_log_backend backend;
    ruv::com::log::Generic_logger logger{"ara::com", &backend};
};

/// Debug (5) and everything below it on.
inline constexpr unsigned char debug_level = 5;
/// Info (4) and below on: method traffic is not written, failures are.
inline constexpr unsigned char info_level = 4;
/// Nothing on.
inline constexpr unsigned char logging_off = 0;

// --- the provider ---

struct Received_call {
    std::uint16_t method_id = 0;
    Bytes request;
    ruv::com::local::Reply reply{nullptr};  ///< without state when the call was answered at once
};

struct Answer {
    std::uint8_t code = 0;
    Bytes payload;
};

/// A local provider under the test's control. By default it keeps every call with its Reply for
/// the test to answer; it can instead answer every call at once, or drop every call (its Reply
/// goes unanswered when the provider returns). Every call is recorded either way.
class Test_provider {
public:
    using Responder = std::function<Answer(std::uint16_t method_id, const Bytes& request)>;

    ruv::com::local::Call_handler handler() {
        return [this](std::uint16_t method_id, Bytes request, ruv::com::local::Reply reply) {
            receive(method_id, std::move(request), std::move(reply));
        };
    }

    void keep_calls() { set(Mode::keep, nullptr); }
    void drop_calls() { set(Mode::drop, nullptr); }
    void answer_at_once(Responder responder) { set(Mode::answer, std::move(responder)); }
    void answer_every_call(std::uint8_t code, Bytes payload = {}) {
        answer_at_once([code, payload](std::uint16_t, const Bytes&) { return Answer{code, payload}; });
    }

    /// The oldest call not taken yet, waiting up to wait_bound for it.
    std::optional<Received_call> next() {
        std::unique_lock<std::mutex> lock(mutex_);
        if (!arrived_.wait_for(lock, wait_bound, [this] { return !calls_.empty(); })) {
            return std::nullopt;
        }
        Received_call call = std::move(calls_.front());
        calls_.pop_front();
        return call;
    }

    /// How many calls reached the provider so far.
    std::size_t received() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return received_;
    }

private:
    enum class Mode { keep, answer, drop };

    void set(Mode mode, Responder responder) {
        std::lock_guard<std::mutex> lock(mutex_);
        mode_ = mode;
        responder_ = std::move(responder);
    }

    void receive(std::uint16_t method_id, Bytes request, ruv::com::local::Reply reply) {
        std::unique_lock<std::mutex> lock(mutex_);
        const Mode mode = mode_;
        const Responder responder = responder_;
        ++received_;
        if (mode == Mode::keep) {
            calls_.push_back(Received_call{method_id, std::move(request), std::move(reply)});
            arrived_.notify_all();
            return;
        }
        calls_.push_back(Received_call{method_id, request, ruv::com::local::Reply{nullptr}});
        arrived_.notify_all();
        lock.unlock();
        if (mode == Mode::answer) {
            Answer answer = responder(method_id, request);
            reply.answer(answer.code, std::move(answer.payload));
        }
    }  // a dropped call's Reply goes here unanswered

    mutable std::mutex mutex_;
    std::condition_variable arrived_;
    Mode mode_ = Mode::keep;                  ///< guarded by mutex_
    Responder responder_;                     ///< guarded by mutex_
    std::deque<Received_call> calls_;         ///< guarded by mutex_
    std::size_t received_ = 0;                ///< guarded by mutex_
};

/// One service offered under `interface_name` and instance "1" on a runtime of its own, with
/// the test's provider behind it. The runtime's threads are joined before anything else goes.
class Offered_service {
public:
    /// `runtime_options` chooses the runtime's threads: with one worker, calls reach the
    /// provider in the order they were made.
    explicit Offered_service(std::string interface_name,
                             std::chrono::milliseconds request_timeout = std::chrono::seconds{10},
                             ruv::com::runtime::Runtime_options runtime_options = {})
        : name(std::move(interface_name)),
          runtime(std::make_shared<ruv::com::runtime::Runtime>(runtime_options)),
          registry(ruv::com::local::Registry_options{request_timeout, runtime}),
          offer(registry.offer(name, "1", provider.handler())) {}

    ~Offered_service() {
        offer.withdraw();
        runtime->shutdown();
    }

    Offered_service(const Offered_service&) = delete;
    Offered_service& operator=(const Offered_service&) = delete;

    /// Withdraws the present offer and offers the service anew, with a new service record.
    void offer_again() { offer = registry.offer(name, "1", provider.handler()); }

    /// Sets the service state that ports read before each call (2 is available).
    void set_state(std::uint8_t state) { offer.record()->state.store(state, std::memory_order_release); }

    std::string name;
    std::shared_ptr<ruv::com::runtime::Runtime> runtime;
    ruv::com::local::Provider_registry registry;
    Test_provider provider;  ///< outlives the offer, which may call it until withdrawn
    ruv::com::local::Offer offer;
};

/// A port attached to an offer, as the platform's would be, but writing to the test's logger.
/// It also keeps a copy of every response handler until it is destroyed, and with it a
/// reference to each call's promise: the promise, and an exception it holds, are then released
/// by the thread that destroys the port, after the test has read them. ThreadSanitizer cannot
/// see libstdc++'s reference count of an exception, and reports a runtime thread that frees one
/// after the test has read it as a race; with the copies kept that never happens.
class Traced_port : public ruv::com::cpp_binding::proxy::Rport {
public:
    Traced_port(const ruv::com::local::Offer& offer, Test_logger& test_logger)
        : Rport({offer.handle().service_id(), offer.handle().instance_id()}, offer.record()) {
        logger = &test_logger.logger;
    }

    kel::com::Future<std::shared_ptr<kel::com::runtime::Method_call>> call_method(
        std::uint16_t method_id, kel::com::runtime::Serialized_payload payload, Response_handler handler) override {
        {
            std::lock_guard<std::mutex> lock(kept_mutex_);
            kept_handlers_.push_back(handler);
        }
        return Rport::call_method(method_id, std::move(payload), std::move(handler));
    }

private:
    std::mutex kept_mutex_;
    std::vector<Response_handler> kept_handlers_;  ///< guarded by kept_mutex_
};

}  // namespace zevo::test::calls

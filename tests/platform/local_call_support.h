#pragma once
// Support for the tests of the local binding: a response handler that reports its one call and
// its destruction through futures, an inbox that collects what a provider receives, and the
// small pieces every test builds (payloads, ports). Every wait is bounded; nothing sleeps.

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "kel/com/runtime/serialized_payload.h"
#include "ruv/com/connector/service_interface_description.h"
#include "ruv/com/cpp_binding/proxy/rport.h"
#include "ruv/com/local/provider_registry.h"
#include "ruv/com/runtime/service_binding.h"

namespace zevo::test {

/// Long enough never to be reached by a working runtime, short enough to end a broken test.
inline constexpr std::chrono::seconds bound{10};

template <class T>
bool ready(std::future<T>& future, std::chrono::milliseconds within = bound) {
    return future.wait_for(within) == std::future_status::ready;
}

template <class T>
bool not_ready_now(std::future<T>& future) {
    return future.wait_for(std::chrono::seconds{0}) != std::future_status::ready;
}

inline kel::com::runtime::Serialized_payload payload_of(std::vector<std::uint8_t> bytes) {
    kel::com::runtime::Serialized_payload payload;
    payload.buffer = std::make_shared<std::vector<std::uint8_t>>(std::move(bytes));
    payload.begin = payload.buffer->data();
    payload.end = payload.begin + payload.buffer->size();
    return payload;
}

inline std::vector<std::uint8_t> bytes_of(const kel::com::runtime::Serialized_payload& payload) {
    if (payload.begin == nullptr) {
        return {};
    }
    return {payload.begin, payload.end};
}

/// What a response handler was called with, and where.
struct Response {
    unsigned char code = 0;
    std::vector<std::uint8_t> bytes;
    std::uint32_t header_word = 0;
    std::thread::id thread;
};

/// One handler per probe: `response` is ready when it is called, `destroyed` when its last copy
/// is gone (called or not); `calls` counts the calls.
class Handler_probe {
public:
    Handler_probe() {
        auto state = std::make_shared<State>();
        response = state->called.get_future();
        destroyed = state->gone.get_future();
        calls = state->calls;
        state_ = state;
    }

    /// The handler; take it once.
    ruv::com::runtime::Service_binding::Response_handler handler() {
        auto state = std::move(state_);
        return [state](unsigned char code, kel::com::runtime::Serialized_payload payload) {
            if (state->calls->fetch_add(1) == 0) {
                state->called.set_value(
                    Response{code, bytes_of(payload), payload.header_word, std::this_thread::get_id()});
            }
        };
    }

    std::future<Response> response;
    std::future<void> destroyed;
    std::shared_ptr<std::atomic<int>> calls;

private:
    struct State {
        ~State() {
            // An uncalled handler breaks `called` before telling that it has gone, so that a
            // test reads the broken promise only after this thread is done with it.
            { const std::promise<Response> broken = std::move(called); }
            gone.set_value();
        }
        std::promise<Response> called;
        std::promise<void> gone;
        std::shared_ptr<std::atomic<int>> calls = std::make_shared<std::atomic<int>>(0);
    };
    std::shared_ptr<State> state_;
};

/// One call as a provider received it.
struct Received_call {
    std::uint16_t method_id = 0;
    std::vector<std::uint8_t> request;
    ruv::com::local::Reply reply{nullptr};
    std::thread::id thread;
};

/// A provider that keeps every call for the test to answer.
class Call_inbox {
public:
    ruv::com::local::Call_handler handler() {
        return [this](std::uint16_t method_id, std::vector<std::uint8_t> request,
                      ruv::com::local::Reply reply) {
            std::lock_guard<std::mutex> lock(mutex_);
            calls_.push_back(Received_call{method_id, std::move(request), std::move(reply),
                                           std::this_thread::get_id()});
            arrived_.notify_all();
        };
    }

    /// The oldest call not taken yet, waiting up to `bound` for it.
    std::optional<Received_call> next() {
        std::unique_lock<std::mutex> lock(mutex_);
        if (!arrived_.wait_for(lock, bound, [this] { return !calls_.empty(); })) {
            return std::nullopt;
        }
        Received_call call = std::move(calls_.front());
        calls_.pop_front();
        return call;
    }

private:
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::deque<Received_call> calls_;
};

inline std::unique_ptr<ruv::com::cpp_binding::proxy::Rport> port_of(const ruv::com::local::Offer& offer) {
    return std::make_unique<ruv::com::cpp_binding::proxy::Rport>(
        offer.handle(), ruv::com::connector::Service_interface_description{0, 0, 3, 0});
}

inline constexpr char routine_name[] = "talm::services::diag::r_0648::RoutineService_ZevoDebug";
inline constexpr char data_name[] = "talm::services::diag::d_2c56::DataIdentifier_ZevoTrainingCounter";

}  // namespace zevo::test

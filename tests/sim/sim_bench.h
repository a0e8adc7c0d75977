#pragma once
// What the simulator tests build on: the simulator offered on a provider registry and runtime of
// the test's own, ports that call its services through the local binding as a plug-in's proxy
// would, and probes that report each call's answer or the destruction of its handler. Calls
// are made on the test's thread; answers come on runtime threads. Every wait is bounded.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "bindings/d_2c55/DataIdentifier_ZevoZevovin.h"
#include "bindings/d_2c56/DataIdentifier_ZevoTrainingCounter.h"
#include "bindings/d_2c57/DataIdentifier_ZevoMissingKeyHistory.h"
#include "bindings/d_2c60/DataIdentifier_ZevoKeyList.h"
#include "bindings/r_0648/RoutineService_ZevoDebug.h"
#include "bindings/r_c00a/RoutineService_ZevoHandleDownloadcontainer.h"
#include "bindings/r_c00b/RoutineService_ZevoCheckVerificationHash.h"
#include "bindings/r_c00c/RoutineService_ZevoGetIdentityHash.h"
#include "bindings/r_c00d/RoutineService_ZevoGetPssHash.h"
#include "bindings/r_c00f/RoutineService_ZevoGetState.h"
#include "kel/com/runtime/serialized_payload.h"
#include "ruv/com/connector/service_interface_description.h"
#include "ruv/com/cpp_binding/proxy/rport.h"
#include "ruv/com/local/provider_registry.h"
#include "ruv/com/runtime/runtime.h"
#include "sim/key_simulator.h"
#include "someip/method_payload.h"

namespace zevo::test::sim {

namespace diag = talm::services::diag;
using Bytes = std::vector<std::uint8_t>;
using Meta_info = std::map<std::string, std::string>;

using Zevovin = diag::d_2c55::DataIdentifier_ZevoZevovin;
using Training_counter = diag::d_2c56::DataIdentifier_ZevoTrainingCounter;
using Missing_key_history = diag::d_2c57::DataIdentifier_ZevoMissingKeyHistory;
using Key_list = diag::d_2c60::DataIdentifier_ZevoKeyList;
using Debug = diag::r_0648::RoutineService_ZevoDebug;
using Download_container = diag::r_c00a::RoutineService_ZevoHandleDownloadcontainer;
using Verification_hash = diag::r_c00b::RoutineService_ZevoCheckVerificationHash;
using Identity_hash = diag::r_c00c::RoutineService_ZevoGetIdentityHash;
using Pss_hash = diag::r_c00d::RoutineService_ZevoGetPssHash;
using Get_state = diag::r_c00f::RoutineService_ZevoGetState;

/// Far above any honest wait for another thread, also under the sanitizers.
inline constexpr std::chrono::seconds bound{10};

inline Meta_info tester_meta_info() { return {{"identifier", "0x2C56"}, {"tester_address", "0x0E80"}}; }

struct Response {
    unsigned char code = 0;
    Bytes bytes;
};

/// One call's outcome as its response handler sees it: called once, or destroyed uncalled.
class Call_probe {
public:
    Call_probe() : state_(std::make_shared<State>()) {}

    /// The handler to give the port; take it once.
    ruv::com::runtime::Service_binding::Response_handler handler() {
        auto guard = std::make_shared<Guard>(state_);
        return [guard](unsigned char code, kel::com::runtime::Serialized_payload payload) {
            Bytes bytes = payload.begin == nullptr ? Bytes{} : Bytes(payload.begin, payload.end);
            const std::lock_guard<std::mutex> lock(guard->state->mutex);
            guard->state->response = Response{code, std::move(bytes)};
            guard->state->changed.notify_all();
        };
    }

    /// The response once there; nothing when the handler went uncalled or `within` passed.
    std::optional<Response> response(std::chrono::milliseconds within = bound) const {
        std::unique_lock<std::mutex> lock(state_->mutex);
        state_->changed.wait_for(lock, within, [this] { return state_->response || state_->handler_gone; });
        return state_->response;
    }

    /// True once the handler is gone without having been called, within `within`.
    bool dropped(std::chrono::milliseconds within = bound) const {
        std::unique_lock<std::mutex> lock(state_->mutex);
        state_->changed.wait_for(lock, within, [this] { return state_->handler_gone; });
        return state_->handler_gone && !state_->response;
    }

    /// True while no response has come (a look, no wait).
    bool unanswered() const {
        const std::lock_guard<std::mutex> lock(state_->mutex);
        return !state_->response;
    }

private:
    struct State {
        std::mutex mutex;
        std::condition_variable changed;
        std::optional<Response> response;  ///< guarded by mutex
        bool handler_gone = false;         ///< guarded by mutex
    };
    /// Lives as long as the handler's last copy.
    struct Guard {
        explicit Guard(std::shared_ptr<State> shared) : state(std::move(shared)) {}
        ~Guard() {
            const std::lock_guard<std::mutex> lock(state->mutex);
            state->handler_gone = true;
            state->changed.notify_all();
        }
        std::shared_ptr<State> state;
    };
    std::shared_ptr<State> state_;
};

/// The simulator under test, offered on a runtime and registry of its own.
class Sim_bench {
public:
    explicit Sim_bench(zevo::sim::Scenario scenario = {}, zevo::sim::Sim_clock clock = {},
                       std::chrono::milliseconds request_timeout = std::chrono::seconds{10})
        : runtime(std::make_shared<ruv::com::runtime::Runtime>()),
          registry(ruv::com::local::Registry_options{request_timeout, runtime}),
          simulator(std::make_unique<zevo::sim::Key_simulator>(
              registry, zevo::sim::Simulator_options{"1", std::move(scenario)}, std::move(clock))) {
        simulator->offer_all();
    }

    ~Sim_bench() {
        simulator.reset();
        runtime->shutdown();
    }

    Sim_bench(const Sim_bench&) = delete;
    Sim_bench& operator=(const Sim_bench&) = delete;

    /// A port on the service offered now under `identifier`; null when none is.
    std::unique_ptr<ruv::com::cpp_binding::proxy::Rport> port(std::uint16_t identifier) const {
        const auto handles = registry.find(zevo::sim::interface_name_of(identifier), "1");
        if (handles.empty()) return nullptr;
        return std::make_unique<ruv::com::cpp_binding::proxy::Rport>(
            handles.front(), ruv::com::connector::Service_interface_description{0, 0, 3, 0});
    }

    /// Sends `request` to `method_id` through `port`; the probe reports the outcome.
    static Call_probe send(ruv::com::cpp_binding::proxy::Rport& port, std::uint16_t method_id, Bytes request) {
        Call_probe probe;
        kel::com::runtime::Serialized_payload payload;
        payload.buffer = std::make_shared<Bytes>(std::move(request));
        payload.begin = payload.buffer->data();
        payload.end = payload.begin + payload.buffer->size();
        port.call_method(method_id, std::move(payload), probe.handler());
        return probe;
    }

    /// Sends a call of `Method` with the tester's meta_info and `arguments` to the service
    /// offered now under `identifier`.
    template <class Method, class... Arguments>
    Call_probe send(std::uint16_t identifier, const Arguments&... arguments) const {
        const auto service = port(identifier);
        if (!service) {
            ADD_FAILURE() << "nothing offered under " << identifier;
            return Call_probe{};
        }
        return send(*service, Method::method_id,
                    ruv::com::someip::serialization::request_payload<Method>(tester_meta_info(), arguments...));
    }

    /// send, and its response (a failed expectation and code 0xEE when none comes).
    template <class Method, class... Arguments>
    Response call(std::uint16_t identifier, const Arguments&... arguments) const {
        const std::optional<Response> response = send<Method>(identifier, arguments...).response();
        if (!response) {
            ADD_FAILURE() << "no response from " << identifier << " method " << Method::method_id;
            return Response{0xEE, {}};
        }
        return *response;
    }

    std::shared_ptr<ruv::com::runtime::Runtime> runtime;
    ruv::com::local::Provider_registry registry;
    std::unique_ptr<zevo::sim::Key_simulator> simulator;
};

/// The Output of a positive response.
template <class Output>
Output output_of(const Response& response) {
    return ruv::com::someip::serialization::read_output<Output>(response.bytes);
}

}  // namespace zevo::test::sim

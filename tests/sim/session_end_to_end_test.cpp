// The default session against the real plug-in: the ten extension classes of the plug-in's
// static core, each with a proxy on the simulator's service (attached from the registry, as
// discovery would attach it), served by the host's UDS dispatcher. Every step must get exactly
// the response default_session() expects. Cancel, withdraw and offer are done here the way the
// host's session runner does them; every wait is bounded.

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <set>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "extension/proxy_guard.h"
#include "extension/served_extensions.h"
#include "host/uds_dispatcher.h"
#include "proxy/proxy_handle.h"
#include "ruv/com/local/provider_registry.h"
#include "ruv/com/runtime/runtime.h"
#include "sim/key_simulator.h"
#include "sim/session_plan.h"

namespace {

namespace diag = talm::services::diag;
using zevo::sim::Session_step;
using Bytes = std::vector<std::uint8_t>;

constexpr std::chrono::seconds bound{10};

/// An extension class with its proxy in reach, attached to a service without discovery.
template <class Class>
struct Attached : Class {
    using Class::proxy_;
    using Proxy = std::remove_pointer_t<decltype(Attached::proxy_)>;

    void attach_to(const kel::com::runtime::Service_handle& handle) {
        Proxy* fresh = new Proxy(ruv::com::cpp_binding::proxy::Proxy_handle(handle));
        delete ruv::dm::foundation::extension::swap_proxy(this->proxy_, fresh);
    }
};

using Extensions = std::tuple<Attached<diag::d_2c55::DataIdentifier_ZevoZevovin_extension>,
                              Attached<diag::d_2c56::DataIdentifier_ZevoTrainingCounter_extension>,
                              Attached<diag::d_2c57::DataIdentifier_ZevoMissingKeyHistory_extension>,
                              Attached<diag::d_2c60::DataIdentifier_ZevoKeyList_extension>,
                              Attached<diag::r_0648::RoutineService_ZevoDebug_extension>,
                              Attached<diag::r_c00a::RoutineService_ZevoHandleDownloadcontainer_extension>,
                              Attached<diag::r_c00b::RoutineService_ZevoCheckVerificationHash_extension>,
                              Attached<diag::r_c00c::RoutineService_ZevoGetIdentityHash_extension>,
                              Attached<diag::r_c00d::RoutineService_ZevoGetPssHash_extension>,
                              Attached<diag::r_c00f::RoutineService_ZevoGetState_extension>>;

/// The simulator with the default session's scenario, the ten extensions attached to it and a
/// dispatcher serving them, on a runtime of its own.
class Session_bench {
public:
    Session_bench()
        : runtime_(std::make_shared<ruv::com::runtime::Runtime>()),
          registry_(ruv::com::local::Registry_options{std::chrono::seconds{10}, runtime_}),
          simulator_(std::make_unique<zevo::sim::Key_simulator>(
              registry_, zevo::sim::Simulator_options{"1", zevo::sim::default_session_scenario()})),
          extensions_(std::make_unique<Extensions>()),
          dispatcher_(0x0E80) {
        simulator_->offer_all();
        std::apply(
            [this](auto&... extension) {
                (attach(extension), ...);
                (serve(extension), ...);
            },
            *extensions_);
    }

    ~Session_bench() {
        extensions_.reset();
        simulator_.reset();
        runtime_->shutdown();
    }

    Session_bench(const Session_bench&) = delete;
    Session_bench& operator=(const Session_bench&) = delete;

    /// Runs one step as the host's session runner does; the response bytes.
    Bytes run(const Session_step& step) {
        switch (step.kind) {
            case Session_step::Kind::send: break;
            case Session_step::Kind::send_and_cancel: return send_and_cancel(step);
            case Session_step::Kind::withdraw_then_send:
                // The withdrawn service's state is seen at once by the proxy's port: the job
                // answers 0x10 without waiting for discovery.
                simulator_->withdraw(step.identifier);
                break;
            case Session_step::Kind::offer_then_send:
                simulator_->offer(step.identifier);
                with_extension(step.identifier, [this](auto& extension) { attach(extension); });
                break;
        }
        return dispatcher_.dispatch(step.request).bytes;
    }

private:
    template <class Extension>
    void attach(Extension& extension) {
        const auto handles = registry_.find(zevo::sim::interface_name_of(Extension::identifier), "1");
        ASSERT_EQ(handles.size(), 1U) << Extension::interface_name;
        extension.attach_to(handles.front());
    }

    template <class Extension>
    void serve(Extension& extension) {
        if constexpr (std::is_base_of_v<ruv::dm::foundation::extension::Extension_routine_control, Extension>) {
            dispatcher_.add_routine(Extension::identifier, extension);
        } else {
            dispatcher_.add_data_identifier(Extension::identifier, extension);
        }
    }

    template <class Use>
    void with_extension(std::uint16_t identifier, Use use) {
        std::apply([&](auto&... extension) { ((extension.identifier == identifier ? use(extension) : void()), ...); },
                   *extensions_);
    }

    /// Sends on a helper thread; once the service holds the call, cancels the job from here.
    Bytes send_and_cancel(const Session_step& step) {
        std::future<zevo::host::Uds_response> answer =
            std::async(std::launch::async, [this, &step] { return dispatcher_.dispatch(step.request); });
        EXPECT_TRUE(simulator_->wait_for_pending_call(step.identifier, step.method, bound)) << step.title;
        with_extension(step.identifier, [](auto& extension) { EXPECT_EQ(extension.cancel({{"cancel", "session"}}), 1); });
        if (answer.wait_for(bound) != std::future_status::ready) {
            ADD_FAILURE() << step.title << ": the cancelled job did not return";
            simulator_->withdraw_all();  // answers the held call, so that the job ends
        }
        return answer.get().bytes;
    }

    std::shared_ptr<ruv::com::runtime::Runtime> runtime_;
    ruv::com::local::Provider_registry registry_;
    std::unique_ptr<zevo::sim::Key_simulator> simulator_;
    std::unique_ptr<Extensions> extensions_;
    zevo::host::Uds_dispatcher dispatcher_;  ///< refers to the extensions; used only while they live
};

std::string hex(const Bytes& bytes) {
    std::string text;
    static const char digits[] = "0123456789ABCDEF";
    for (std::uint8_t byte : bytes) {
        if (!text.empty()) text += ' ';
        text += digits[byte >> 4];
        text += digits[byte & 0x0F];
    }
    return text;
}

TEST(sim_session, every_step_gets_the_expected_response_through_plug_in_and_dispatcher) {
    Session_bench bench;
    for (const Session_step& step : zevo::sim::default_session()) {
        SCOPED_TRACE(step.title);
        EXPECT_EQ(hex(bench.run(step)), hex(step.expected)) << "request " << hex(step.request);
    }
}

TEST(sim_session, session_covers_every_identifier_and_every_kind_of_step) {
    std::set<std::uint16_t> read, started, results;
    std::set<Session_step::Kind> kinds;
    std::set<Bytes> negative;
    for (const Session_step& step : zevo::sim::default_session()) {
        kinds.insert(step.kind);
        const auto identifier = [&](std::size_t at) {
            return static_cast<std::uint16_t>(step.request.at(at) << 8 | step.request.at(at + 1));
        };
        if (step.request[0] == 0x22 && step.expected[0] == 0x62) read.insert(identifier(1));
        if (step.request[0] == 0x31 && step.request[1] == 0x01 && step.expected[0] == 0x71) started.insert(identifier(2));
        if (step.request[0] == 0x31 && step.request[1] == 0x03 && step.expected[0] == 0x71) results.insert(identifier(2));
        if (step.expected[0] == 0x7F) negative.insert(step.expected);
    }
    const std::set<std::uint16_t> dids{0x2C55, 0x2C56, 0x2C57, 0x2C60};
    const std::set<std::uint16_t> rids{0x0648, 0xC00A, 0xC00B, 0xC00C, 0xC00D, 0xC00F};
    EXPECT_EQ(read, dids);
    EXPECT_EQ(started, rids);
    EXPECT_EQ(results, rids);
    EXPECT_EQ(kinds.size(), 4U);
    EXPECT_EQ(negative.count(Bytes{0x7F, 0x31, 0x24}), 1U);  // an application error of the service
    EXPECT_EQ(negative.count(Bytes{0x7F, 0x31, 0x13}), 1U);  // a request too short for the routine
    EXPECT_EQ(negative.count(Bytes{0x7F, 0x22, 0x31}), 1U);  // an unknown identifier
    EXPECT_EQ(negative.count(Bytes{0x7F, 0x22, 0x10}), 1U);  // a withdrawn service
}

TEST(sim_session, scenario_makes_routines_instant_and_holds_the_cancelled_start) {
    const zevo::sim::Scenario scenario = zevo::sim::default_session_scenario();
    EXPECT_EQ(scenario.routine_duration, std::chrono::milliseconds{0});
    ASSERT_EQ(scenario.faults.size(), 1U);
    EXPECT_TRUE(scenario.faults[0].hold_until_cancel);
    EXPECT_EQ(scenario.faults[0].times, 1U);
    for (const Session_step& step : zevo::sim::default_session()) {
        if (step.kind != Session_step::Kind::send_and_cancel) continue;
        EXPECT_EQ(step.identifier, scenario.faults[0].identifier);
        EXPECT_EQ(step.method, scenario.faults[0].method);
    }
}

}  // namespace

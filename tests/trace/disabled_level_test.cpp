// With an event's level off, an emitter asks the backend once and does nothing else: no JSON,
// no string, not one allocation, no line. Counted with the test allocation log.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "allocation_log.h"
#include "bindings/r_c00f/RoutineService_ZevoGetState.h"
#include "spy_log_backend.h"
#include "trace/trace_events.h"
#include "trace_samples.h"

namespace {

using namespace ruv::com::log;
using ruv::com::cpp_binding::Service_info;
using zevo::test::Allocation_scope;
using zevo::test::Spy_log_backend;

struct Disabled_case {
    char const* event;
    int level;
    std::function<void(Log_backend&)> emit;
};

TEST(Disabled_level, every_emitter_asks_once_allocates_nothing_and_writes_nothing) {
    std::string const service{zevo::test::routine_0648};
    kel::com::runtime::Instance_id const instance{"1"};
    std::vector<kel::com::runtime::Service_handle> const handles{zevo::test::found_service(service, "1")};
    Service_info const info{service, "1"};
    auto const method = zevo::test::method_trace_info(service, 2);
    std::map<std::string, std::string> const meta_info{{"sid", "31"}, {"rid", "0648"}};
    std::vector<std::uint8_t> const bytes(4096, 1);
    std::array<std::uint8_t, 1> const one{{1}};
    std::array<std::uint8_t, 16> const sixteen{};
    talm::services::diag::r_c00f::RoutineService_ZevoGetState::RequestResults::Output const output{};
    std::string const text{"Exception: Transport exception"};

    std::vector<Disabled_case> const cases{
        {"Find_service_start", 4,
         [&](Log_backend& b) { trace_find_service_start(b, zevo::test::routine_0648, instance, 7); }},
        {"Find_service_stop", 4, [&](Log_backend& b) { trace_find_service_stop(b, zevo::test::routine_0648, 7); }},
        {"Find_service_result", 4,
         [&](Log_backend& b) { trace_find_service_result(b, service, info.instance, handles); }},
        {"Find_service_handler_performance", 3,
         [&](Log_backend& b) { trace_find_service_handler_performance(b, service, info.instance, 900); }},
        {"Find_service_handler_exception", 1,
         [&](Log_backend& b) { trace_find_service_handler_exception(b, service, info.instance); }},
        {"Service_proxy_constructed", 4, [&](Log_backend& b) { trace_service_proxy_constructed(b, info, 1, 1); }},
        {"Method_call_request_tx of a byte and a vector", 5,
         [&](Log_backend& b) { trace_request_tx(b, method, meta_info, std::uint8_t{1}, bytes); }},
        {"Method_call_request_tx of two arrays", 5,
         [&](Log_backend& b) { trace_request_tx(b, method, meta_info, one, sixteen); }},
        {"Method_call_response_rx", 5, [&](Log_backend& b) { trace_response_rx(b, method); }},
        {"Method_call_response_rx with result", 5, [&](Log_backend& b) { trace_response_rx(b, method, output); }},
        {"Method_call_response_rx with text", 5, [&](Log_backend& b) { trace_response_rx(b, method, text); }},
        {"Method_call_request_err", 2, [&](Log_backend& b) { trace_request_err(b, method, text); }},
        {"Method_call_response_invalid_code", 2,
         [&](Log_backend& b) { trace_response_invalid_code(b, method, text); }},
        {"Method_call_deserializer_exception", 2,
         [&](Log_backend& b) { trace_deserializer_exception(b, method, "Read beyond the end of the data buffer"); }},
    };

    for (auto const& disabled : cases) {
        Spy_log_backend spy{false};
        std::size_t allocations = 0;
        {
            Allocation_scope const scope;
            disabled.emit(spy);
            allocations = scope.log().allocations;
        }
        EXPECT_EQ(allocations, 0u) << disabled.event;
        EXPECT_EQ(spy.level_tests, 1u) << disabled.event;
        EXPECT_EQ(spy.asked_level, disabled.level) << disabled.event;
        EXPECT_TRUE(spy.lines.empty()) << disabled.event;
    }
}

TEST(Disabled_level, the_same_calls_with_the_level_on_do_allocate) {
    // The counter sees the building when there is some: the zero above is not an artefact.
    Spy_log_backend spy{true};
    auto const method = zevo::test::method_trace_info(zevo::test::routine_0648, 1);
    std::size_t allocations = 0;
    {
        Allocation_scope const scope;
        trace_response_rx(spy, method);
        allocations = scope.log().allocations;
    }
    EXPECT_GT(allocations, 0u);
    EXPECT_EQ(spy.lines.size(), 1u);
}

}  // namespace

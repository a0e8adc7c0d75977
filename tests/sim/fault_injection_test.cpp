// Every kind of fault, once injected in code and once read from a JSON scenario: the same
// calls must come out the same. Also what the faults leave of the service's own state, and how
// several faults and `times` combine. Waits are bounded; late answers are measured, not slept.

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "sim/scenario.h"
#include "sim_bench.h"

namespace {

using namespace zevo::test::sim;
using zevo::sim::Fault;
using zevo::sim::Method;
using std::chrono::milliseconds;

struct Fault_case {
    std::string name;
    std::string json;  ///< the fault as one object of "faults"
    Fault fault;       ///< the same fault built in code
    std::function<void(Sim_bench&)> check;
    milliseconds request_timeout{std::chrono::seconds{10}};
};

Fault fault_on(std::uint16_t identifier, Method method) {
    Fault fault;
    fault.identifier = identifier;
    fault.method = method;
    return fault;
}

template <class Edit>
Fault fault_on(std::uint16_t identifier, Method method, Edit edit) {
    Fault fault = fault_on(identifier, method);
    edit(fault);
    return fault;
}

/// What a watch on one service's offers has seen, in order: the number of offered instances.
class Offer_log {
public:
    Offer_log(ruv::com::local::Provider_registry& registry, std::uint16_t identifier)
        : watch_(registry.watch(zevo::sim::interface_name_of(identifier), "1",
                                [this](std::vector<kel::com::runtime::Service_handle> services) {
                                    const std::lock_guard<std::mutex> lock(mutex_);
                                    counts_.push_back(services.size());
                                    changed_.notify_all();
                                })) {}

    /// True once the service was seen withdrawn and then offered again.
    bool wait_for_return() {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_for(lock, bound, [this] {
            bool gone = false;
            for (std::size_t count : counts_) {
                if (count == 0) gone = true;
                if (gone && count > 0) return true;
            }
            return false;
        });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::size_t> counts_;  ///< guarded by mutex_
    ruv::com::local::Offer_watch watch_;  ///< last: stopped first
};

template <class Call>
milliseconds time_of(Call call) {
    const auto begin = std::chrono::steady_clock::now();
    call();
    return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - begin);
}

std::vector<Fault_case> fault_cases() {
    std::vector<Fault_case> cases;
    cases.push_back({"delay",
                     R"({"identifier": "0x2C56", "method": "read", "delay_ms": 150})",
                     fault_on(0x2C56, Method::read_or_results, [](Fault& f) { f.delay = milliseconds{150}; }),
                     [](Sim_bench& bench) {
                         std::optional<Response> response;
                         const milliseconds took = time_of([&] {
                             const Call_probe probe = bench.send<Training_counter::Read>(0x2C56);
                             EXPECT_TRUE(bench.simulator->wait_for_pending_call(0x2C56, Method::read_or_results, bound));
                             response = probe.response();
                         });
                         ASSERT_TRUE(response);
                         EXPECT_EQ(response->code, 0);
                         EXPECT_EQ(response->bytes, (Bytes{0x00, 0x00, 0x02}));
                         EXPECT_GE(took, milliseconds{150});
                     }});
    cases.push_back({"application_error_of_a_data_identifier",
                     R"({"identifier": "0x2C56", "method": "read", "application_error": [51]})",
                     fault_on(0x2C56, Method::read_or_results, [](Fault& f) { f.application_error = Bytes{0x33}; }),
                     [](Sim_bench& bench) {
                         for (int call = 0; call < 2; ++call) {  // no `times`: every call
                             const Response response = bench.call<Training_counter::Read>(0x2C56);
                             EXPECT_EQ(response.code, 2);
                             EXPECT_EQ(response.bytes, Bytes{0x33});
                         }
                     }});
    cases.push_back({"application_error_of_a_routine_start",
                     R"({"identifier": "0xC00F", "method": "start", "application_error": [34, 49]})",
                     fault_on(0xC00F, Method::start, [](Fault& f) { f.application_error = Bytes{0x22, 0x31}; }),
                     [](Sim_bench& bench) {
                         const Response response = bench.call<Get_state::Start>(0xC00F, std::uint8_t{0x00});
                         EXPECT_EQ(response.code, 2);
                         EXPECT_EQ(response.bytes, (Bytes{0x22, 0x31}));
                         // The fault answered instead of the service: nothing was started.
                         EXPECT_EQ(bench.call<Get_state::RequestResults>(0xC00F).bytes, (Bytes{0x24, 0x24}));
                     }});
    cases.push_back({"return_code",
                     R"({"identifier": "0x2C60", "method": "read", "return_code": 129})",
                     fault_on(0x2C60, Method::read_or_results, [](Fault& f) { f.return_code = 0x81; }),
                     [](Sim_bench& bench) {
                         const Response response = bench.call<Key_list::Read>(0x2C60);
                         EXPECT_EQ(response.code, 0x81);
                         EXPECT_TRUE(response.bytes.empty());
                     }});
    cases.push_back({"short_payload",
                     R"({"identifier": "0x2C57", "method": "read", "short_payload": true})",
                     fault_on(0x2C57, Method::read_or_results, [](Fault& f) { f.short_payload = true; }),
                     [](Sim_bench& bench) {
                         const Response response = bench.call<Missing_key_history::Read>(0x2C57);
                         EXPECT_EQ(response.code, 0);
                         EXPECT_EQ(response.bytes, (Bytes{0x00, 0x04, 0x00, 0x00, 0x00}));
                         try {
                             output_of<Missing_key_history::Read::Output>(response);
                             ADD_FAILURE() << "a short payload was read";
                         } catch (const std::out_of_range& error) {
                             EXPECT_STREQ(error.what(), "Read beyond the end of the data buffer");
                         }
                     }});
    cases.push_back({"malformed_payload",
                     R"({"identifier": "0x2C60", "method": "read", "malformed_payload": true})",
                     fault_on(0x2C60, Method::read_or_results, [](Fault& f) { f.malformed_payload = true; }),
                     [](Sim_bench& bench) {
                         const Response response = bench.call<Key_list::Read>(0x2C60);
                         EXPECT_EQ(response.code, 0);
                         // The length field claims 5 bytes where 4 follow.
                         EXPECT_EQ(response.bytes, (Bytes{0x08, 0x02, 0x00, 0x00, 0x00, 0x05, 0x1A, 0x01, 0x1A, 0x02}));
                         try {
                             output_of<Key_list::Read::Output>(response);
                             ADD_FAILURE() << "a malformed payload was read";
                         } catch (const std::out_of_range& error) {
                             EXPECT_STREQ(error.what(), "Deserialization calculated invalid end position.");
                         }
                     }});
    cases.push_back({"malformed_payload_without_a_length_field",
                     R"({"identifier": "0x2C56", "method": "read", "malformed_payload": true})",
                     fault_on(0x2C56, Method::read_or_results, [](Fault& f) { f.malformed_payload = true; }),
                     [](Sim_bench& bench) { EXPECT_EQ(bench.call<Training_counter::Read>(0x2C56).bytes, Bytes{0x00}); }});
    cases.push_back({"no_answer",
                     R"({"identifier": "0x2C55", "method": "read", "no_answer": true})",
                     fault_on(0x2C55, Method::read_or_results, [](Fault& f) { f.no_answer = true; }),
                     [](Sim_bench& bench) {
                         const Response response = bench.call<Zevovin::Read>(0x2C55);
                         EXPECT_EQ(response.code, 0x86);  // the runtime's request timeout ended it
                     },
                     milliseconds{100}});
    cases.push_back({"drop",
                     R"({"identifier": "0x2C56", "method": "read", "drop": true})",
                     fault_on(0x2C56, Method::read_or_results, [](Fault& f) { f.drop = true; }),
                     [](Sim_bench& bench) {
                         const Call_probe probe = bench.send<Training_counter::Read>(0x2C56);
                         EXPECT_TRUE(probe.dropped());
                     }});
    cases.push_back({"withdraw",
                     R"({"identifier": "0x2C56", "method": "read", "withdraw_ms": 100, "times": 1})",
                     fault_on(0x2C56, Method::read_or_results,
                              [](Fault& f) {
                                  f.withdraw_for = milliseconds{100};
                                  f.times = 1;
                              }),
                     [](Sim_bench& bench) {
                         Offer_log offers(bench.registry, 0x2C56);
                         const Response withdrawn = bench.call<Training_counter::Read>(0x2C56);
                         EXPECT_EQ(withdrawn.code, 0xFF);
                         ASSERT_TRUE(offers.wait_for_return());
                         EXPECT_TRUE(bench.simulator->offered(0x2C56));
                         EXPECT_EQ(bench.call<Training_counter::Read>(0x2C56).bytes, (Bytes{0x00, 0x00, 0x02}));
                     }});
    cases.push_back({"hold_until_cancel_of_a_start",
                     R"({"identifier": "0x0648", "method": "start", "hold_until_cancel": true})",
                     fault_on(0x0648, Method::start, [](Fault& f) { f.hold_until_cancel = true; }),
                     [](Sim_bench& bench) {
                         const Call_probe start = bench.send<Debug::Start>(0x0648, std::uint8_t{0x01}, Bytes{0xCA});
                         ASSERT_TRUE(bench.simulator->wait_for_pending_call(0x0648, Method::start, bound));
                         EXPECT_TRUE(start.unanswered());
                         EXPECT_EQ(bench.call<Debug::Cancel>(0x0648).code, 0);
                         const std::optional<Response> released = start.response();
                         ASSERT_TRUE(released);
                         EXPECT_EQ(released->code, 0);
                         // Its work never began.
                         EXPECT_EQ(bench.call<Debug::RequestResults>(0x0648).bytes, (Bytes{0x24, 0x24}));
                     }});
    cases.push_back({"hold_until_cancel_of_a_read",
                     R"({"identifier": "0x2C60", "method": "read", "hold_until_cancel": true})",
                     fault_on(0x2C60, Method::read_or_results, [](Fault& f) { f.hold_until_cancel = true; }),
                     [](Sim_bench& bench) {
                         const Call_probe read = bench.send<Key_list::Read>(0x2C60);
                         ASSERT_TRUE(bench.simulator->wait_for_pending_call(0x2C60, Method::read_or_results, bound));
                         EXPECT_EQ(bench.call<Key_list::Cancel>(0x2C60).code, 0);
                         const std::optional<Response> released = read.response();
                         ASSERT_TRUE(released);
                         EXPECT_EQ(released->code, 2);
                         EXPECT_EQ(released->bytes, Bytes{0x22});
                     }});
    cases.push_back({"times",
                     R"({"identifier": "0x2C56", "method": "read", "return_code": 129, "times": 2})",
                     fault_on(0x2C56, Method::read_or_results,
                              [](Fault& f) {
                                  f.return_code = 0x81;
                                  f.times = 2;
                              }),
                     [](Sim_bench& bench) {
                         EXPECT_EQ(bench.call<Training_counter::Read>(0x2C56).code, 0x81);
                         EXPECT_EQ(bench.call<Training_counter::Read>(0x2C56).code, 0x81);
                         EXPECT_EQ(bench.call<Training_counter::Read>(0x2C56).code, 0);
                     }});
    cases.push_back({"short_application_error",
                     R"({"identifier": "0xC00A", "method": "request_results", "application_error": [34, 49],
                         "short_payload": true})",
                     fault_on(0xC00A, Method::read_or_results,
                              [](Fault& f) {
                                  f.application_error = Bytes{0x22, 0x31};
                                  f.short_payload = true;
                              }),
                     [](Sim_bench& bench) {
                         const Response response = bench.call<Download_container::RequestResults>(0xC00A);
                         EXPECT_EQ(response.code, 2);
                         EXPECT_EQ(response.bytes, Bytes{0x22});
                     }});
    cases.push_back({"delayed_application_error_of_a_cancel",
                     R"({"identifier": "0xC00D", "method": "cancel", "delay_ms": 50, "return_code": 2})",
                     fault_on(0xC00D, Method::cancel,
                              [](Fault& f) {
                                  f.delay = milliseconds{50};
                                  f.return_code = 2;
                              }),
                     [](Sim_bench& bench) {
                         Response response;
                         const milliseconds took = time_of([&] { response = bench.call<Pss_hash::Cancel>(0xC00D); });
                         EXPECT_EQ(response.code, 2);
                         EXPECT_GE(took, milliseconds{50});
                     }});
    return cases;
}

enum class Source { code, json };

zevo::sim::Scenario scenario_with(const std::string& fault_json) {
    return zevo::sim::parse_scenario(R"({"routine_duration_ms": 0, "faults": [)" + fault_json + "]}");
}

class sim_faults : public testing::TestWithParam<std::tuple<Fault_case, Source>> {};

INSTANTIATE_TEST_SUITE_P(
    every_kind, sim_faults, testing::Combine(testing::ValuesIn(fault_cases()), testing::Values(Source::code, Source::json)),
    [](const testing::TestParamInfo<std::tuple<Fault_case, Source>>& param) {
        return std::get<0>(param.param).name + (std::get<1>(param.param) == Source::code ? "_from_code" : "_from_json");
    });

TEST_P(sim_faults, call_comes_out_as_the_fault_says) {
    const auto& [fault_case, source] = GetParam();
    zevo::sim::Scenario scenario;
    scenario.routine_duration = milliseconds{0};
    if (source == Source::json) scenario = scenario_with(fault_case.json);
    Sim_bench bench(scenario, {}, fault_case.request_timeout);
    if (source == Source::code) bench.simulator->inject(fault_case.fault);
    fault_case.check(bench);
}

TEST_P(sim_faults, json_form_reads_as_the_fault_built_in_code) {
    const Fault_case& fault_case = std::get<0>(GetParam());
    const zevo::sim::Scenario scenario = scenario_with(fault_case.json);
    ASSERT_EQ(scenario.faults.size(), 1U);
    const Fault& read = scenario.faults[0];
    const Fault& built = fault_case.fault;
    EXPECT_EQ(read.identifier, built.identifier);
    EXPECT_EQ(read.method, built.method);
    EXPECT_EQ(read.delay, built.delay);
    EXPECT_EQ(read.application_error, built.application_error);
    EXPECT_EQ(read.return_code, built.return_code);
    EXPECT_EQ(read.short_payload, built.short_payload);
    EXPECT_EQ(read.malformed_payload, built.malformed_payload);
    EXPECT_EQ(read.no_answer, built.no_answer);
    EXPECT_EQ(read.drop, built.drop);
    EXPECT_EQ(read.hold_until_cancel, built.hold_until_cancel);
    EXPECT_EQ(read.withdraw_for, built.withdraw_for);
    EXPECT_EQ(read.times, built.times);
}

TEST(sim_fault_plan, first_fault_that_applies_wins_and_a_spent_one_gives_way) {
    zevo::sim::Scenario scenario;
    scenario.faults.push_back(fault_on(0x2C56, Method::read_or_results, [](Fault& f) {
        f.return_code = 0x81;
        f.times = 1;
    }));
    scenario.faults.push_back(fault_on(0x2C56, Method::read_or_results, [](Fault& f) { f.return_code = 0x82; }));
    Sim_bench bench(scenario);
    EXPECT_EQ(bench.call<Training_counter::Read>(0x2C56).code, 0x81);
    EXPECT_EQ(bench.call<Training_counter::Read>(0x2C56).code, 0x82);
    EXPECT_EQ(bench.call<Training_counter::Read>(0x2C56).code, 0x82);
}

TEST(sim_fault_plan, fault_applies_only_to_its_service_and_method) {
    Sim_bench bench;
    bench.simulator->inject(fault_on(0x2C56, Method::cancel, [](Fault& f) { f.return_code = 0x81; }));
    EXPECT_EQ(bench.call<Training_counter::Read>(0x2C56).code, 0);
    EXPECT_EQ(bench.call<Key_list::Cancel>(0x2C60).code, 0);
    EXPECT_EQ(bench.call<Training_counter::Cancel>(0x2C56).code, 0x81);
}

TEST(sim_fault_plan, fault_injected_later_stands_behind_the_scenario) {
    zevo::sim::Scenario scenario;
    scenario.faults.push_back(fault_on(0x2C56, Method::read_or_results, [](Fault& f) {
        f.return_code = 0x81;
        f.times = 1;
    }));
    Sim_bench bench(scenario);
    bench.simulator->inject(fault_on(0x2C56, Method::read_or_results, [](Fault& f) { f.return_code = 0x82; }));
    EXPECT_EQ(bench.call<Training_counter::Read>(0x2C56).code, 0x81);
    EXPECT_EQ(bench.call<Training_counter::Read>(0x2C56).code, 0x82);
}

TEST(sim_fault_plan, damaged_answer_still_does_the_work) {
    zevo::sim::Scenario scenario;
    scenario.routine_duration = milliseconds{0};
    scenario.faults.push_back(fault_on(0xC00A, Method::start, [](Fault& f) { f.malformed_payload = true; }));
    Sim_bench bench(scenario);
    EXPECT_EQ(bench.call<Download_container::Start>(0xC00A, std::uint8_t{0x01}, Bytes{0x10, 0x20}).code, 0);
    EXPECT_EQ(output_of<Key_list::Read::Output>(bench.call<Key_list::Read>(0x2C60)).field_2, 3);
}

TEST(sim_fault_plan, cancel_that_a_fault_answers_releases_no_held_call) {
    Sim_bench bench;
    bench.simulator->inject(fault_on(0x0648, Method::start, [](Fault& f) { f.hold_until_cancel = true; }));
    bench.simulator->inject(fault_on(0x0648, Method::cancel, [](Fault& f) {
        f.return_code = 0x81;
        f.times = 1;
    }));
    const Call_probe start = bench.send<Debug::Start>(0x0648, std::uint8_t{0x01}, Bytes{});
    ASSERT_TRUE(bench.simulator->wait_for_pending_call(0x0648, Method::start, bound));
    EXPECT_EQ(bench.call<Debug::Cancel>(0x0648).code, 0x81);
    EXPECT_TRUE(start.unanswered());
    EXPECT_EQ(bench.call<Debug::Cancel>(0x0648).code, 0);
    ASSERT_TRUE(start.response());
}

}  // namespace

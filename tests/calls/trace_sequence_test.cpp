// The trace of a routine called end to end, Start then RequestResults, as a log reader sees it:
// four debug lines in order, compared byte for byte, written by the job's thread and the
// runtime's. With debug off the calls write nothing and send the same bytes; a refused call
// writes nothing at all.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "call_support.h"
#include "extension_jobs.h"
#include "tests/bindings/bounded_wait.h"

namespace {

using namespace zevo::test::calls;
using zevo::test::run_in_background;
using Debug_extension = talm::services::diag::r_0648::RoutineService_ZevoDebug_extension;
using Debug = talm::services::diag::r_0648::RoutineService_ZevoDebug;

const std::string debug_incident_head =
    R"("2_service_id":{"1_id":"Service_id","string":"talm::services::diag::r_0648::RoutineService_ZevoDebug"},)"
    R"("3_instance_id":{"1_id":"Instance_id","2_string":"1"},)";

/// A routine's extension on a traced port, and the provider answering Start with nothing and
/// RequestResults with `results`.
template <class Class>
struct Traced_routine {
    Traced_routine(unsigned char max_level, Bytes results) : logger(max_level) {
        service.provider.answer_at_once([results](std::uint16_t method_id, const Bytes&) {
            return Answer{0, method_id == 1 ? results : Bytes{}};
        });
        extension.attach_traced(service.offer, logger);
    }

    std::uint8_t run(const char* what, std::function<std::uint8_t()> job) {
        return run_in_background(what, std::move(job), [this] { extension.cancel_requested_.store(true); }).finish();
    }

    std::uint8_t start(Bytes request) {
        Bytes response;
        return run("start", [&] { return extension.start(request, {{"a", "b"}}, response); });
    }

    std::uint8_t request_results(Bytes& response) {
        Bytes request;
        return run("request_results", [&] { return extension.request_results(request, {{"a", "b"}}, response); });
    }

    /// The requests as the provider got them, in order.
    std::vector<Bytes> requests() {
        std::vector<Bytes> seen;
        while (seen.size() < service.provider.received()) {
            std::optional<Received_call> call = service.provider.next();
            if (!call) {
                break;
            }
            seen.push_back(call->request);
        }
        return seen;
    }

    Test_logger logger;  ///< outlives the runtime's threads
    Offered_service service{Class::Interface::name};
    Attached<Class> extension;
};

TEST(routine_trace, start_then_request_results_writes_the_four_lines_of_a_successful_routine) {
    Traced_routine<Debug_extension> routine(debug_level, {0x01, 0x02, 0x00, 0x00, 0x00, 0x02, 0xAA, 0xBB});
    EXPECT_EQ(routine.start({0x07, 0xAA, 0xBB}), 0);
    Bytes response;
    EXPECT_EQ(routine.request_results(response), 0);
    EXPECT_EQ(response, (Bytes{0x01, 0x02, 0xAA, 0xBB}));

    const std::vector<Trace_line> lines = routine.logger.backend.lines();
    ASSERT_EQ(lines.size(), 4U);
    for (const Trace_line& line : lines) {
        EXPECT_EQ(line.level, 5);
    }
    EXPECT_EQ(lines[0].text, R"({"1_incident":{"1_id":"Method_call_request_tx",)" + debug_incident_head +
                                 R"("4_method_id":2},"2_data":{"1_map":{"a":"b"},"2_uint8":7,"3_vector":[170,187]}})");
    EXPECT_EQ(lines[1].text, R"({"1_incident":{"1_id":"Method_call_response_rx",)" + debug_incident_head +
                                 R"("4_method_id":2,"5_error_code":0}})");
    EXPECT_EQ(lines[2].text, R"({"1_incident":{"1_id":"Method_call_request_tx",)" + debug_incident_head +
                                 R"("4_method_id":1},"2_data":{"1_map":{"a":"b"}}})");
    EXPECT_EQ(lines[3].text, R"({"1_incident":{"1_id":"Method_call_response_rx",)" + debug_incident_head +
                                 R"("4_method_id":1,"5_error_code":0},"2_data":{"1_generated_type":)"
                                 R"({"1_uint8":1,"2_uint8":2,"3_vector":[170,187]}}})");
}

TEST(routine_trace, with_debug_off_nothing_is_written_and_the_same_bytes_go_out) {
    const Bytes results{0x01, 0x02, 0x00, 0x00, 0x00, 0x02, 0xAA, 0xBB};
    Traced_routine<Debug_extension> traced(debug_level, results);
    Traced_routine<Debug_extension> quiet(info_level, results);
    for (auto* routine : {&traced, &quiet}) {
        EXPECT_EQ(routine->start({0x07, 0xAA, 0xBB}), 0);
        Bytes response;
        EXPECT_EQ(routine->request_results(response), 0);
        EXPECT_EQ(response, (Bytes{0x01, 0x02, 0xAA, 0xBB}));
    }
    EXPECT_TRUE(quiet.logger.backend.lines().empty());
    const std::vector<Bytes> expected{
        {0x00, 0x00, 0x00, 0x0A, 0x00, 0x00, 0x00, 0x01, 'a', 0x00, 0x00, 0x00, 0x01, 'b', 0x07, 0x00, 0x00, 0x00,
         0x02, 0xAA, 0xBB},
        {0x00, 0x00, 0x00, 0x0A, 0x00, 0x00, 0x00, 0x01, 'a', 0x00, 0x00, 0x00, 0x01, 'b'}};
    EXPECT_EQ(traced.requests(), expected);
    EXPECT_EQ(quiet.requests(), expected);
}

TEST(routine_trace, a_refused_call_writes_no_record) {
    Traced_routine<Debug_extension> routine(debug_level, {});
    routine.service.set_state(0);
    EXPECT_EQ(routine.start({0x07}), 0x10);
    Bytes response;
    EXPECT_EQ(routine.request_results(response), 0x10);
    EXPECT_EQ(routine.extension.cancel({{"a", "b"}}), 1);
    EXPECT_TRUE(routine.logger.backend.lines().empty());
    EXPECT_EQ(routine.logger.backend.level_tests(), 0U) << "no record was even begun";
}

// Every routine writes the same four events, the job's lines and the runtime's in turn.
template <class Class>
class routine_trace_of : public testing::Test {};
TYPED_TEST_SUITE(routine_trace_of, Routine_classes, Extension_label);

TYPED_TEST(routine_trace_of, start_then_request_results_writes_request_and_response_of_each) {
    using Interface = typename TypeParam::Interface;
    const Bytes results = ruv::com::someip::serialization::response_payload(
        zevo::test::Record_sample<Interface>::output());
    Traced_routine<TypeParam> routine(debug_level, results);
    const auto start = jobs_of<TypeParam>().front();
    EXPECT_EQ(routine.start(start.uds_request), 0);
    Bytes response;
    EXPECT_EQ(routine.request_results(response), 0);

    const std::vector<Trace_line> lines = routine.logger.backend.lines();
    ASSERT_EQ(lines.size(), 4U);
    const char* const events[] = {"Method_call_request_tx", "Method_call_response_rx", "Method_call_request_tx",
                                  "Method_call_response_rx"};
    const unsigned method_ids[] = {2, 2, 1, 1};
    for (std::size_t index = 0; index < lines.size(); ++index) {
        const nlohmann::json record = nlohmann::json::parse(lines[index].text);
        const nlohmann::json& incident = record.at("1_incident");
        EXPECT_EQ(lines[index].level, 5) << index;
        EXPECT_EQ(incident.at("1_id"), events[index]) << index;
        EXPECT_EQ(incident.at("2_service_id").at("string"), Interface::name) << index;
        EXPECT_EQ(incident.at("4_method_id"), method_ids[index]) << index;
        EXPECT_EQ(incident.contains("5_error_code"), index % 2 == 1) << index;
        EXPECT_EQ(record.contains("2_data"), index != 1) << index << ": Start's answer carries no data";
    }
    EXPECT_EQ(nlohmann::json::parse(lines[2].text).at("2_data"), (nlohmann::json{{"1_map", {{"a", "b"}}}}));
    EXPECT_TRUE(nlohmann::json::parse(lines[3].text).at("2_data").contains("1_generated_type"));
}

}  // namespace

// "Service_proxy_constructed" for all ten interfaces: both flag bytes are decimal texts, "1" and
// "1" as the proxies write them, and the record has no "2_data".
#include "trace/proxy_events.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>

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
#include "spy_log_backend.h"
#include "trace_samples.h"

namespace {

using namespace ruv::com::log;
using ruv::com::cpp_binding::Service_info;
using zevo::test::only_level;
using zevo::test::only_line;
using zevo::test::Spy_log_backend;
namespace diag = talm::services::diag;

template <class Interface>
class Service_proxy_constructed : public ::testing::Test {};

using Interfaces = ::testing::Types<
    diag::r_0648::RoutineService_ZevoDebug, diag::r_c00a::RoutineService_ZevoHandleDownloadcontainer,
    diag::r_c00b::RoutineService_ZevoCheckVerificationHash, diag::r_c00c::RoutineService_ZevoGetIdentityHash,
    diag::r_c00d::RoutineService_ZevoGetPssHash, diag::r_c00f::RoutineService_ZevoGetState,
    diag::d_2c55::DataIdentifier_ZevoZevovin, diag::d_2c56::DataIdentifier_ZevoTrainingCounter,
    diag::d_2c57::DataIdentifier_ZevoMissingKeyHistory, diag::d_2c60::DataIdentifier_ZevoKeyList>;
TYPED_TEST_SUITE(Service_proxy_constructed, Interfaces, zevo::test::Interface_label);

TYPED_TEST(Service_proxy_constructed, reads_1_and_1_as_texts_at_level_4) {
    std::string const service{TypeParam::name};
    Spy_log_backend spy;
    trace_service_proxy_constructed(spy, Service_info{service, "1"}, 1, 1);
    EXPECT_EQ(only_level(spy), 4);
    EXPECT_EQ(only_line(spy), R"({"1_incident":{"1_id":"Service_proxy_constructed","2_service_id":{"1_id":"Service_id","string":")" +
                                  service +
                                  R"("},"3_instance_id":{"1_id":"Instance_id","2_string":"1"},"4_struct4bytes":"1","5_utf8simple":"1"}})");
}

TEST(Service_proxy_constructed_flags, are_rendered_in_decimal_without_sign) {
    Spy_log_backend spy;
    trace_service_proxy_constructed(spy, Service_info{"s", "i"}, 255, 0);
    auto const incident = nlohmann::json::parse(only_line(spy))["1_incident"];
    EXPECT_EQ(incident["4_struct4bytes"], "255");
    EXPECT_EQ(incident["5_utf8simple"], "0");
    EXPECT_FALSE(nlohmann::json::parse(only_line(spy)).contains("2_data"));
}

}  // namespace

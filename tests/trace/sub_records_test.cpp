// The sub-records that name services: both forms of "Service_id", "Instance_id", "Service_handle"
// from the handle's accessors, and a list of found services.
#include "trace/sub_records.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "trace_samples.h"

namespace {

using namespace ruv::com::log;
using zevo::test::found_service;
using zevo::test::routine_0648;

TEST(Service_id_record, a_run_time_text_stands_under_the_bare_key_string) {
    EXPECT_EQ(service_id_record(std::string{routine_0648}).dump(),
              R"({"1_id":"Service_id","string":"talm::services::diag::r_0648::RoutineService_ZevoDebug"})");
}

TEST(Service_id_record, a_compile_time_name_stands_under_2_char_const) {
    EXPECT_EQ(service_id_record(routine_0648).dump(),
              R"({"1_id":"Service_id","2_char const*":"talm::services::diag::r_0648::RoutineService_ZevoDebug"})");
}

TEST(Service_id_record, a_null_compile_time_name_throws_invalid_argument) {
    char const* const service = nullptr;
    try {
        service_id_record(service);
        FAIL() << "nothing thrown";
    } catch (std::invalid_argument const& error) {
        EXPECT_STREQ(error.what(), "traced service id is a null pointer");
    }
}

TEST(Instance_id_record, holds_the_instance_text_under_2_string) {
    EXPECT_EQ(instance_id_record(std::string{"1"}).dump(), R"({"1_id":"Instance_id","2_string":"1"})");
    EXPECT_EQ(instance_id_record(kel::com::runtime::Instance_id{"7"}).dump(),
              R"({"1_id":"Instance_id","2_string":"7"})");
}

TEST(Service_handle_record, takes_both_ids_from_the_handle) {
    EXPECT_EQ(service_handle_record(found_service("svc", "inst")).dump(),
              R"({"1_id":"Service_handle","2_service_id":{"1_id":"Service_id","string":"svc"},)"
              R"("3_instance_id":{"1_id":"Instance_id","2_string":"inst"}})");
}

TEST(Add_value, found_services_are_a_vector_of_service_handles_in_order) {
    nlohmann::json data;
    std::uint32_t index = 1;
    add_value(index, data, "", std::vector{found_service("a", "1"), found_service("b", "2")});
    EXPECT_EQ(index, 2u);
    EXPECT_EQ(data.dump(),
              R"({"1_vector":[)"
              R"({"1_id":"Service_handle","2_service_id":{"1_id":"Service_id","string":"a"},)"
              R"("3_instance_id":{"1_id":"Instance_id","2_string":"1"}},)"
              R"({"1_id":"Service_handle","2_service_id":{"1_id":"Service_id","string":"b"},)"
              R"("3_instance_id":{"1_id":"Instance_id","2_string":"2"}}]})");
}

TEST(Add_value, no_found_services_are_an_empty_vector) {
    nlohmann::json data;
    std::uint32_t index = 1;
    add_value(index, data, "", std::vector<kel::com::runtime::Service_handle>{});
    EXPECT_EQ(data.dump(), R"({"1_vector":[]})");
}

}  // namespace

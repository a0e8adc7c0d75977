// The numbers of find-service handles: one counter per service interface, process-wide, starting
// at 0. A program of its own, so that no other test has started a search before these.

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "bindings/d_2c60/DataIdentifier_ZevoKeyList.h"
#include "bindings/r_0648/RoutineService_ZevoDebug.h"
#include "bindings/r_c00f/RoutineService_ZevoGetState.h"
#include "proxy/proxy_impl.h"
#include "tests/discovery/running_search.h"
#include "tests/discovery/shared_spy_log_backend.h"

namespace {

using ruv::com::cpp_binding::proxy::Proxy_handle;
using ruv::com::cpp_binding::proxy::Proxy_impl;
using talm::services::diag::d_2c60::DataIdentifier_ZevoKeyList;
using talm::services::diag::r_0648::RoutineService_ZevoDebug;
using talm::services::diag::r_c00f::RoutineService_ZevoGetState;
using zevo::test::logger_over;
using zevo::test::Running_search;
using zevo::test::Shared_spy_log_backend;

void ignore(std::vector<Proxy_handle>) {}

TEST(Find_service_handle_id, the_first_search_of_each_interface_gets_0_and_each_interface_counts_for_itself) {
    Shared_spy_log_backend spy;
    auto logger = logger_over(spy);
    Running_search<RoutineService_ZevoDebug> routine_first(ignore, logger);
    Running_search<RoutineService_ZevoDebug> routine_second(ignore, logger);
    Running_search<DataIdentifier_ZevoKeyList> data_first(ignore, logger);
    Running_search<RoutineService_ZevoDebug> routine_third(ignore, logger);
    Running_search<DataIdentifier_ZevoKeyList> data_second(ignore, logger);

    EXPECT_EQ(routine_first.handle().id, 0u);
    EXPECT_EQ(routine_second.handle().id, 1u);
    EXPECT_EQ(routine_third.handle().id, 2u);
    EXPECT_EQ(data_first.handle().id, 0u);
    EXPECT_EQ(data_second.handle().id, 1u);
}

TEST(Find_service_handle_id, make_find_service_handle_numbers_from_0_and_takes_both_references_over) {
    using Search = Proxy_impl<RoutineService_ZevoGetState>;
    auto subscription = std::shared_ptr<kel::com::runtime::Service_finder::Subscription_handle>();
    auto strand = std::make_shared<ruv::com::Strand>(nullptr);  // never posted to: no pool needed
    const ruv::com::Strand* const made = strand.get();

    const auto first = Search::make_find_service_handle(std::move(subscription), std::move(strand));
    EXPECT_EQ(first.id, 0u);
    EXPECT_EQ(first.strand.get(), made);
    EXPECT_EQ(strand, nullptr) << "moved in, not copied";
    EXPECT_EQ(first.strand.use_count(), 1);
    const auto second = Search::make_find_service_handle(nullptr, nullptr);
    EXPECT_EQ(second.id, 1u);
}

}  // namespace

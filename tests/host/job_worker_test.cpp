// Jobs run on a thread of their own; result and exceptions come back to the caller.

#include "host/job_worker.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>

namespace zevo::host {
namespace {

TEST(host_job_worker, job_runs_on_another_thread_and_its_result_comes_back) {
    std::thread::id job_thread;
    const auto result = run_job_on_worker([&] {
        job_thread = std::this_thread::get_id();
        return ruv::dm::types::UDSResponseCodeType{0x31};
    });
    EXPECT_EQ(result, 0x31);
    EXPECT_NE(job_thread, std::thread::id{});
    EXPECT_NE(job_thread, std::this_thread::get_id());
}

TEST(host_job_worker, job_has_finished_when_the_call_returns) {
    int effects = 0;
    run_job_on_worker([&] {
        ++effects;
        return ruv::dm::types::UDSResponseCodeType{0};
    });
    EXPECT_EQ(effects, 1);
}

TEST(host_job_worker, exception_of_the_job_is_rethrown_on_the_caller) {
    EXPECT_THROW(run_job_on_worker([]() -> ruv::dm::types::UDSResponseCodeType { throw std::bad_alloc(); }),
                 std::bad_alloc);
}

}  // namespace
}  // namespace zevo::host

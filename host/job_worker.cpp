#include "host/job_worker.h"

#include <future>
#include <thread>

namespace zevo::host {

ruv::dm::types::UDSResponseCodeType run_job_on_worker(const Extension_job& job) {
    // The packaged task carries the result or the exception back from the worker.
    std::packaged_task<ruv::dm::types::UDSResponseCodeType()> task(job);
    std::future<ruv::dm::types::UDSResponseCodeType> result = task.get_future();
    std::thread worker(std::move(task));
    worker.join();
    return result.get();
}

}  // namespace zevo::host

#pragma once
// Runs one extension job on a worker thread of its own and waits for it. Called by the
// dispatcher on its thread, which blocks until the job returns. Keeping jobs off the dispatching
// thread is what lets a cancel reach a blocked job from another thread.

#include <functional>

#include "extension/uds_response_code.h"

namespace zevo::host {

using Extension_job = std::function<ruv::dm::types::UDSResponseCodeType()>;

/// The job's result. Whatever the job throws is rethrown here, on the caller's thread.
/// Throws std::system_error when no thread can be started.
ruv::dm::types::UDSResponseCodeType run_job_on_worker(const Extension_job& job);

}  // namespace zevo::host

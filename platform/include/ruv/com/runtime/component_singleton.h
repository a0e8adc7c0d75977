#pragma once
// The platform's process-wide entry to its components: the service finder of discovery and the
// factory of the thread pools that strands run on. Reached through the static instance(), from
// any thread; made on first use and never destroyed, so what it hands out outlives every user.

#include <memory>

#include "kel/com/runtime/service_finder.h"
#include "ruv/com/runtime/thread_pool_factory.h"

namespace ruv::com::runtime {

class Component_singleton {
public:
    /// The one object of the process, made on the first call (thread-safe) together with the
    /// default thread pool and its workers, and the SOME/IP node when a manifest is named. Throws
    /// std::system_error (a worker thread or socket cannot start), std::runtime_error (a bad
    /// manifest) and std::bad_alloc, on a first call only; a later call tries again.
    static Component_singleton& instance();

    /// The service finder over the process's local provider registry, joined with SOME/IP-SD
    /// when ZEVO_COM_MANIFEST names a deployment manifest; the same one each time. Throws nothing.
    std::shared_ptr<kel::com::runtime::Service_finder> get_service_finder() const noexcept;

    /// The factory of the thread pools; the same one each time. Throws nothing.
    std::shared_ptr<Thread_pool_factory> get_thread_pool_factory() const noexcept;

    Component_singleton(const Component_singleton&) = delete;
    Component_singleton& operator=(const Component_singleton&) = delete;

private:
    Component_singleton();
    ~Component_singleton();

    std::shared_ptr<kel::com::runtime::Service_finder> service_finder_;  ///< set once
    std::shared_ptr<Thread_pool_factory> thread_pool_factory_;           ///< set once
};

}  // namespace ruv::com::runtime

#include "ruv/com/runtime/component_singleton.h"

#include <cstddef>
#include <stdexcept>

#include "com/runtime/combined_service_finder.h"
#include "com/runtime/local_service_finder.h"
#include "ruv/com/someip_binding/node.h"
#include "ruv/com/static_thread_pool.h"

namespace ruv::com::runtime {

namespace {

using kel::com::runtime::Service_finder;

/// Workers of the default pool: discovery handlers build and delete proxies there, and a slow
/// one (which Deadline_guard reports) should not hold up the searches of other services.
constexpr std::size_t default_pool_threads = 4;

// The default pool is made here and never destroyed, and its workers are never joined: a
// strand only ends after the pool has run its last task, so the pool has to outlive every
// strand, including one that an object destroyed during static destruction still holds.
// Closing it at exit would not do: the runtime's threads, which post discovery results, may
// stop after it, and a strand whose run() a closed pool dropped would never let its stop wait
// return. At exit the idle workers sleep on the pool's condition variable and end with the
// process.
class Process_thread_pool_factory final : public Thread_pool_factory {
public:
    Process_thread_pool_factory() : default_pool_(new static_thread_pool(default_pool_threads)) {}

    static_thread_pool* get_thread_pool(unsigned long pool_number) override {
        if (pool_number != 0) {
            throw std::invalid_argument("Thread_pool_factory::get_thread_pool: unknown pool");
        }
        return default_pool_;
    }

private:
    static_thread_pool* const default_pool_;  ///< owned, on purpose never deleted
};

/// The local finder, joined with the SOME/IP binding's when ZEVO_COM_MANIFEST names a manifest.
std::shared_ptr<Service_finder> make_process_finder() {
    std::shared_ptr<Service_finder> local = detail::make_local_service_finder();
    someip_binding::Node* const node = someip_binding::Node::process();
    if (node == nullptr) {
        return local;
    }
    return detail::make_combined_service_finder(std::move(local), node->service_finder());
}

}  // namespace

Thread_pool_factory::~Thread_pool_factory() = default;

Component_singleton::Component_singleton()
    : service_finder_(make_process_finder()),
      thread_pool_factory_(std::make_shared<Process_thread_pool_factory>()) {}

Component_singleton::~Component_singleton() = default;

Component_singleton& Component_singleton::instance() {
    // Never destroyed: strands and subscriptions may end during static destruction.
    static Component_singleton* const singleton = new Component_singleton();
    return *singleton;
}

std::shared_ptr<Service_finder> Component_singleton::get_service_finder() const noexcept {
    return service_finder_;
}

std::shared_ptr<Thread_pool_factory> Component_singleton::get_thread_pool_factory() const noexcept {
    return thread_pool_factory_;
}

}  // namespace ruv::com::runtime

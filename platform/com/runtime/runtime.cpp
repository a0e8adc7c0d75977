#include "ruv/com/runtime/runtime.h"

namespace ruv::com::runtime {

namespace {

// Stops the process runtime's threads when static objects are destroyed at exit. Made right
// after the runtime, so it runs before the statics that existed before the runtime are gone.
class Shutdown_at_exit {
public:
    explicit Shutdown_at_exit(Runtime& runtime) noexcept : runtime_(&runtime) {}
    Shutdown_at_exit(const Shutdown_at_exit&) = delete;
    Shutdown_at_exit& operator=(const Shutdown_at_exit&) = delete;
    ~Shutdown_at_exit() { runtime_->shutdown(); }

private:
    Runtime* runtime_;  ///< not owned; the process runtime is never destroyed
};

}  // namespace

Runtime::Runtime(Runtime_options options) : timer_(), dispatcher_(options.worker_threads) {}

Runtime::~Runtime() { shutdown(); }

std::shared_ptr<Runtime> Runtime::process() {
    // Never destroyed: ports, offers and handlers that outlive static destruction still hold it.
    static std::shared_ptr<Runtime>* const instance =
        new std::shared_ptr<Runtime>(std::make_shared<Runtime>());
    static const Shutdown_at_exit shutdown_at_exit{**instance};
    return *instance;
}

// The timer first: an expiry that is running may still post to the dispatcher.
void Runtime::shutdown() noexcept {
    timer_.stop();
    dispatcher_.stop();
}

}  // namespace ruv::com::runtime

// A program that ends while a discovery notification is on its way to an extension, for
// exit_order_test. The extension has found its service; a task holds the search's strand, the
// service is withdrawn, and the resulting callback waits behind that task when main returns. An
// exit handler registered before anything else, and so run after every static destructor,
// then lets the callback run: it swaps the proxy under the proxy guard after static destruction.
// Exit code 0 when the callback ran to its end; other codes name what went wrong. Outside
// ThreadSanitizer builds the program also watches the guard's destruction (pthread_rwlock_destroy
// is defined here), so a guard that static destruction took away is reported, not used silently.

#include <pthread.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <thread>
#include <type_traits>

#include "bindings/d_2c56/DataIdentifier_ZevoTrainingCounter_extension.h"
#include "extension/proxy_guard.h"
#include "tests/discovery/extension_settling.h"
#include "tests/discovery/sample_providers.h"

namespace {

using Class = talm::services::diag::d_2c56::DataIdentifier_ZevoTrainingCounter_extension;
using Interface = Class::Interface;
using Probe = zevo::test::Extension_probe<Class>;
using Proxy = std::remove_pointer_t<decltype(Probe::proxy_)>;

/// Exit codes of the program.
enum Outcome : int {
    clean = 0,
    guard_gone = 1,       ///< the guard was destroyed before the callback could use it
    callback_hung = 2,    ///< the held callback did not run to its end
    not_found = 3,        ///< the extension never found the service
    proxy_left = 4,       ///< the callback ran but the proxy is still there
    not_queued = 5,       ///< the withdrawal's callback never reached the strand
};

constexpr std::chrono::seconds bound{10};

/// What the exit handler needs, with the extension and the service's offer: made in main and
/// never destroyed, and reachable through in_flight, so that nothing of it goes with static
/// destruction and no leak checker counts it.
struct In_flight {
    Probe* extension = nullptr;
    ruv::com::local::Offer* offer = nullptr;
    std::promise<void> release;
    bool held = false;  ///< a callback waits behind the holding task
};
In_flight* in_flight = nullptr;

std::atomic<const void*> watched_guard{nullptr};
std::atomic<bool> guard_destroyed{false};

[[noreturn]] void fail(Outcome outcome, const char* what) {
    std::fprintf(stderr, "exit order: %s\n", what);
    std::fflush(stderr);
    std::_Exit(outcome);
}

/// Bounded wait until the strand has no task queued or running.
bool strand_idle(ruv::com::Strand& strand) {
    const auto deadline = std::chrono::steady_clock::now() + bound;
    while (zevo::test::strand_pending(strand) != 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

void release_the_callback() {
    if (in_flight == nullptr || !in_flight->held) {
        return;
    }
    if (guard_destroyed.load()) {
        fail(guard_gone, "the proxy guard was destroyed while a discovery callback was still to run");
    }
    in_flight->release.set_value();
    // The two tasks main saw on the strand may have been the holding task and a late notice of
    // the earlier find, with the withdrawal's callback still on its way: it is waited for, bounded.
    const auto deadline = std::chrono::steady_clock::now() + bound;
    for (;;) {
        if (!strand_idle(in_flight->extension->strand())) {
            fail(callback_hung, "the discovery callback did not end");
        }
        if (!ruv::dm::foundation::extension::has_proxy(in_flight->extension->proxy_)) {
            return;
        }
        if (std::chrono::steady_clock::now() > deadline) {
            fail(proxy_left, "the withdrawal's callback left the proxy in place");
        }
        std::this_thread::yield();
    }
}

}  // namespace

#if !defined(__SANITIZE_THREAD__)
// Stands in for the C library's, which releases nothing on Linux: it only notes when the guard
// is destroyed. ThreadSanitizer builds keep its own, which reports a destroyed lock in use.
extern "C" int pthread_rwlock_destroy(pthread_rwlock_t* lock) noexcept {
    if (static_cast<const void*>(lock) == watched_guard.load()) {
        guard_destroyed.store(true);
    }
    return 0;
}
#endif

int main() {
    std::atexit(release_the_callback);  // first registered, last run: behind every static destructor

    in_flight = new In_flight();
    in_flight->extension = new Probe();
    in_flight->offer = new ruv::com::local::Offer(zevo::test::offer_sample<Interface>());
    Probe* const extension = in_flight->extension;
    extension->attach("1");
    {
        zevo::test::Registry_watch watch(Interface::name, "1");
        if (!zevo::test::settled(*extension, watch, 1) || extension->proxy_ == nullptr) {
            fail(not_found, "the extension did not find its service");
        }
    }
    watched_guard.store(&ruv::dm::foundation::extension::proxy_guard<Proxy>());

    ruv::com::Strand& strand = extension->strand();
    zevo::test::Registry_watch withdrawal(Interface::name, "1");
    strand.internal_post([released = in_flight->release.get_future().share()] {
        static_cast<void>(released.wait_for(bound));
    });
    in_flight->offer->withdraw();
    // The registry tells a name's watches one at a time, in the order they were made, on a thread
    // of its own: once this watch, made after the extension's search, has the empty list, the
    // search's callback has put the withdrawal's task on the strand. Without this wait, a late
    // notice of the earlier find could make the count below, and the withdrawal still untold when
    // main returns would never reach the strand.
    if (!withdrawal.skip_to_size(0)) {
        fail(not_queued, "the registry never told the withdrawal");
    }
    const auto deadline = std::chrono::steady_clock::now() + bound;
    while (zevo::test::strand_pending(strand) < 2) {  // the holding task and the callback
        if (std::chrono::steady_clock::now() > deadline) {
            fail(not_queued, "the withdrawal never reached the extension's strand");
        }
        std::this_thread::yield();
    }
    in_flight->held = true;
    return clean;
}

#pragma once
// Keeps a proxy alive while a job reads the extension's proxy_ and calls through it: jobs hold the
// guard of their proxy type shared for that span only (not while they wait for the answer), and
// the discovery callback holds it exclusively while it swaps proxy_. No result changes: a job
// sees the proxy before or after a swap, as it would without the guard, but never a deleted one.
// One guard per proxy type, shared by all extensions of that type and alive until the process
// ends; any thread.

#include <mutex>
#include <shared_mutex>
#include <utility>

namespace ruv::dm::foundation::extension {

/// Made on first use and never destroyed: discovery callbacks run on the platform's thread pool,
/// whose threads are not joined at exit, so a notification can still swap a proxy after the
/// process has begun to destroy its statics. A static guard would then be locked after its
/// destructor ran, wherever the standard library gives std::shared_mutex one that does anything.
template <class Proxy>
std::shared_mutex& proxy_guard() {
    static std::shared_mutex* const guard = new std::shared_mutex();
    return *guard;
}

/// Calls `use` with the proxy as it stands (possibly null) while the proxy cannot be swapped or
/// deleted. `use` must not wait for a remote answer. Throws what `use` throws, and
/// std::system_error when the guard cannot be taken.
template <class Proxy, class Use>
decltype(auto) use_proxy(Proxy* const& proxy, Use&& use) {
    const std::shared_lock<std::shared_mutex> lock(proxy_guard<Proxy>());
    return std::forward<Use>(use)(static_cast<Proxy*>(proxy));
}

/// Whether a proxy is attached at this moment.
template <class Proxy>
bool has_proxy(Proxy* const& proxy) {
    return use_proxy(proxy, [](Proxy* current) { return current != nullptr; });
}

/// Puts `replacement` in `proxy` and hands back what stood there, for the caller to delete
/// outside the guard. Throws std::system_error when the guard cannot be taken.
template <class Proxy>
Proxy* swap_proxy(Proxy*& proxy, Proxy* replacement) {
    const std::unique_lock<std::shared_mutex> lock(proxy_guard<Proxy>());
    return std::exchange(proxy, replacement);
}

}  // namespace ruv::dm::foundation::extension

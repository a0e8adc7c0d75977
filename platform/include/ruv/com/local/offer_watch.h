#pragma once
// A listener on the services offered under one interface name and instance, as the registry
// holds it: alive while the watch is. Move-only; one thread at a time per object. Destroying or
// stopping it ends the notifications; a listener running on another thread is waited for.

#include <memory>

namespace ruv::com::local {

namespace detail {
class Registry_core;
class Watch_state;
}  // namespace detail

class Offer_watch {
public:
    /// Watches nothing.
    Offer_watch() noexcept = default;
    /// Made by Provider_registry::watch.
    Offer_watch(std::shared_ptr<detail::Registry_core> registry,
                std::shared_ptr<detail::Watch_state> state) noexcept;

    Offer_watch(Offer_watch&&) noexcept = default;
    Offer_watch& operator=(Offer_watch&& other) noexcept;
    Offer_watch(const Offer_watch&) = delete;
    Offer_watch& operator=(const Offer_watch&) = delete;
    /// stop().
    ~Offer_watch();

    /// No notification starts after this returns, and none is running on another thread (it is
    /// waited for). From inside the listener it returns at once. Idempotent. Throws nothing.
    void stop() noexcept;

private:
    std::shared_ptr<detail::Registry_core> registry_;
    std::shared_ptr<detail::Watch_state> state_;
};

}  // namespace ruv::com::local

#pragma once
// The ten services as the tests offer them in the process registry, the registry that discovery
// watches: a provider answers every call at once on the runtime's thread, the results method
// (Read or RequestResults) with the interface's sample Output, Start and Cancel with success.

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "ruv/com/local/offer.h"
#include "ruv/com/local/provider_registry.h"
#include "ruv/com/local/reply.h"
#include "someip/service_payload.h"
#include "tests/bindings/record_samples.h"
#include "tests/someip/service_methods.h"

namespace zevo::test {

/// Answers each call of `Interface` at once on the runtime's thread: its results method with the
/// sample Output, Start and Cancel with success and no payload. `on_call` runs first, on that
/// thread.
template <class Interface>
ruv::com::local::Call_handler sample_handler(std::function<void()> on_call = {}) {
    return [on_call = std::move(on_call)](std::uint16_t method_id, std::vector<std::uint8_t>,
                                          ruv::com::local::Reply reply) {
        if (on_call) {
            on_call();
        }
        if (method_id == methods::Results_method<Interface>::type::method_id) {
            reply.answer(0, ruv::com::someip::serialization::response_payload(Record_sample<Interface>::output()));
        } else {
            reply.answer(0);
        }
    };
}

/// Offers `Interface` under `instance` in the process registry, the registry discovery watches.
template <class Interface>
ruv::com::local::Offer offer_sample(std::function<void()> on_call = {}, const std::string& instance = "1") {
    return ruv::com::local::Provider_registry::process().offer(Interface::name, instance,
                                                               sample_handler<Interface>(std::move(on_call)));
}

}  // namespace zevo::test

#pragma once
// The record of one running search: its number for traces, the subscription at the runtime's
// service finder and the strand its results are handled on. Copies share both references.

#include <cstdint>
#include <memory>

#include "kel/com/runtime/service_finder.h"

namespace ruv::com {
class Strand;
}  // namespace ruv::com

namespace ruv::com::cpp_binding::proxy {

struct Find_service_handle {
    std::uint32_t id;
    std::shared_ptr<kel::com::runtime::Service_finder::Subscription_handle> subscription;
    std::shared_ptr<ruv::com::Strand> strand;  // destroyed first: the strand goes before the subscription
};

}  // namespace ruv::com::cpp_binding::proxy

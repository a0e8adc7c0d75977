#include "com/someip/remote_service.h"

#include <utility>

#include "ruv/com/runtime/return_code.h"

namespace ruv::com::someip_binding {

Remote_service::Remote_service(std::shared_ptr<Client> client, std::shared_ptr<runtime::Runtime> runtime,
                               Remote_target target) noexcept
    : client_(std::move(client)), runtime_(std::move(runtime)), target_(std::move(target)) {}

Remote_service::~Remote_service() { withdraw(); }

std::shared_ptr<kel::com::runtime::Method_call> Remote_service::call(std::uint16_t method_id,
                                                                     kel::com::runtime::Serialized_payload request,
                                                                     Response_handler handler) {
    if (withdrawn_.load(std::memory_order_acquire)) {
        const std::uint64_t id = kel::com::runtime::next_call_id();
        auto pending = std::make_shared<local::detail::Pending_call>(id, std::move(handler), runtime_,
                                                                     std::weak_ptr<local::detail::Call_owner>());
        auto record = std::make_shared<kel::com::runtime::Method_call>(id, pending);
        pending->answer(runtime::return_code::service_withdrawn, {});
        return record;
    }
    auto record = client_->call(target_, this, method_id, request, std::move(handler));
    if (withdrawn_.load(std::memory_order_acquire)) {
        client_->end_calls_of(this, runtime::return_code::service_withdrawn);  // raced with withdraw
    }
    return record;
}

void Remote_service::withdraw() noexcept {
    if (withdrawn_.exchange(true, std::memory_order_acq_rel)) {
        return;
    }
    client_->end_calls_of(this, runtime::return_code::service_withdrawn);
}

}  // namespace ruv::com::someip_binding

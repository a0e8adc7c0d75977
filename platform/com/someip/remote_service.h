#pragma once
// The Service_binding of one remote service instance found over SOME/IP-SD: calls go through the
// node's Client to the endpoint of the offer. Once withdrawn (StopOffer, TTL expiry, the peer's
// reboot) its open calls end with 0xFF and so does every later call. Thread-safe.

#include <atomic>
#include <memory>

#include "com/someip/client.h"
#include "ruv/com/runtime/service_binding.h"

namespace ruv::com::someip_binding {

class Remote_service final : public runtime::Service_binding,
                             public std::enable_shared_from_this<Remote_service> {
public:
    /// `client` and `runtime` must not be null.
    Remote_service(std::shared_ptr<Client> client, std::shared_ptr<runtime::Runtime> runtime,
                   Remote_target target) noexcept;
    ~Remote_service() override;

    std::shared_ptr<kel::com::runtime::Method_call> call(std::uint16_t method_id,
                                                         kel::com::runtime::Serialized_payload request,
                                                         Response_handler handler) override;

    /// Ends the open calls with 0xFF; later calls get 0xFF at once. A second call does nothing.
    void withdraw() noexcept;

    const Remote_target& target() const noexcept { return target_; }

private:
    const std::shared_ptr<Client> client_;
    const std::shared_ptr<runtime::Runtime> runtime_;
    const Remote_target target_;
    std::atomic<bool> withdrawn_{false};
};

}  // namespace ruv::com::someip_binding

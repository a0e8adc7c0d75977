#pragma once
// The local binding's carrier of one offered service: hands each call to the provider's handler
// on a runtime thread, keeps the calls until they end, and after withdrawal answers every
// pending and later call with 0xFF. Thread-safe; no lock is held while a handler runs.

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "com/local/call_settings.h"
#include "com/local/pending_call.h"
#include "ruv/com/local/provider_registry.h"
#include "ruv/com/runtime/service_binding.h"

namespace ruv::com::local::detail {

class Local_service final : public runtime::Service_binding,
                            public Call_owner,
                            public std::enable_shared_from_this<Local_service> {
public:
    /// `provider` and `settings` must not be null.
    Local_service(std::string interface_name, std::shared_ptr<const Call_handler> provider,
                  std::shared_ptr<const Call_settings> settings) noexcept;
    ~Local_service() override;

    /// Registers the call, starts its timeout and posts it to the provider. A withdrawn service
    /// answers 0xFF at once (on a runtime thread). Throws std::bad_alloc.
    std::shared_ptr<kel::com::runtime::Method_call> call(
        std::uint16_t method_id, kel::com::runtime::Serialized_payload request,
        Response_handler handler) override;

    /// Releases the provider and answers every pending call with 0xFF; later calls get 0xFF too.
    /// Then waits until the provider's handler runs on no other thread; the handler is not called
    /// again. From inside the handler it does not wait for itself.
    void withdraw() noexcept;

    /// Removes an ended call from the pending ones.
    void forget(std::uint64_t call_id) noexcept override;

    /// Calls registered and not yet ended.
    std::size_t pending_calls() const;

private:
    void deliver(const std::shared_ptr<Pending_call>& call, std::uint16_t method_id,
                 std::vector<std::uint8_t> request);

    const std::string interface_name_;
    const std::shared_ptr<const Call_settings> settings_;

    mutable std::mutex mutex_;
    std::condition_variable handler_returned_;      ///< signalled when a provider call ends
    std::shared_ptr<const Call_handler> provider_;  ///< guarded by mutex_; null once withdrawn
    std::vector<std::thread::id> in_provider_;      ///< guarded by mutex_: threads in the handler now
    std::unordered_map<std::uint64_t, std::shared_ptr<Pending_call>> pending_;  ///< guarded by mutex_
};

}  // namespace ruv::com::local::detail

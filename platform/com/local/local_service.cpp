#include "com/local/local_service.h"

#include <algorithm>
#include <utility>

#include "com/local/reply_state.h"
#include "com/runtime/runtime_log.h"
#include "ruv/com/runtime/return_code.h"

namespace ruv::com::local::detail {

namespace {

std::vector<std::uint8_t> bytes_of(const kel::com::runtime::Serialized_payload& payload) {
    if (payload.begin == nullptr || payload.end <= payload.begin) {
        return {};
    }
    return std::vector<std::uint8_t>(payload.begin, payload.end);
}

}  // namespace

Local_service::Local_service(std::string interface_name, std::shared_ptr<const Call_handler> provider,
                             std::shared_ptr<const Call_settings> settings) noexcept
    : interface_name_(std::move(interface_name)),
      settings_(std::move(settings)),
      provider_(std::move(provider)) {}

Local_service::~Local_service() = default;

std::shared_ptr<kel::com::runtime::Method_call> Local_service::call(
    std::uint16_t method_id, kel::com::runtime::Serialized_payload request, Response_handler handler) {
    const std::shared_ptr<runtime::Runtime>& runtime = settings_->runtime();
    const std::uint64_t id = kel::com::runtime::next_call_id();
    auto pending = std::make_shared<Pending_call>(id, std::move(handler), runtime, weak_from_this());
    auto record = std::make_shared<kel::com::runtime::Method_call>(id, pending);
    std::vector<std::uint8_t> bytes = bytes_of(request);

    bool withdrawn = false;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        withdrawn = provider_ == nullptr;
        if (!withdrawn) {
            pending_.emplace(id, pending);
        }
    }
    if (withdrawn) {
        pending->answer(runtime::return_code::service_withdrawn, {});
        return record;
    }

    try {
        const std::chrono::milliseconds timeout = settings_->timeout();
        if (timeout > std::chrono::milliseconds::zero()) {
            pending->set_timeout(runtime->timer().schedule(
                runtime::Request_timer::Clock::now() + timeout,
                [weak = std::weak_ptr<Pending_call>(pending)] {
                    if (const std::shared_ptr<Pending_call> expired = weak.lock()) {
                        expired->answer(runtime::return_code::timeout, {});
                    }
                }));
        }
        const bool posted = runtime->dispatcher().post(
            [self = shared_from_this(), pending, method_id, bytes = std::move(bytes)]() mutable {
                self->deliver(pending, method_id, std::move(bytes));
            });
        if (!posted) {
            pending->drop();  // the runtime has stopped: nobody would ever answer
        }
    } catch (...) {
        pending->drop();
        throw;
    }
    return record;
}

void Local_service::deliver(const std::shared_ptr<Pending_call>& call, std::uint16_t method_id,
                            std::vector<std::uint8_t> request) {
    if (!call->outstanding()) {
        return;  // ended before it reached the provider: timed out, withdrawn
    }
    const std::thread::id self = std::this_thread::get_id();
    std::shared_ptr<const Call_handler> provider;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (provider_ == nullptr) {
            return;  // withdrawn meanwhile: the withdrawal answers the call, nothing may drop it
        }
        in_provider_.push_back(self);
        provider = provider_;
    }
    try {
        Reply reply{std::make_shared<Reply_state>(call)};
        (*provider)(method_id, std::move(request), std::move(reply));
    } catch (...) {
        try {
            const std::string where = "The local provider of " + interface_name_;
            runtime::detail::log_current_exception(where.c_str());
        } catch (...) {  // no memory for the line
        }
    }
    provider.reset();  // a withdrawal waiting below may then release the last reference
    std::lock_guard<std::mutex> lock(mutex_);
    in_provider_.erase(std::find(in_provider_.begin(), in_provider_.end(), self));
    handler_returned_.notify_all();
}

void Local_service::withdraw() noexcept {
    std::shared_ptr<const Call_handler> provider;
    std::unordered_map<std::uint64_t, std::shared_ptr<Pending_call>> pending;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        provider.swap(provider_);
        pending.swap(pending_);
    }
    for (auto& entry : pending) {
        try {
            entry.second->answer(runtime::return_code::service_withdrawn, {});
        } catch (...) {  // no memory for the delivery: the call has ended, its handler destroyed
        }
    }
    const std::thread::id self = std::this_thread::get_id();
    std::unique_lock<std::mutex> lock(mutex_);
    handler_returned_.wait(lock, [this, self] {
        return std::all_of(in_provider_.begin(), in_provider_.end(),
                           [self](std::thread::id inside) { return inside == self; });
    });
}  // the provider's handler goes here, outside the lock, unless this thread is still in it

void Local_service::forget(std::uint64_t call_id) noexcept {
    std::shared_ptr<Pending_call> ended;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        const auto found = pending_.find(call_id);
        if (found == pending_.end()) {
            return;
        }
        ended = std::move(found->second);
        pending_.erase(found);
    }
}

std::size_t Local_service::pending_calls() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return pending_.size();
}

}  // namespace ruv::com::local::detail

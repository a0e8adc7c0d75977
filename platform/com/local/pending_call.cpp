#include "com/local/pending_call.h"

#include <utility>


namespace ruv::com::local::detail {
namespace {

/// The task that calls the handler with the call's end.
runtime::Dispatcher::Task delivery(Pending_call::Response_handler handler, std::uint8_t return_code,
                                   kel::com::runtime::Serialized_payload response) {
    return [handler = std::move(handler), return_code, response = std::move(response)]() mutable {
        if (handler) {
            handler(return_code, std::move(response));
        }
    };
}

}  // namespace

Pending_call::Pending_call(std::uint64_t call_id, Response_handler handler,
                           std::shared_ptr<runtime::Runtime> runtime,
                           std::weak_ptr<Call_owner> owner) noexcept
    : id_(call_id),
      runtime_(std::move(runtime)),
      owner_(std::move(owner)),
      handler_(std::move(handler)) {}

bool Pending_call::outstanding() const noexcept {
    std::lock_guard<std::mutex> lock(mutex_);
    return !ended_;
}

bool Pending_call::answer(std::uint8_t return_code, kel::com::runtime::Serialized_payload response) {
    Response_handler handler;
    if (!end(handler)) {
        return false;
    }
    // A provider that answers inside its call is on a runtime worker: the handler follows on the
    // same worker once the provider has returned, rather than waking a second one.
    runtime_->dispatcher().defer(delivery(std::move(handler), return_code, std::move(response)));
    return true;
}

bool Pending_call::answer_here(std::uint8_t return_code, kel::com::runtime::Serialized_payload response) {
    Response_handler handler;
    if (!end(handler)) {
        return false;
    }
    runtime_->dispatcher().run_here(delivery(std::move(handler), return_code, std::move(response)));
    return true;
}

bool Pending_call::drop() noexcept {
    Response_handler handler;
    if (!end(handler)) {
        return false;
    }
    try {
        runtime_->dispatcher().post([handler = std::move(handler)] { static_cast<void>(handler); });
    } catch (...) {  // no memory for the task: the handler has gone with it, here
    }
    return true;
}

void Pending_call::set_timeout(const runtime::Request_timer::Key& key) noexcept {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (!ended_) {
            timeout_ = key;
            return;
        }
    }
    runtime_->timer().cancel(key);
}

bool Pending_call::end(Response_handler& handler) noexcept {
    runtime::Request_timer::Key timeout;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (ended_) {
            return false;
        }
        ended_ = true;
        handler.swap(handler_);
        timeout = timeout_;
    }
    runtime_->timer().cancel(timeout);
    if (const std::shared_ptr<Call_owner> owner = owner_.lock()) {
        owner->forget(id_);
    }
    return true;
}

}  // namespace ruv::com::local::detail

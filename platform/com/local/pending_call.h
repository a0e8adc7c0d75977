#pragma once
// One call of a service between its request and its end. It ends exactly once, by the
// first of: the provider's answer, a drop (its Reply gone unanswered), the request timeout
// (0x86), or withdrawal (0xFF). The end hands the response handler to a runtime thread (or runs
// it on the runtime thread that ends it), to be called or, for a drop, destroyed. Thread-safe; no
// lock is held while anything else runs.

#include <cstdint>
#include <memory>
#include <mutex>

#include "kel/com/runtime/method_call.h"
#include "kel/com/runtime/serialized_payload.h"
#include "ruv/com/runtime/request_timer.h"
#include "ruv/com/runtime/runtime.h"
#include "ruv/com/runtime/service_binding.h"

namespace ruv::com::local::detail {

/// Keeps calls while they are pending (a local service, a SOME/IP client or server) and is told
/// once when one ends, so that it forgets it. forget runs on whatever thread ends the call.
class Call_owner {
public:
    virtual ~Call_owner() = default;
    virtual void forget(std::uint64_t call_id) noexcept = 0;

protected:
    Call_owner() = default;
    Call_owner(const Call_owner&) = default;
    Call_owner& operator=(const Call_owner&) = default;
};

class Pending_call final : public kel::com::runtime::Call_entry {
public:
    using Response_handler = runtime::Service_binding::Response_handler;

    /// `runtime` must not be null. `owner` is told when the call ends, so that it forgets it.
    Pending_call(std::uint64_t call_id, Response_handler handler,
                 std::shared_ptr<runtime::Runtime> runtime,
                 std::weak_ptr<Call_owner> owner) noexcept;

    std::uint64_t id() const noexcept { return id_; }
    bool outstanding() const noexcept override;

    /// Ends the call with this answer; the handler runs on a dispatcher thread (or is destroyed,
    /// uncalled, when the runtime has stopped). False when the call had ended already.
    /// Throws std::bad_alloc: the call has then ended and its handler is destroyed.
    bool answer(std::uint8_t return_code, kel::com::runtime::Serialized_payload response);

    /// Like answer, but the handler runs here, on the calling thread, which must be a runtime
    /// thread and not the caller's (the SOME/IP client's I/O thread, with the response it read).
    /// Throws std::bad_alloc: the call has then ended and its handler is destroyed.
    bool answer_here(std::uint8_t return_code, kel::com::runtime::Serialized_payload response);

    /// Ends the call without an answer: the handler is destroyed uncalled on a dispatcher thread
    /// (here, if that cannot be arranged). False when the call had ended already.
    bool drop() noexcept;

    /// Remembers the timeout's key, to cancel it at the end; cancels it at once if the call has
    /// ended meanwhile.
    void set_timeout(const runtime::Request_timer::Key& key) noexcept;

private:
    /// Marks the call ended and takes its handler; false when it had ended already.
    bool end(Response_handler& handler) noexcept;

    const std::uint64_t id_;
    const std::shared_ptr<runtime::Runtime> runtime_;
    const std::weak_ptr<Call_owner> owner_;

    mutable std::mutex mutex_;
    bool ended_ = false;                  ///< guarded by mutex_
    Response_handler handler_;            ///< guarded by mutex_; taken by the end
    runtime::Request_timer::Key timeout_;  ///< guarded by mutex_
};

}  // namespace ruv::com::local::detail
